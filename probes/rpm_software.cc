// See rpm_software.h.
#include "probes/rpm_software.h"

#include <cerrno>

#include "lib/command.h"
#include "lib/debug.h"
#include "lib/find_tool.h"
#include "lib/table.h"

namespace kestrel {
namespace {

// rpm itself makes line breaks of the backslashes.
constexpr const char* k_rpm_command =
    R"(rpm --query --all --queryformat ")"
    R"(Name: %{NAME}\nVersion: %{VERSION}-%{RELEASE}\nVendor: %{VENDOR}\n)"
    R"(Description: %{SUMMARY}\nGroup: %{GROUP}\nInstallDate: %{INSTALLTIME:day}\n)"
    R"(Size: %{SIZE}\n---EOP---\n" 2>&1)";

constexpr column k_rpm_columns[] = {
    {"Name",         DT_STRING, 64 },
    {"Version",      DT_STRING, 32 },
    {"Vendor",       DT_STRING, 64 },
    {"Description",  DT_STRING, 256},
    {"Group",        DT_STRING, 64 },
    {"Install Date", DT_STRING, 16 },
    {"Size",         DT_STRING, 16 },
};

// In the order of the columns.
constexpr record_key k_rpm_keys[] = {
    {"Name:",        80, ""      },
    {"Version:",     80, ""      },
    {"Vendor:",      80, ""      },
    {"Description:", 80, ""      },
    {"Group:",       80, ""      },
    {"InstallDate:", 16, ""      },
    {"Size:",        80, " bytes"},
};

constexpr const char* k_table = "RPM Packages";

}  // namespace

const record_format k_rpm_records = {"rpm", "rpm: getline", k_rpm_keys, "---EOP---"};

bool rpm_packages_test() {
  static const std::optional<std::string> rpm_path = find_tool("rpm", k_table);
  return rpm_path.has_value();
}

void write_rpm_packages(FILE* fp) {
  Table table(fp, k_table, "PACKAGE");
  table.declare(k_rpm_columns);
  printd("rpm: '%s'\n", k_rpm_command);
  command_stream rpm(k_rpm_command);
  if (!rpm.is_open()) {
    print_error("rpm: popen", errno);
    return;
  }
  for_each_record(rpm.stream(), k_rpm_records, [&table](const record& package) {
    table.start_row(package.front().c_str());
    for (const std::string& field : package) table.log_data(field);
    table.end_row();
  });
  rpm.finish(k_table, table.rows());
}

}  // namespace kestrel
