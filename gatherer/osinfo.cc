// The one object that tells the operating system, and the platform test of the probes; what differs
// from system to system is in os_linux.cc.
#include "gatherer/osinfo.h"

namespace kestrel {

os_info* os_info::instance = nullptr;

os_info& os_info::get_instance() {
  if (instance == nullptr) instance = make_os_info();
  return *instance;
}

bool os_info::is(int mask) { return (mask & get_platform_id()) != 0; }

}  // namespace kestrel
