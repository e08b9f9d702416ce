// Looks each known browser up with `which` and asks the one that is there for its version, with a
// time limit: a browser without a display may wait for one.
#include "probes/browser.h"

#include <algorithm>
#include <cerrno>

#include "lib/command.h"
#include "lib/debug.h"
#include "lib/find_tool.h"
#include "lib/table_rows.h"
#include "lib/utilstr.h"

namespace kestrel {
namespace {

constexpr const char* k_path_command = "readlink -f `which %s 2>/dev/null` 2>/dev/null";
constexpr const char* k_version_command =
    R"sh(%s --version 2>/dev/null | egrep -i "`echo %s | tr '-' '|'`" | )sh"
    R"sh(egrep -o '[0-9][0-9a-z\.\-]+' | head -n 1;)sh";
// A browser that opens a window instead of telling its version does not hold the run.
constexpr int k_patience = 30;  // seconds
constexpr const char* k_table = "Installed Browsers";

struct installed_browser {
  std::string name, version;
};
constexpr cell_of<installed_browser> k_browser_cells[] = {
    {"Name",    show<&installed_browser::name>.wide(30)   },
    {"Version", show<&installed_browser::version>.wide(15)},
};

void keep_first_cut(command_result& first, const command_result& next) {
  if (!first.was_cut()) first = next;
}

std::string find_browser(const char* word, command_result& first_cut) {
  char command[128];
  format_string(command, sizeof command, k_path_command, word);
  std::string line;
  const command_result result = first_line_of(command, line, k_look_up_seconds, "which");
  keep_first_cut(first_cut, result);
  if (result.status < 0) print_error("browser: popen", errno);
  if (line.empty() || !result.succeeded()) return {};
  printd("browser: %s is '%s'\n", word, line.c_str());
  return line;
}

std::string read_version(const browser& source, command_result& first_cut) {
  char command[256];
  format_string(command, sizeof command, k_version_command, source.path.c_str(), source.command);
  std::string version;
  const command_result result = first_line_of(command, version, k_patience, "browser");
  keep_first_cut(first_cut, result);
  if (result.status < 0) print_error("browser: popen", errno);
  printd("browser: %s has version %s\n", source.name, version.c_str());
  return version;
}

}  // namespace

bool browser_probe::test() {
  if (is_tested_) return is_found_;
  is_tested_ = true;
  command_result first_cut;
  for (browser& candidate : browsers) {
    candidate.path = find_browser(candidate.command, first_cut);
    if (!candidate.path.empty()) is_found_ = true;
  }
  tell_cut(first_cut, k_table, 0);
  return is_found_;
}

bool browser_probe::is_repeated(size_t index) const {
  const browser& candidate = browsers[index];
  for (size_t later = index + 1; later < browsers.size(); ++later) {
    if (browsers[later].path != candidate.path) continue;
    printd("%s is a repetition of %s: %s\n", candidate.command, browsers[later].command,
           candidate.path.c_str());
    return true;
  }
  return false;
}

bool browser_probe::run(FILE* fp) {
  record_table table(fp, k_table, "BROWSER", k_browser_cells);
  command_result first_cut;
  for (size_t i = 0; i < browsers.size(); ++i) {
    const browser& candidate = browsers[i];
    if (candidate.path.empty() || is_repeated(i)) continue;
    table.add(candidate.name, {candidate.name, read_version(candidate, first_cut)});
  }
  tell_cut(first_cut, k_table, table.rows());
  return true;
}

}  // namespace kestrel
