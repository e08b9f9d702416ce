// Sections and tables by name.
#pragma once

#include <string_view>
#include <vector>

#include "tools/ks2/report.h"

namespace kestrel::ks2 {

/// Parts of one section, in its order.
struct selected_section {
  const report_section* section;
  std::vector<section_part> parts;
};

/// The sections whose titles begin with `wanted`, in any case; or, where there are none, the tables
/// and files of the form SECTION/TABLE. A title that is the same wins over those that only begin
/// so.
std::vector<selected_section> select_parts(const report& from, std::string_view wanted);
/// Everything.
std::vector<selected_section> select_all(const report& from);

}  // namespace kestrel::ks2
