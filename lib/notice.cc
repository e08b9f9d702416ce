// The lines that wait for their task's status word: see notice.h.
#include "lib/notice.h"

#include <algorithm>
#include <utility>

#include "lib/debug.h"

namespace kestrel {

namespace {
std::vector<std::string> waiting;
}

void add_notice(std::string_view subject, std::string_view text) {
  std::string line(subject);
  line.append(": ").append(text);
  if (std::find(waiting.begin(), waiting.end(), line) != waiting.end()) return;
  printd("notice: %s\n", line.c_str());
  waiting.push_back(std::move(line));
}

std::vector<std::string> take_notices() { return std::exchange(waiting, {}); }

}  // namespace kestrel
