// See deb_software.h.
#include "probes/deb_software.h"

#include <cerrno>

#include "lib/command.h"
#include "lib/debug.h"
#include "lib/find_tool.h"
#include "lib/table.h"
#include "lib/utilstr.h"

namespace kestrel {
namespace {

// aptitude prints no line breaks, so sed makes them of "++", those in a package's name included.
constexpr const char* k_aptitude_command =
    R"(aptitude search "~i~T" -F ")"
    R"(Name: %p++Version: %v++Maintainer: %m++Description: %d++Group: %s++Size: %I++---EOP---)"
    R"(" -w 512 | sed -e '{s/++/\n/g}' 2>&1)";

constexpr column k_deb_columns[] = {
    {"Name",        DT_STRING, 64 },
    {"Version",     DT_STRING, 32 },
    {"Maintainer",  DT_STRING, 128},
    {"Description", DT_STRING, 256},
    {"Category",    DT_STRING, 64 },
    {"Size",        DT_STRING, 16 },
};

// In the order of the columns.
constexpr record_key k_deb_keys[] = {
    {"Name:",        64 },
    {"Version:",     32 },
    {"Maintainer:",  128},
    {"Description:", 256},
    {"Group:",       64 },
    {"Size:",        16 },
};

constexpr const char* k_table = "DPKG Packages";

// aptitude fills its columns with blanks.
std::string trimmed(const std::string& field) { return std::string(trim_whitespace(field)); }

}  // namespace

const record_format k_deb_records = {"aptitude", "aptitude: getline", k_deb_keys, "---EOP---"};

bool deb_packages_test() {
  static const std::optional<std::string> aptitude_path = find_tool("aptitude", k_table);
  return aptitude_path.has_value();
}

void write_deb_packages(FILE* fp) {
  Table table(fp, k_table, "Debian Packages");
  table.declare(k_deb_columns);
  printd("aptitude: '%s'\n", k_aptitude_command);
  command_stream aptitude(k_aptitude_command);
  if (!aptitude.is_open()) {
    print_error("aptitude: popen", errno);
    return;
  }
  for_each_record(aptitude.stream(), k_deb_records, [&table](const record& package) {
    table.start_row(trimmed(package.front()).c_str());
    for (const std::string& field : package) table.log_data(trimmed(field));
    table.end_row();
  });
  aptitude.finish(k_table, table.rows());
}

}  // namespace kestrel
