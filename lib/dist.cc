// Goes through the release files of /etc in a fixed order; the first that is there names the
// distribution. The list differs on purpose from the one that os_info goes by.
#include "lib/dist.h"

#include <unistd.h>

#include "lib/file.h"

namespace kestrel {

namespace {

struct release_file {
  const char* path;
  const char* short_name;
  const char* long_name;
};

// The last three share a file and are told apart by how its first line begins: the short name.
constexpr release_file k_distributions[] = {
    {"/etc/debian_version",     "Debian",     "Debian"               },
    {"/etc/redhat-release",     "Red Hat",    "Red Hat, Inc."        },
    {"/etc/SuSE-release",       "SuSE",       "SuSE Linux AG"        },
    {"/etc/turbolinux-release", "TurboLinux", "TurboLinux, Inc."     },
    {"/etc/issue",              "Caldera",    "Caldera Systems, Inc."},
    {"/etc/issue",              "Mandrake",   "MandrakeSoft, S.A."   },
    {"/etc/issue",              "Slackware",  "Slackware Linux, Inc."},
};

distribution generic_distribution() { return {"Unknown", "generic", "Unknown"}; }

}  // namespace

bool get_dist(const char* path, std::string& line) {
  constexpr size_t k_longest = 255;
  const file_ptr in = open_regular_file(path);
  if (in == nullptr) return false;
  std::string kept;
  for (int c; kept.size() < k_longest && (c = std::getc(in.get())) != EOF;) {
    if (c != '\n') {
      kept.push_back(static_cast<char>(c));
    } else if (!kept.empty()) {
      break;
    }
  }
  if (kept.empty()) return false;
  line = kept;
  return true;
}

int dist_check(std::string_view line) {
  constexpr int k_shared = static_cast<int>(std::size(k_distributions)) - k_issue_file;
  for (int i = 0; i < k_shared; ++i) {
    if (line.starts_with(k_distributions[k_issue_file + i].short_name)) return i;
  }
  return -1;
}

distribution name_distribution(int row, const std::optional<std::string>& line) {
  if (row < 0) return generic_distribution();
  if (row == k_issue_file) {
    if (!line) return generic_distribution();
    const int shared = dist_check(*line);
    // The short name stays empty on purpose.
    if (shared < 0) return {"Unknown", "", "Unknown"};
    row += shared;
  }
  const release_file& known = k_distributions[row];
  return {known.long_name, known.short_name, line.value_or("Unknown")};
}

distribution check_files() {
  for (int row = 0; row < k_release_files; ++row) {
    const char* path = k_distributions[row].path;
    if (!is_accessible(path, F_OK)) continue;
    std::string line;
    if (get_dist(path, line)) return name_distribution(row, line);
    return name_distribution(row, std::nullopt);
  }
  return name_distribution(-1, std::nullopt);
}

}  // namespace kestrel
