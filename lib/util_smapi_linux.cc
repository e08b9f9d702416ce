// Looks for the signature of an entry in the CMOS memory, as the firmware would leave it; without
// one nothing is called.
#include "lib/util_smapi_linux.h"

#include "lib/debug.h"

namespace kestrel {
namespace {

// Where the CMOS memory holds the signature of an entry.
constexpr unsigned char k_signature_index = 0x7C;
constexpr unsigned char k_signature[] = {'I', 'S'};

}  // namespace

unsigned char linux_get_cmos_byte(unsigned char) { return 0; }

bool linux_call_SMAPI(_SMAPI_REGS*) {
  if (linux_get_cmos_byte(k_signature_index) != k_signature[0] ||
      linux_get_cmos_byte(k_signature_index + 1) != k_signature[1]) {
    printd("smapi: No entry\n");
  }
  return false;
}

}  // namespace kestrel
