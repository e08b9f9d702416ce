// Asks rpm for every package of its database and reports what it prints.
#include "probes/rpm_software.h"

#include <cerrno>

#include "lib/command.h"
#include "lib/debug.h"
#include "lib/find_tool.h"
#include "lib/table_rows.h"

namespace kestrel {
namespace {

// rpm itself makes line breaks of the backslashes.
constexpr const char* k_rpm_command =
    R"(rpm --query --all --queryformat ")"
    R"(Name: %{NAME}\nVersion: %{VERSION}-%{RELEASE}\nVendor: %{VENDOR}\n)"
    R"(Description: %{SUMMARY}\nGroup: %{GROUP}\nInstallDate: %{INSTALLTIME:day}\n)"
    R"(Size: %{SIZE}\n---EOP---\n" 2>&1)";

constexpr cell_of<rpm_package> k_rpm_cells[] = {
    {"Name",         show<&rpm_package::name>.wide(64)        },
    {"Version",      show<&rpm_package::version>.wide(32)     },
    {"Vendor",       show<&rpm_package::vendor>.wide(64)      },
    {"Description",  show<&rpm_package::description>.wide(256)},
    {"Group",        show<&rpm_package::group>.wide(64)       },
    {"Install Date", show<&rpm_package::install_date>         },
    {"Size",         show<&rpm_package::size>.wide(16)        },
};

void keep_size(rpm_package& package, std::string_view value) {
  package.size = std::string(value) + " bytes";
}

constexpr line_of<rpm_package> k_rpm_lines[] = {
    {"Name:",        keep<&rpm_package::name>        },
    {"Version:",     keep<&rpm_package::version>     },
    {"Vendor:",      keep<&rpm_package::vendor>      },
    {"Description:", keep<&rpm_package::description> },
    {"Group:",       keep<&rpm_package::group>       },
    {"InstallDate:", keep<&rpm_package::install_date>},
    {"Size:",        keep_size                       },
};

constexpr const char* k_table = "RPM Packages";

}  // namespace

const record_format<rpm_package> k_rpm_records = {"rpm", "rpm: getline", k_rpm_lines, "---EOP---"};

bool rpm_packages_test() {
  static const std::optional<std::string> rpm_path = find_tool("rpm", k_table);
  return rpm_path.has_value();
}

void write_rpm_packages(FILE* fp) {
  record_table table(fp, k_table, "PACKAGE", k_rpm_cells);
  printd("rpm: '%s'\n", k_rpm_command);
  command_stream rpm(k_rpm_command);
  if (!rpm.is_open()) {
    print_error("rpm: popen", errno);
    return;
  }
  for_each_record(rpm.stream(), k_rpm_records,
                  [&table](const rpm_package& package) { table.add(package.name, package); });
  rpm.finish(k_table, table.rows());
}

}  // namespace kestrel
