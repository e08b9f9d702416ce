// Questions to the firmware's SMAPI entry.
#pragma once

#include "lib/util_smapi_linux.h"

namespace kestrel {

/// Calls the entry; false when it cannot be called.
bool call_SMAPI(_SMAPI_REGS* registers);
/// Version of the embedded controller in what the call for it left in the registers: "1.02" or
/// "1.A0B"; "" when it failed or tells none. Cut to `size`, returns `buffer`.
char* parse_h8_version(const _SMAPI_REGS& registers, char* buffer, int size);
/// Asks for that version and writes it into `buffer` in the same way.
char* smapi_get_h8_version(char* buffer, int size);

}  // namespace kestrel
