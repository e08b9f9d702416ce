// See modules_linux.h.
#include "probes/modules_linux.h"

#include <cerrno>

#include "lib/command.h"
#include "lib/debug.h"
#include "lib/file.h"
#include "lib/getline.h"
#include "lib/mbcs.h"
#include "lib/table_rows.h"
#include "lib/utilstr.h"

namespace kestrel {
namespace {

// One line for bash. No version is printed on purpose.
constexpr const char* k_modules_script =
    R"sh(PATH=${PATH}:/sbin:/usr/sbin:/usr/local/sbin;MODINFO=$(which modinfo); )sh"
    R"sh(which modinfo find sed > /dev/null || exit 1; M="\n"; )sh"
    R"sh(BASEDIR="/lib/modules/$(uname -r)"; )sh"
    R"sh(find ${BASEDIR} -name '*.o' -o -name '*.ko' | while read MODULE; do )sh"
    R"sh(NAME=$(basename ${MODULE}); MODDIR=$(dirname ${MODULE}); )sh"
    R"sh(MODPATH=${MODDIR#${BASEDIR}/}; )sh"
    R"sh(echo "Module: ${NAME}"; echo "Path: ${MODPATH}"; echo "Version: "; )sh"
    R"sh(echo -n "Author: "; ${MODINFO} -a ${MODULE} 2>/dev/null; )sh"
    R"sh([[ $(${MODINFO} -a ${MODULE} 2>/dev/null) == "" ]] && echo; )sh"
    R"sh(echo -n "License: "; ${MODINFO} -l ${MODULE} 2>/dev/null; )sh"
    R"sh([[ $(${MODINFO} -l ${MODULE} 2>/dev/null) == "" ]] && echo; )sh"
    R"sh(echo -n "Description: "; ${MODINFO} -d ${MODULE} 2>/dev/null; )sh"
    R"sh([[ $(${MODINFO} -d ${MODULE} 2>/dev/null) == "" ]] && echo; )sh"
    R"sh(if grep -q "^$(basename ${MODULE} .o)" /proc/modules )sh"
    R"sh(|| grep -q "^$(basename ${MODULE} .ko)" /proc/modules; )sh"
    R"sh(then echo "Loaded: Yes"; else echo "Loaded: No"; fi; echo -en "--EOM--${M}"; )sh"
    R"sh(done | sed 's/<none>//g';   )sh";

constexpr const char* k_table = "Kernel Modules";

constexpr column k_module_columns[] = {
    {"Name",        DT_STRING, 80},
    {"Path",        DT_STRING, 80},
    {"Version",     DT_STRING, 80},
    {"Author",      DT_STRING, 80},
    {"License",     DT_STRING, 80},
    {"Description", DT_STRING, 80},
    {"Loaded",      DT_STRING, 0 },
};

// In the order of the columns; a value may be as long as a line.
constexpr record_key k_module_keys[] = {
    {"Module:",      k_max_line},
    {"Path:",        k_max_line},
    {"Version:",     k_max_line},
    {"Author:",      k_max_line},
    {"License:",     k_max_line},
    {"Description:", k_max_line},
    {"Loaded:",      k_max_line},
};

constexpr cell_of<loaded_module> k_loaded_cells[] = {
    {"Name",              show<&loaded_module::name>                },
    {"Size",              show<&loaded_module::size>                },
    {"Number of Uses",    show<&loaded_module::uses>                },
    {"Dependant Modules", show<&loaded_module::dependants>.wide(128)},
};

// The text as one word of a shell command.
std::string shell_quoted(std::string_view text) {
  std::string word = "'";
  for (char c : text) {
    if (c == '\'') {
      word += R"('\'')";
    } else {
      word += c;
    }
  }
  return word + "'";
}

// Other shells print the marker that ends a module differently, so sh is only better than nothing.
std::string bash_command(std::string_view script) {
  return R"sh(exec "$(command -v bash || echo sh)" -c )sh" + shell_quoted(script);
}

}  // namespace

const record_format k_module_records = {"modules", "modules: get_wide_line", k_module_keys,
                                        "--EOM--"};

bool modules_probe::run(FILE* fp) {
  Table table(fp, k_table, "MODULE");
  table.declare(k_module_columns);
  printd("modules: '%s'\n", k_modules_script);
  command_stream script(bash_command(k_modules_script).c_str(), 0, "modinfo");
  if (!script.is_open()) {
    print_error("modules: popen", errno);
    return true;
  }
  for_each_record(script.stream(), k_module_records, [&table](const record& module) {
    table.start_row(mbcs_to_wide(module.front()).c_str());
    for (const std::string& field : module) table.log_wide_data(mbcs_to_wide(field).c_str());
    table.end_row();
  });
  script.finish(k_table, table.rows());
  return true;
}

std::optional<loaded_module> parse_loaded_module(std::string_view line) {
  line = line.substr(0, line.find('\0'));
  const size_t state = line.rfind(" Live");
  if (state == std::string_view::npos) return {};
  std::string_view text = line.substr(0, state);
  if (text.ends_with('-')) text.remove_suffix(1);  // stands for no dependants

  loaded_module module;
  module.dependants = text.substr(text.rfind(' ') + 1);
  module.name = next_word(text);
  int64_t size = 0, uses = 0;
  if (module.name.empty() || !scan_integer(text, size)) return {};
  scan_integer(text, uses);
  module.size = to_int(size);
  module.uses = to_int(uses);
  return module;
}

bool loaded_modules_probe::run(FILE* fp) {
  record_table table(fp, "Loaded Modules", k_loaded_cells);
  file_ptr in = open_regular_file("/proc/modules");
  if (in == nullptr) print_error("modules: fopen", errno);
  add_lines(table, in.get(), "modules", parse_loaded_module, &loaded_module::name);
  return true;
}

}  // namespace kestrel
