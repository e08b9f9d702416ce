// The top of a page: which machine this is, where the report comes from, and what is wrong with the
// file.
#include <algorithm>
#include <optional>

#include "lib/ascii.h"
#include "tools/ks2/command.h"
#include "tools/ks2/html_parts.h"
#include "tools/ks2/report_facts.h"

namespace kestrel::ks2 {

namespace {

/// One line about the machine: from the identity block, or from the summary's tables; where both
/// have it and differ, both are shown.
struct identity_field {
  const char* label;
  char letter;         ///< in the identity block, 0: it is not there
  const char* table;   ///< of the summary
  const char* column;  ///< of its first row
};
constexpr const char* k_system = "Operating system";
constexpr const char* k_release = "OS release";
constexpr identity_field k_fields[] = {
    {"Maker",         'V', "System Summary",   "System Vendor"       },
    {"Model",         'M', "System Summary",   "System Model"        },
    {"Serial number", 'S', "System Summary",   "System Serial Number"},
    {"UUID",          'U', "System Summary",   "UUID"                },
    {"BIOS version",  0,   "System Summary",   "BIOS Version"        },
    {k_system,        0,   "Operating System", "OS"                  },
    {"OS vendor",     0,   "Operating System", "Vendor"              },
    {k_release,       0,   "Operating System", "Name"                },
    {"OS version",    0,   "Operating System", "Version"             },
    {"OS type",       0,   "System Summary",   "OS Type"             },
    {"OS vendor",     0,   "System Summary",   "OS Vendor"           },
    {"OS version",    0,   "System Summary",   "OS Version"          },
    {"Current user",  'L', "System Summary",   "Current User"        },
    {"Domain",        'K', "",                 ""                    },
};
constexpr identity_field k_name = {"Computer", 'C', "System Summary", "Computer Name"};

constexpr const char* k_summary = "SYSTEM SUMMARY";
constexpr size_t k_listed_faults = 8;

const identity_line* line_of(const page& to, char letter) {
  for (const identity_line& line : to.source.identity) {
    if (letter != 0 && line.letter == letter) return &line;
  }
  return nullptr;
}

struct identity_value {
  std::optional<std::string> block;
  std::optional<std::string> summary;

  bool is_known() const { return block.has_value() || summary.has_value(); }
  const std::string& best() const { return block ? *block : *summary; }
};

identity_value value_of(const page& to, const identity_field& field) {
  identity_value value;
  if (const identity_line* line = line_of(to, field.letter)) value.block = line->value;
  const std::string_view raw = first_value(to.source.content, k_summary, field.table, field.column);
  if (raw.data() != nullptr) value.summary = plain_text(raw);
  return value;
}

void write_value(html_writer& out, const std::string& value) {
  if (value.empty() || value == "Unknown" || value == "(none)") {
    out.markup("<span class=\"dim\">");
    out.text(value.empty() ? "\xE2\x80\x93" : value);
    out.markup("</span>");
  } else {
    out.text(value);
  }
}

void write_term(html_writer& out, std::string_view label) {
  out.markup("<div><dt>");
  out.markup(label);
  out.markup("</dt><dd>");
}

void write_field(page& to, const identity_field& field, const std::string& distribution) {
  identity_value value = value_of(to, field);
  if (field.label == k_system && !distribution.empty()) value.summary = distribution;
  if (!value.is_known()) return;
  // It says no more than the distribution does.
  if (field.label == k_release && distribution.find(value.best()) != std::string::npos) return;
  write_term(to.out, field.label);
  write_value(to.out, value.best());
  if (value.block && value.summary && *value.block != *value.summary) {
    to.out.markup("<small>in the report: ");
    write_value(to.out, *value.summary);
    to.out.markup("</small>");
  }
  to.out.markup("</dd></div>\n");
}

/// "20261124-234026" as "2026-11-24 23:40:26"; anything else as it is.
std::string stamp_text(const std::string& stamp) {
  const bool is_stamp = stamp.size() == 15 && stamp[8] == '-' &&
                        std::count_if(stamp.begin(), stamp.end(), is_ascii_digit<char>) == 14;
  if (!is_stamp) return stamp;
  return stamp.substr(0, 4) + "-" + stamp.substr(4, 2) + "-" + stamp.substr(6, 2) + " " +
         stamp.substr(9, 2) + ":" + stamp.substr(11, 2) + ":" + stamp.substr(13, 2);
}

/// Where the report comes from.
void write_origin(page& to) {
  html_writer& out = to.out;
  if (const identity_line* stamp = line_of(to, 'T')) {
    write_term(out, "Gathered");
    out.text(stamp_text(stamp->value));
    out.markup("</dd></div>\n");
  }
  write_term(out, "File");
  out.text(to.source.file_name);
  out.markup("<small>");
  out.text(human_bytes(to.source.file_size));
  out.markup("</small></dd></div>\n");
  if (!to.source.content.version.empty()) {
    write_term(out, "Gatherer");
    out.raw(to.source.content.version);
    out.markup("</dd></div>\n");
  }
}

/// Probes of which the reader would look for a section in vain.
void write_missing(page& to) {
  const std::vector<std::string> names = missing_sections(to.source.content);
  if (names.empty()) return;
  html_writer& out = to.out;
  out.markup("<p id=\"missing\" class=\"note\">Enabled, but without a section: ");
  for (const std::string& name : names) {
    if (&name != &names.front()) out.markup(", ");
    out.text(name);
  }
  out.markup(
      ". Either the machine has nothing of that kind, or the probe did not come to its end.</p>\n");
}

void write_fault_item(page& to, size_t index) {
  const fault& found = to.source.found.faults.all()[index];
  html_writer& out = to.out;
  out.markup("<li>");
  if (found.where.section >= 0) {
    out.markup("<a href=\"#x");
    out.index(index + 1);
    out.markup("\">");
  }
  out.text(describe_place(found.where));
  out.markup(found.where.section >= 0 ? "</a>: " : ": ");
  out.text(found.text);
  out.markup("</li>\n");
}

/// What is said of the file.
struct verdict {
  const char* title;
  const char* text;
};
constexpr verdict k_damaged = {"This file is damaged.",
                               "What could be read of it is shown, marked where it is wrong."};
constexpr verdict k_suspect = {
    "This file may have been changed.",
    "It is not as the gatherer leaves one: somebody changed it, or another "
    "program made it."};
constexpr verdict k_cut = {"This page is cut.",
                           "The limit of memory (--max-size) left no room for the whole report."};
constexpr verdict k_unchecked = {"Not all of this file was checked.",
                                 "The limit of memory (--max-size) left no room for it."};
constexpr verdict k_odd = {"This file is whole, with remarks.",
                           "Nothing that it vouches for was changed."};

std::vector<verdict> verdicts_of(const page_source& source) {
  std::vector<verdict> verdicts;
  if (source.found.faults.is_damaged()) verdicts.push_back(k_damaged);
  if (source.found.faults.is_suspect()) verdicts.push_back(k_suspect);
  if (source.found.is_refused) verdicts.push_back(source.content.is_refused ? k_cut : k_unchecked);
  if (verdicts.empty()) verdicts.push_back(k_odd);
  return verdicts;
}

}  // namespace

void write_identity(page& to) {
  html_writer& out = to.out;
  out.markup("<div id=\"top\">\n<p class=\"kind\">System report</p>\n<h1>");
  const identity_value name = value_of(to, k_name);
  out.text(name.is_known() && !name.best().empty() ? name.best() : to.source.file_name);
  out.markup("</h1>\n<dl>\n");
  const std::string distribution = distribution_of(to.source.content);
  for (const identity_field& field : k_fields) write_field(to, field, distribution);
  write_origin(to);
  out.markup("</dl>\n");
  write_missing(to);
  out.markup("</div>\n");
}

void write_faults(page& to) {
  const fault_list& faults = to.source.found.faults;
  const std::vector<size_t> told = told_faults(faults);
  if (told.empty() && to.source.found.status() == exit_whole) return;
  html_writer& out = to.out;
  out.markup("<div id=\"faults\" role=\"note\">\n");
  for (const verdict& each : verdicts_of(to.source)) {
    out.markup("<p><strong>");
    out.markup(each.title);
    out.markup("</strong> ");
    out.markup(each.text);
    out.markup("</p>\n");
  }
  out.markup("<ul>\n");
  for (size_t i = 0; i < told.size(); ++i) {
    if (i == k_listed_faults) {
      out.markup("</ul>\n<details><summary>");
      write_count(out, told.size() - i, "more", "more");
      out.markup("</summary>\n<ul>\n");
    }
    write_fault_item(to, told[i]);
  }
  out.markup("</ul>\n");
  if (told.size() > k_listed_faults) out.markup("</details>\n");
  if (faults.dropped() > 0) {
    out.markup("<p>Not listed: ");
    out.number(faults.dropped());
    out.markup("</p>\n");
  }
  out.markup("</div>\n");
}

}  // namespace kestrel::ks2
