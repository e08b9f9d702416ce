// Which distribution is installed, by the release file it leaves in /etc.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace kestrel {

/// What the release file tells.
struct distribution {
  std::string long_name;   ///< vendor
  std::string short_name;  ///< "Debian"; empty where /etc/issue names no known one
  std::string release;     ///< first non-empty line of the release file
};

/// The distribution of the running system; "Unknown" (short: "generic") where nothing tells.
distribution check_files();

/// Rows of the table of release files, and the one that several distributions share.
inline constexpr int k_release_files = 5;
inline constexpr int k_issue_file = 4;  ///< /etc/issue
/// What the row-th release file (0 to 4, or -1 for none) and its line, if it has one, tell.
distribution name_distribution(int row, const std::optional<std::string>& line);

/// Reads the first non-empty line, at most 255 characters of it, into `line`. False, and `line`
/// unchanged, when the file is none that can be read or has no such line.
bool get_dist(const char* path, std::string& line);
/// 0 to 2 when `line` begins with "Caldera", "Mandrake" or "Slackware", else -1.
int dist_check(std::string_view line);

}  // namespace kestrel
