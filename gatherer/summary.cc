// Writes the first section from SysInfo, os_info and the SMBIOS table: maker, model, serial number,
// firmware, user and operating system, in the newer or the older layout.
#include "gatherer/summary.h"

#include <string>

#include "gatherer/osinfo.h"
#include "lib/bios.h"
#include "lib/sysinfo.h"
#include "lib/table_rows.h"

namespace kestrel {

namespace {

std::string bios_version(const SysInfo&) { return get_bios_version().value_or("Unknown"); }
// Looked up anew each time.
std::string current_user(const SysInfo&) { return SysInfo::get_instance().CurrentUser(); }

constexpr cell_of<SysInfo> k_summary[] = {
    {"Computer Name",        show<&SysInfo::NodeName>.wide(16)    },
    {"System Vendor",        show_ascii<&SysInfo::OEM>.wide(16)   },
    {"System Model",         show_ascii<&SysInfo::Model>.wide(16) },
    {"System Serial Number", show_ascii<&SysInfo::Serial>.wide(16)},
    {"BIOS Version",         show_ascii<bios_version>.wide(20)    },
    {"Current User",         show<current_user>.wide(16)          },
    {"UUID",                 show_ascii<&SysInfo::UUID>.wide(32)  },
};

constexpr cell_of<SysInfo> k_old_summary[] = {
    {"Computer Name",        show<&SysInfo::NodeName>.wide(255)       },
    {"System Vendor",        show_ascii<&SysInfo::OEM>.wide(64)       },
    {"System Model",         show_ascii<&SysInfo::Model>.wide(64)     },
    {"System Serial Number", show_ascii<&SysInfo::Serial>.wide(64)    },
    {"BIOS Version",         show_ascii<bios_version>.wide(64)        },
    {"OS Vendor",            show_ascii<&SysInfo::OSOEM>.wide(255)    },
    {"OS Name",              show_ascii<&SysInfo::OSName>.wide(255)   },
    {"OS Type",              show_ascii<&SysInfo::OSType>.wide(255)   },
    {"OS Version",           show_ascii<&SysInfo::OSVersion>.wide(255)},
    {"OS Build",             show_ascii<&SysInfo::OSBuild>.wide(255)  },
    {"OS CSD",               show_ascii<&SysInfo::OSCSD>.wide(128)    },
    {"Current User",         show<current_user>.wide(255)             },
};

using os_text = char* (os_info::*)(char* buffer, int size);
template <os_text Getter>
std::string text_of(const os_info&) {
  char text[80];
  return (os_info::get_instance().*Getter)(text, sizeof text);
}

constexpr cell_of<os_info> k_operating_system[] = {
    {"Vendor",        show_ascii<text_of<&os_info::get_vendor>>.wide(16)       },
    {"Name",          show_ascii<text_of<&os_info::get_name>>.wide(30)         },
    {"Version",       show_ascii<text_of<&os_info::get_version>>.wide(10)      },
    {"Build",         show_ascii<text_of<&os_info::get_build>>.wide(5)         },
    {"Service Level", show_ascii<text_of<&os_info::get_service_level>>.wide(20)},
    {"OS",            show_ascii<text_of<&os_info::get_platform_id>>.wide(10)  },
};

}  // namespace

bool sysinfo_probe::run(FILE* fp) {
  summary_table(fp);
  os_table(fp);
  return true;
}

void sysinfo_probe::summary_table(FILE* fp) {
  record_table(fp, name, k_summary).add("", SysInfo::get_instance());
}

void sysinfo_probe::os_table(FILE* fp) {
  record_table(fp, "Operating System", k_operating_system).add("", os_info::get_instance());
}

bool old_sysinfo_probe::run(FILE* fp) {
  record_table(fp, "System Summary", k_old_summary).add("", SysInfo::get_instance());
  return true;
}

}  // namespace kestrel
