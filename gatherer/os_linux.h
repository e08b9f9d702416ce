// os_info for Linux: the release file names the distribution, uname the kernel.
#pragma once

#include <span>
#include <string>
#include <string_view>

#include "gatherer/osinfo.h"

namespace kestrel {

/// Vendor and name from the release file, the version from uname.
class os_info_linux : public os_info {
 public:
  /// Reads the first release file that opens.
  os_info_linux();

  int get_platform_id() override { return 1; }
  char* get_platform_id(char* buffer, int size) override;  ///< "Linux"
  char* get_vendor(char* buffer, int size) override;
  char* get_name(char* buffer, int size) override;
  char* get_version(char* buffer, int size) override;        ///< "release machine"
  char* get_build(char* buffer, int size) override;          ///< empty
  char* get_service_level(char* buffer, int size) override;  ///< empty

 private:
  std::string release_name_;
};

/// The first line, at most 127 characters and maybe empty, of the first of `paths` that can be
/// read; "Unknown" when none can.
std::string detect_distribution(std::span<const char* const> paths);

/// Who makes the distribution of that release name; "Unknown" when no known name is in it.
const char* vendor_of_release(std::string_view release_name);

}  // namespace kestrel
