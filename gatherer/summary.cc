// See summary.h.
#include "gatherer/summary.h"

#include <string>

#include "gatherer/osinfo.h"
#include "lib/bios.h"
#include "lib/sysinfo.h"
#include "lib/table.h"

namespace kestrel {

namespace {

constexpr column k_summary[] = {
    {"Computer Name",        DT_STRING, 16},
    {"System Vendor",        DT_ASCII,  16},
    {"System Model",         DT_ASCII,  16},
    {"System Serial Number", DT_ASCII,  16},
    {"BIOS Version",         DT_ASCII,  20},
    {"Current User",         DT_STRING, 16},
    {"UUID",                 DT_ASCII,  32},
};

constexpr column k_operating_system[] = {
    {"Vendor",        DT_ASCII, 16},
    {"Name",          DT_ASCII, 30},
    {"Version",       DT_ASCII, 10},
    {"Build",         DT_ASCII, 5 },
    {"Service Level", DT_ASCII, 20},
    {"OS",            DT_ASCII, 10},
};

constexpr column k_old_summary[] = {
    {"Computer Name",        DT_STRING, 255},
    {"System Vendor",        DT_ASCII,  64 },
    {"System Model",         DT_ASCII,  64 },
    {"System Serial Number", DT_ASCII,  64 },
    {"BIOS Version",         DT_ASCII,  64 },
    {"OS Vendor",            DT_ASCII,  255},
    {"OS Name",              DT_ASCII,  255},
    {"OS Type",              DT_ASCII,  255},
    {"OS Version",           DT_ASCII,  255},
    {"OS Build",             DT_ASCII,  255},
    {"OS CSD",               DT_ASCII,  128},
    {"Current User",         DT_STRING, 255},
};

std::string bios_version() { return get_bios_version().value_or("Unknown"); }

}  // namespace

bool sysinfo_probe::run(FILE* fp) {
  summary_table(fp);
  os_table(fp);
  return true;
}

void sysinfo_probe::summary_table(FILE* fp) {
  SysInfo& system = SysInfo::get_instance();
  Table table(fp, name);
  table.declare(k_summary);
  table.start_row("");
  table.log_data(system.NodeName());
  table.log_data(system.OEM());
  table.log_data(system.Model());
  table.log_data(system.Serial());
  table.log_data(bios_version());
  table.log_data(system.CurrentUser());
  table.log_data(system.UUID());
  table.end_row();
}

void sysinfo_probe::os_table(FILE* fp) {
  os_info& os = os_info::get_instance();
  char text[80];
  Table table(fp, "Operating System");
  table.declare(k_operating_system);
  table.start_row("");
  table.log_data(os.get_vendor(text, sizeof(text)));
  table.log_data(os.get_name(text, sizeof(text)));
  table.log_data(os.get_version(text, sizeof(text)));
  table.log_data(os.get_build(text, sizeof(text)));
  table.log_data(os.get_service_level(text, sizeof(text)));
  table.log_data(os.get_platform_id(text, sizeof(text)));
  table.end_row();
}

bool old_sysinfo_probe::run(FILE* fp) {
  SysInfo& system = SysInfo::get_instance();
  Table table(fp, "System Summary");
  table.declare(k_old_summary);
  table.start_row("");
  table.log_data(system.NodeName());
  table.log_data(system.OEM());
  table.log_data(system.Model());
  table.log_data(system.Serial());
  table.log_data(bios_version());
  table.log_data(system.OSOEM());
  table.log_data(system.OSName());
  table.log_data(system.OSType());
  table.log_data(system.OSVersion());
  table.log_data(system.OSBuild());
  table.log_data(system.OSCSD());
  table.log_data(system.CurrentUser());
  table.end_row();
  return true;
}

}  // namespace kestrel
