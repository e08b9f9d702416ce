// The report for people and for programs.
#pragma once

#include <vector>

#include "tools/ks2/report.h"
#include "tools/ks2/selection.h"
#include "tools/ks2/terminal.h"

namespace kestrel::ks2 {

/// How a report is shown: the list of its sections, or some of them.
struct show_format {
  const char* name;
  void (*list)(const report& content, paged_output& out);
  void (*show)(const std::vector<selected_section>& sections, paged_output& out);
};

extern const show_format k_text_output;
extern const show_format k_csv_output;
extern const show_format k_json_output;

/// The names of a table's columns as text; those that its rows do not tell are empty.
std::vector<std::string> column_headings(const report_table& table);
/// Some row has a name that none of its cells says.
bool has_row_names(const report_table& table);

}  // namespace kestrel::ks2
