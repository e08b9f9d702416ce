// The kernel's modules, from two sources: a shell script that asks modinfo about every module file,
// and /proc/modules.
#include "probes/modules_linux.h"

#include <cerrno>

#include "lib/command.h"
#include "lib/debug.h"
#include "lib/file.h"
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

constexpr cell_of<kernel_module> k_module_cells[] = {
    {"Name",        show<&kernel_module::name>.wide(80)       },
    {"Path",        show<&kernel_module::path>.wide(80)       },
    {"Version",     show<&kernel_module::version>.wide(80)    },
    {"Author",      show<&kernel_module::author>.wide(80)     },
    {"License",     show<&kernel_module::license>.wide(80)    },
    {"Description", show<&kernel_module::description>.wide(80)},
    {"Loaded",      show<&kernel_module::loaded>              },
};

constexpr line_of<kernel_module> k_module_lines[] = {
    {"Module:",      keep<&kernel_module::name>       },
    {"Path:",        keep<&kernel_module::path>       },
    {"Version:",     keep<&kernel_module::version>    },
    {"Author:",      keep<&kernel_module::author>     },
    {"License:",     keep<&kernel_module::license>    },
    {"Description:", keep<&kernel_module::description>},
    {"Loaded:",      keep<&kernel_module::loaded>     },
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

const record_format<kernel_module> k_module_records = {"modules", "modules: get_wide_line",
                                                       k_module_lines, "--EOM--"};

bool modules_probe::run(FILE* fp) {
  record_table table(fp, k_table, "MODULE", k_module_cells);
  printd("modules: '%s'\n", k_modules_script);
  command_stream script(bash_command(k_modules_script).c_str(), 0, "modinfo");
  if (!script.is_open()) {
    print_error("modules: popen", errno);
    return true;
  }
  for_each_record(script.stream(), k_module_records,
                  [&table](const kernel_module& module) { table.add(module.name, module); });
  script.finish(k_table, table.rows());
  return true;
}

std::optional<loaded_module> parse_loaded_module(std::string_view line) {
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
