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
  audience readers;
  void (*list)(const report& content, text_output& out);
  void (*show)(const std::vector<selected_section>& sections, text_output& out);
};

extern const show_format k_text_output;
extern const show_format k_csv_output;
extern const show_format k_json_output;

}  // namespace kestrel::ks2
