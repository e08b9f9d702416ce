// The general limit, the time that all commands took and the tools that ran into their limit: from
// them comes what the next command gets.
#include "lib/command_limits.h"

#include <algorithm>
#include <cstdint>
#include <map>

namespace kestrel {
namespace {

constexpr int k_general = 600;
constexpr int k_once_more = 5;
constexpr int k_last = 1;
constexpr int k_hangs_at_most = 3;
constexpr int64_t k_whole_run = 1800;
constexpr int64_t k_general_times = 3;
constexpr const char* k_look_up = "which";

int general = k_general;
std::chrono::milliseconds taken{0};  // by all commands
std::map<std::string, int> hangs;

int shorter(int limit, int other) { return limit == 0 ? other : std::min(limit, other); }

}  // namespace

void set_command_timeout(unsigned seconds) {
  general = static_cast<int>(std::min(seconds, 1u << 30));
  taken = {};
  hangs.clear();
}

unsigned get_command_timeout() { return static_cast<unsigned>(general); }

std::string tool_of(const std::string& command) {
  const size_t exported = command.starts_with("export ") ? command.find("; ") : std::string::npos;
  const size_t start = exported == std::string::npos ? 0 : exported + 2;
  const std::string word =
      command.substr(start, command.find_first_of(" \t\n;|&<>", start) - start);
  return word.substr(word.rfind('/') + 1);
}

int seconds_for(const std::string& tool, int own) {
  int limit = own > 0 ? shorter(general, own) : general;
  if (general > 0) {
    const int64_t left =
        std::max(k_whole_run, k_general_times * general) - taken / std::chrono::seconds(1);
    limit = static_cast<int>(std::min<int64_t>(limit, std::max<int64_t>(left, k_once_more)));
  }
  const auto found = hangs.find(tool);
  if (found == hangs.end()) return limit;
  const bool is_last = tool == k_look_up || found->second >= k_hangs_at_most;
  return shorter(limit, is_last ? k_last : k_once_more);
}

void note_command(const std::string& tool, std::chrono::milliseconds time, bool ran_into_limit) {
  taken += time;
  if (ran_into_limit) ++hangs[tool];
}

}  // namespace kestrel
