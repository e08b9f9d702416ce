// Asks aptitude for every installed package and reports what it prints, trimmed.
#include "probes/deb_software.h"

#include <cerrno>

#include "lib/command.h"
#include "lib/debug.h"
#include "lib/find_tool.h"
#include "lib/table_rows.h"
#include "lib/utilstr.h"

namespace kestrel {
namespace {

// aptitude prints no line breaks, so sed makes them of "++", those in a package's name included.
constexpr const char* k_aptitude_command =
    R"(aptitude search "~i~T" -F ")"
    R"(Name: %p++Version: %v++Maintainer: %m++Description: %d++Group: %s++Size: %I++---EOP---)"
    R"(" -w 512 | sed -e '{s/++/\n/g}' 2>&1)";

template <auto Member>
auto trimmed(const deb_package& package) {
  return std::remove_cvref_t<decltype(package.*Member)>(trim_whitespace(package.*Member));
}

constexpr cell_of<deb_package> k_deb_cells[] = {
    {"Name",        show<trimmed<&deb_package::name>>       },
    {"Version",     show<trimmed<&deb_package::version>>    },
    {"Maintainer",  show<trimmed<&deb_package::maintainer>> },
    {"Description", show<trimmed<&deb_package::description>>},
    {"Category",    show<trimmed<&deb_package::group>>      },
    {"Size",        show<trimmed<&deb_package::size>>       },
};

constexpr line_of<deb_package> k_deb_lines[] = {
    {"Name:",        keep<&deb_package::name>       },
    {"Version:",     keep<&deb_package::version>    },
    {"Maintainer:",  keep<&deb_package::maintainer> },
    {"Description:", keep<&deb_package::description>},
    {"Group:",       keep<&deb_package::group>      },
    {"Size:",        keep<&deb_package::size>       },
};

constexpr const char* k_table = "DPKG Packages";

}  // namespace

const record_format<deb_package> k_deb_records = {"aptitude", "aptitude: getline", k_deb_lines,
                                                  "---EOP---"};

bool deb_packages_test() {
  static const std::optional<std::string> aptitude_path = find_tool("aptitude", k_table);
  return aptitude_path.has_value();
}

void write_deb_packages(FILE* fp) {
  record_table table(fp, k_table, "Debian Packages", k_deb_cells);
  printd("aptitude: '%s'\n", k_aptitude_command);
  command_stream aptitude(k_aptitude_command);
  if (!aptitude.is_open()) {
    print_error("aptitude: popen", errno);
    return;
  }
  for_each_record(aptitude.stream(), k_deb_records, [&table](const deb_package& package) {
    table.add(trimmed<&deb_package::name>(package), package);
  });
  aptitude.finish(k_table, table.rows());
}

}  // namespace kestrel
