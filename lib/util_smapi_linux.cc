// See util_smapi_linux.h.
#include "lib/util_smapi_linux.h"

#include "lib/debug.h"

namespace kestrel {
namespace {

// The signature in the CMOS memory (Linux, drivers/char/mwave/smapi.c); the port follows it.
constexpr unsigned char k_signature_index = 0x7C;
constexpr unsigned char k_signature[] = {'I', 'S'};

}  // namespace

unsigned char linux_get_cmos_byte(unsigned char) { return 0; }

bool linux_call_SMAPI(_SMAPI_REGS*) {
  bool has_entry = linux_get_cmos_byte(k_signature_index) == k_signature[0] &&
                   linux_get_cmos_byte(k_signature_index + 1) == k_signature[1];
  printd("smapi: %s\n", has_entry ? "Entry out of reach" : "No entry");
  return false;
}

}  // namespace kestrel
