// Facts from the tables of a report: the distribution, worked out from others where its own cell
// does not tell, the start entry of the running kernel, and what the run was to do and left nothing
// of.
#include "tools/ks2/report_facts.h"

#include <algorithm>

#include "lib/ascii.h"
#include "lib/utilstr.h"

namespace kestrel::ks2 {

namespace {

constexpr int64_t k_default_level = 5;
/// Of every group some probe runs from this level on; the list tells a group's own level, 0.
constexpr int64_t k_group_level = 4;

/// Tasks in the list of probes that make no section of their name: their results are items of their
/// own, or they stand for another one in reports of another form.
constexpr std::string_view k_without_section[] = {"FILESCAN", "Gathering plug-in output files",
                                                  "List Probes", "Time Zone Info", "SMBIOS INFO"};

/// Maintainers of the package that every system of that kind has.
struct maintainer {
  std::string_view part;
  const char* distribution;
};
constexpr maintainer k_maintainers[] = {
    {"ubuntu.com", "Ubuntu"          },
    {"debian.org", "Debian GNU/Linux"},
};
constexpr std::string_view k_base_package = "base-files";

const report_table* find_table(const report& content, std::string_view section,
                               std::string_view title) {
  for (const report_section& each : content.sections) {
    if (each.title != section || each.import >= 0) continue;
    for (const report_table& table : each.tables) {
      if (table.title == title) return &table;
    }
  }
  return nullptr;
}

/// Raw; null data() where there is none.
std::string_view value_in(const report_table& table, const report_row& row,
                          std::string_view column) {
  for (const report_cell* cell = table.begin_of(row); cell != table.end_of(row); ++cell) {
    if (cell->name == column) return cell->value;
  }
  return {};
}

bool has_letter(std::string_view text) {
  return std::any_of(text.begin(), text.end(), is_ascii_letter<char>);
}

/// A release file's line names the distribution, or only its release: "12.11", "trixie/sid".
bool names_distribution(std::string_view line) {
  return has_letter(line) && line.find(' ') != std::string_view::npos;
}

/// "Debian GNU/Linux, with Linux 6.1.0-13-amd64" without the kernel.
std::string from_boot_menu(const report& content) {
  for (const report_section& section : content.sections) {
    for (const report_table& table : section.tables) {
      for (const report_row& row : table.rows) {
        const std::string title = plain_text(value_in(table, row, "Boot Entry Title"));
        if (title.find("Linux") == std::string::npos) continue;
        std::string name = title.substr(0, std::min(title.find(", "), title.find(" (")));
        if (name.find(' ') != std::string::npos) return name;
      }
    }
  }
  return {};
}

std::string from_packages(const report& content) {
  const report_table* const packages = find_table(content, "Installed Software", "DPKG Packages");
  if (packages == nullptr) return {};
  for (const report_row& row : packages->rows) {
    if (value_in(*packages, row, "Name") != k_base_package) continue;
    const std::string_view who = value_in(*packages, row, "Maintainer");
    for (const maintainer& known : k_maintainers) {
      if (who.find(known.part) != std::string_view::npos) return known.distribution;
    }
  }
  return {};
}

/// What the words of the command line make of the detail level.
int64_t detail_level(const report& content) {
  constexpr std::string_view k_file_options[] = {"-asciifile", "-textfile", "-binaryfile",
                                                 "-xmlfile",   "-ksmlfile", "-dgmlfile"};
  constexpr std::string_view k_level = "-level";
  const report_table* const words = find_table(content, "GATHERER INFORMATION", "Parameters");
  int64_t level = k_default_level;
  if (words == nullptr) return level;
  for (size_t i = 0; i < words->rows.size(); ++i) {
    std::string_view word = value_in(*words, words->rows[i], "Value");
    if (std::any_of(std::begin(k_file_options), std::end(k_file_options),
                    [word](std::string_view option) { return same_word(word, option); })) {
      level = 0;
    }
    if (!same_word(word.substr(0, k_level.size()), k_level)) continue;
    word.remove_prefix(k_level.size());
    if (word.empty() && i + 1 < words->rows.size()) {
      word = value_in(*words, words->rows[i + 1], "Value");
    }
    scan_decimal(word, level);
  }
  return level;
}

bool has_section(const report& content, std::string_view title) {
  return std::any_of(content.sections.begin(), content.sections.end(),
                     [title](const report_section& s) { return s.title == title; });
}

}  // namespace

std::string_view first_value(const report& content, std::string_view section,
                             std::string_view table, std::string_view column) {
  const report_table* const found = find_table(content, section, table);
  if (found == nullptr || found->rows.empty()) return {};
  return value_in(*found, found->rows.front(), column);
}

std::string distribution_of(const report& content) {
  std::string release =
      plain_text(first_value(content, "SYSTEM SUMMARY", "Operating System", "Name"));
  if (names_distribution(release)) return release;
  std::string build =
      plain_text(first_value(content, "SYSTEM SUMMARY", "System Summary", "OS Build"));
  if (names_distribution(build)) return build;
  std::string name = from_boot_menu(content);
  if (name.empty()) name = from_packages(content);
  const bool is_release_known = !release.empty() && release != "Unknown";
  if (name.empty() || !is_release_known || name.find(release) != std::string::npos) return name;
  return name + " " + release;
}

std::vector<std::string> missing_sections(const report& content) {
  std::vector<std::string> missing;
  const report_table* const probes = find_table(content, "GATHERER INFORMATION", "Probes List");
  if (probes == nullptr) return missing;
  const int64_t level = detail_level(content);
  for (const report_row& row : probes->rows) {
    const std::string_view name = value_in(*probes, row, "Name");
    std::string_view digits = value_in(*probes, row, "Detail");
    int64_t detail;
    if (value_in(*probes, row, "Enabled") != "true" || !scan_decimal(digits, detail)) continue;
    if (value_in(*probes, row, "Blocked") == "true") continue;
    if ((detail == 0 ? k_group_level : detail) > level || has_section(content, name)) continue;
    const bool makes_none = std::find(std::begin(k_without_section), std::end(k_without_section),
                                      name) != std::end(k_without_section);
    if (!makes_none) missing.push_back(plain_text(name));
  }
  return missing;
}

}  // namespace kestrel::ks2
