// The customer flavour this program was built for (CMake option KESTREL_FLAVOUR).
#include "gatherer/presets.h"

#define FLAVOUR_NAME(flavour) flavour##_configuration
#define FLAVOUR_FUNCTION(flavour) FLAVOUR_NAME(flavour)

namespace kestrel {
namespace {

// What "default" selects: nothing on top of the default configuration.
[[maybe_unused]] void default_configuration() {}

}  // namespace

void flavour_configuration() { FLAVOUR_FUNCTION(KESTREL_FLAVOUR)(); }

}  // namespace kestrel
