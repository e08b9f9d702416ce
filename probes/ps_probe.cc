// Runs ps with a fixed list of columns and reads a line a process; the name may hold blanks, so the
// other columns are taken from the end.
#include "probes/ps_probe.h"

#include <array>
#include <cerrno>

#include "lib/command.h"
#include "lib/debug.h"
#include "lib/find_tool.h"
#include "lib/getline.h"
#include "lib/table_rows.h"
#include "lib/utilstr.h"

namespace kestrel {
namespace {

constexpr const char* k_table = "Process List";
constexpr const char* k_arguments = "--no-headers -eo pid,comm,user,nice,pcpu,pmem,stat --sort pid";

constexpr cell_of<process> k_process_cells[] = {
    {"PID",          show<&process::pid>           },
    {"Process Name", show<&process::name>.wide(0)  },
    {"User",         show<&process::user>.wide(0)  },
    {"Nice",         show<&process::nice>          },
    {"%CPU",         show<&process::cpu>.wide(0)   },
    {"%MEM",         show<&process::memory>.wide(0)},
    {"Stat",         show<&process::state>.wide(0) },
};

// The text's last word; `text` is cut before it.
std::string_view last_word(std::string_view& text) {
  text = trim_whitespace(text);
  const std::string_view word = text.substr(text.find_last_of(" \t") + 1);
  text.remove_suffix(word.size());
  return word;
}

// Threads of the real-time classes have "-".
bool scan_nice(std::string_view word, int& nice) {
  int64_t value = 0;
  if (word != "-" && !scan_decimal(word, value)) return false;
  nice = to_int(value);
  return true;
}

}  // namespace

std::optional<process> parse_ps_line(std::string_view line) {
  int64_t pid = 0;
  if (!scan_decimal(line, pid)) return {};
  std::array<std::string_view, 5> last;
  for (size_t i = last.size(); i-- > 0;) last[i] = last_word(line);
  const auto& [user, nice, cpu, memory, state] = last;
  const std::string_view name = trim_whitespace(line);
  process found;
  if (name.empty() || !scan_nice(nice, found.nice)) return {};
  found.pid = to_int(pid);
  found.name = name;
  found.user = user;
  found.cpu = cpu;
  found.memory = memory;
  found.state = state;
  return found;
}

bool ps_probe::test() {
  if (!is_tested_) ps_path_ = find_tool("ps", k_table);
  is_tested_ = true;
  return ps_path_.has_value() && !ps_path_->empty();
}

bool ps_probe::run(FILE* fp) {
  record_table table(fp, k_table, "PROCESS", k_process_cells);
  char command[256];
  format_string(command, sizeof command, "%s %s 2>&1", ps_path_.value_or("ps").c_str(),
                k_arguments);
  printd("ps: '%s'\n", command);
  command_stream running(command);
  if (!running.is_open()) {
    print_error("ps: popen", errno);
    return true;
  }
  add_lines(table, running.stream(), "ps", parse_ps_line, &process::name);
  running.finish(k_table, table.rows());
  return true;
}

}  // namespace kestrel
