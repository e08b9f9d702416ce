// Asks the firmware for a version through SMAPI and makes a text of what the call left in the
// registers, whether it could be made or not.
#include "probes/smapi.h"

#include <algorithm>

#include "lib/debug.h"
#include "lib/utilstr.h"

namespace kestrel {
namespace {

constexpr uint32_t k_get_h8_version = 6;

unsigned low(uint32_t word) { return word & 0xFF; }
unsigned high(uint32_t word) { return word >> 8 & 0xFF; }

}  // namespace

bool call_SMAPI(_SMAPI_REGS* registers) { return linux_call_SMAPI(registers); }

// A zero byte ends the text, so that where nothing filled the registers it is empty.
char* parse_h8_version(const _SMAPI_REGS& registers, char* buffer, int size) {
  const auto room = static_cast<size_t>(std::max(size, 0));
  format_string(buffer, room, "%s", "");
  unsigned rc = high(registers.eax);
  unsigned major = high(registers.ecx), minor = low(registers.ecx);
  unsigned third = high(registers.edx), fourth = low(registers.edx);
  auto character = [](unsigned byte) { return static_cast<int>(byte); };
  if (rc != 0) {
    printd("smapi: Function Failed with RC %02x\n", rc);
  } else if ((registers.eax & 1) != 0) {
    format_string(buffer, room, "%d.%02d", static_cast<int>(major), static_cast<int>(minor));
  } else if (registers.edx != 0) {
    format_string(buffer, room, "%c.%c%c%c", character(major), character(minor), character(third),
                  character(fourth));
  } else {
    format_string(buffer, room, "%c.%c%c", character(major), character(minor), character(third));
  }
  return buffer;
}

// Reported is what the call leaves in the registers, whether it could be made or not.
char* smapi_get_h8_version(char* buffer, int size) {
  _SMAPI_REGS registers;
  registers.ebx = k_get_h8_version;
  call_SMAPI(&registers);
  return parse_h8_version(registers, buffer, size);
}

}  // namespace kestrel
