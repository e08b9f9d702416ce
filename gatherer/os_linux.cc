// Reads the release files of /etc for the distribution and uname for the kernel. The list of files
// differs on purpose from the one that SysInfo goes by.
#include "gatherer/os_linux.h"

#include <sys/utsname.h>

#include <cerrno>
#include <cstring>

#include "lib/debug.h"
#include "lib/file.h"
#include "lib/utilstr.h"

namespace kestrel {

namespace {

constexpr const char* k_release_files[] = {"/etc/debian_version", "/etc/mandrake-release",
                                           "/etc/redhat-release", "/etc/SuSE-release",
                                           "/etc/turbolinux-release"};

struct vendor {
  const char* key;  ///< anywhere in the release name
  const char* name;
};

constexpr vendor k_vendors[] = {
    {"Debian",     "Software in the Public Interest, Inc."},
    {"Red Hat",    "Red Hat, Inc."                        },
    {"SuSE",       "SuSE Linux AG"                        },
    {"TurboLinux", "TurboLinux, Inc."                     },
    {"Caldera",    "Caldera Systems, Inc."                },
    {"Mandrake",   "MandrakeSoft, S.A."                   },
    {"Slackware",  "Slackware Linux, Inc."                },
};

char* put_text(char* buffer, int size, const char* text) {
  return size > 0 ? format_string(buffer, static_cast<size_t>(size), "%s", text) : buffer;
}

char* put_nothing(char* buffer, int size) {
  if (size > 0) std::memset(buffer, 0, static_cast<size_t>(size));
  return buffer;
}

}  // namespace

std::string detect_distribution(std::span<const char* const> paths) {
  std::string name = "Unknown";
  for (const char* path : paths) {
    printd("Checking %s\n", path);
    const file_ptr in = open_regular_file(path);
    if (in == nullptr) {
      print_error("\tfailed", errno);
      continue;
    }
    printd("\tsuccess\n");
    char line[128];
    if (std::fgets(line, sizeof line, in.get()) != nullptr) {
      name.assign(line, std::strcspn(line, "\n"));
    }
    break;
  }
  printd("Release found: %s\n", name.c_str());
  return name;
}

const char* vendor_of_release(std::string_view release_name) {
  const char* name = "Unknown";
  for (const vendor& row : k_vendors) {
    // The last key that matches decides, on purpose.
    if (release_name.find(row.key) != std::string_view::npos) name = row.name;
  }
  return name;
}

os_info* os_info::make_os_info() { return new os_info_linux; }

void log_thread_privileges() {}

os_info_linux::os_info_linux() : release_name_(detect_distribution(k_release_files)) {}

char* os_info_linux::get_platform_id(char* buffer, int size) {
  return put_text(buffer, size, "Linux");
}

char* os_info_linux::get_vendor(char* buffer, int size) {
  return put_text(buffer, size, vendor_of_release(release_name_));
}

char* os_info_linux::get_name(char* buffer, int size) {
  return put_text(buffer, size, release_name_.c_str());
}

char* os_info_linux::get_version(char* buffer, int size) {
  utsname names;
  if (uname(&names) != 0) return put_text(buffer, size, "Unknown");
  print_hexdump("utsname", &names, sizeof names, nullptr);
  return put_text(buffer, size, format_text("%s %s", names.release, names.machine).c_str());
}

char* os_info_linux::get_build(char* buffer, int size) { return put_nothing(buffer, size); }

char* os_info_linux::get_service_level(char* buffer, int size) { return put_nothing(buffer, size); }

}  // namespace kestrel
