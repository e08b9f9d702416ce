// What a page is made from: a report, the file that holds it, and what was found wrong with both.
// All of it outlives the page.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tools/ks2/judge.h"
#include "tools/ks2/report.h"

namespace kestrel::ks2 {

/// What the page tells. The judgement is of the whole file, its faults located in the report.
struct page_source {
  std::string file_name;
  uint64_t file_size = 0;
  std::vector<identity_line> identity;
  const report& content;
  const judgement& found;
};

}  // namespace kestrel::ks2
