// Asks `which` through the shell and reads the first line of its answer, for probes whose tool may
// not be installed.
#include "lib/find_tool.h"

#include <cerrno>

#include "lib/command.h"
#include "lib/debug.h"
#include "lib/getline.h"
#include "lib/utilstr.h"

namespace kestrel {

std::optional<std::string> find_tool(const char* tool, const char* table) {
  const auto report = [tool](const char* call) {
    print_error(format_text("%s: %s", tool, call).c_str(), errno);
  };
  command_stream which(format_text("which %s 2>&1", tool).c_str(), k_look_up_seconds);
  if (!which.is_open()) {
    report("popen");
    return {};
  }
  std::string line;
  const bool answered = read_line(which.stream(), line);
  const int length = to_int(static_cast<int64_t>(line.size()));
  printd("%s: getline, rc = %d\n", tool, answered ? length : -1);
  if (answered) line.pop_back();
  const int status = which.finish(table, 0).status;
  printd("%s: pclose, rc = %d\n", tool, status);
  if (status == 0) {
    printd("%s: %s_path is '%s'\n", tool, tool, line.c_str());
    return line;
  }
  if (status < 0) {
    report("pclose");
  } else {
    printd("%s: %s\n", tool, line.c_str());
  }
  return {};
}

}  // namespace kestrel
