// A properties file: every keyword, list and parameter of the command line, line by line.
#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <string>

#include "gatherer/getarg.h"
#include "gatherer/presets.h"
#include "gatherer/probe.h"
#include "gatherer/properties.h"
#include "gatherer/settings.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace kestrel;
  static probe_group target("FUZZ TARGET", 16, nullptr, true);
  gatherer_default_configuration();
  gatherer_setting(setting_silent, setting_on, 0);
  const int file = memfd_create("properties", MFD_CLOEXEC);
  if (file < 0 || write(file, data, size) != static_cast<ssize_t>(size)) return 0;
  gatherer_parse_properties((L"/proc/self/fd/" + std::to_wstring(file)).c_str());
  close(file);
  probe_task::process_probe_lists();
  return 0;
}
