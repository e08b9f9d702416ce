// See sysinfo.h. Maker, model and serial number come from the firmware's own block where it has
// one, else from SMBIOS; the UUID always from SMBIOS.
#include "lib/sysinfo.h"

#include <sys/utsname.h>

#include "lib/debug.h"
#include "lib/dist.h"
#include "lib/dmi.h"
#include "lib/util_linux.h"
#include "lib/utilstr.h"
#include "lib/vpd.h"

namespace kestrel {

namespace {

// What the fixed fields of the identity hold, without their NUL.
constexpr size_t k_name_length = 254;
constexpr size_t k_text_length = 255;

std::string trimmed(const char* value) {
  std::string text = value == nullptr ? "" : value;
  trim_string(text, "_");
  return text;
}

std::string trimmed_or_unknown(const char* value) {
  const std::string text = trimmed(value);
  return text.empty() ? "Unknown" : text;
}

}  // namespace

SysInfo* SysInfo::instance = nullptr;

SysInfo& SysInfo::get_instance() {
  if (instance == nullptr) {
    static SysInfo shared;
    instance = &shared;
  }
  return *instance;
}

SysInfo::SysInfo() {
  const bool identified = read_vpd();
  read_dmi(!identified);
  read_kernel();
  read_distribution();
}

bool SysInfo::read_vpd() {
  Vpd vpd;
  printd("sysinfo: pvpd = %p\n", static_cast<void*>(&vpd));
  if (!vpd.init()) return false;
  set_vendor(vpd.get_make().c_str());
  set_model(vpd.get_model().c_str());
  set_serial(vpd.get_serial_number().c_str());
  return true;
}

void SysInfo::read_dmi(bool identity_too) {
  Dmi& dmi = Dmi::get_instance();
  printd("sysinfo: pdmi = %p\n", static_cast<void*>(&dmi));
  set_uuid(dmi.get_uuid().c_str());
  if (!identity_too) return;
  set_vendor(dmi.get_make().c_str());
  set_model(dmi.get_model().c_str());
  set_serial(dmi.get_serial_number().c_str());
}

void SysInfo::read_kernel() {
  utsname names;
  if (uname(&names) != 0) return;
  os_version_ = cut(format_text("%s (%s)", names.release, names.machine), k_text_length);
  os_name_ = names.sysname;
  node_name_ = cut(names.nodename, k_name_length);
  os_csd_ = names.version;
}

void SysInfo::read_distribution() {
  const distribution found = check_files();
  os_oem_ = found.long_name;
  os_type_ = cut("Linux (" + found.short_name + ")", k_name_length);
  os_build_ = found.release;
}

const char* SysInfo::CurrentUser() {
  current_user_ = cut(get_user_name(), k_text_length);
  return current_user_.c_str();
}

void SysInfo::set_vendor(const char* value) { vendor_ = trimmed_or_unknown(value); }
void SysInfo::set_model(const char* value) { model_ = trimmed_or_unknown(value); }
void SysInfo::set_serial(const char* value) { serial_ = trimmed_or_unknown(value); }
void SysInfo::set_uuid(const char* value) { uuid_ = trimmed(value); }

}  // namespace kestrel
