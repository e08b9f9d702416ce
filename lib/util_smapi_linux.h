// The firmware's SMAPI entry as this platform reaches it, which is not at all: the port to call it
// stands in the CMOS memory, and that is not read here.
#pragma once

#include <cstdint>

namespace kestrel {

/// Registers of a call, in and out. The function code goes in EBX.
struct _SMAPI_REGS {
  uint32_t eax = 0;
  uint32_t ebx = 0;
  uint32_t ecx = 0;
  uint32_t edx = 0;
  uint32_t esi = 0;
  uint32_t edi = 0;
};

/// Always 0 on this platform.
unsigned char linux_get_cmos_byte(unsigned char index);
/// False, and the registers untouched, when the entry cannot be called.
bool linux_call_SMAPI(_SMAPI_REGS* registers);

}  // namespace kestrel
