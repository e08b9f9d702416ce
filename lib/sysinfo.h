// The machine's identity, read once per run: node, user, maker, model, serial number, UUID, kernel
// and distribution.
#pragma once

#include <string>

namespace kestrel {

/// The identity as texts, read when the object is made.
class SysInfo {
 public:
  SysInfo();

  /// Texts belong to the object and live until they are set anew; "Unknown" where a value cannot be
  /// found.
  const char* NodeName() const { return node_name_.c_str(); }
  /// Login name, looked up anew on every call; lives until the next one.
  const char* CurrentUser();
  const char* OSName() const { return os_name_.c_str(); }
  const char* OSVersion() const { return os_version_.c_str(); }  ///< "release (machine)"
  const char* OSCSD() const { return os_csd_.c_str(); }          ///< kernel build number and date
  const char* OSBuild() const { return os_build_.c_str(); }      ///< first line of the release file
  const char* OSType() const { return os_type_.c_str(); }        ///< "Linux (Debian)"
  const char* OSOEM() const { return os_oem_.c_str(); }          ///< the distribution's vendor
  const char* OEM() const { return vendor_.c_str(); }
  const char* Serial() const { return serial_.c_str(); }
  const char* Model() const { return model_.c_str(); }
  const char* UUID() const { return uuid_.c_str(); }

  /// Trimmed of white space and '_'; an empty vendor, model or serial becomes "Unknown", an empty
  /// UUID stays empty on purpose.
  void set_vendor(const char* value);
  void set_model(const char* value);
  void set_serial(const char* value);
  void set_uuid(const char* value);

  /// The one object of the process, created on first use.
  static SysInfo& get_instance();
  static SysInfo* instance;  ///< null before that

 private:
  bool read_vpd();
  void read_dmi(bool identity_too);
  void read_kernel();
  void read_distribution();

  std::string node_name_ = "Unknown", current_user_, os_name_ = "Linux", os_version_ = "Unknown";
  std::string os_csd_ = "Unknown", os_build_ = "Unknown", os_type_, os_oem_;
  std::string vendor_ = "Unknown", serial_ = "Unknown", model_ = "Unknown", uuid_ = "Unknown";
};

}  // namespace kestrel
