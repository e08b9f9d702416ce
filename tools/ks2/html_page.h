// A report as one page for the browser: it needs no other file and no network, and lets nothing run
// but its own script. It is readable, printable and searchable without the script too.
//
// Whatever comes from the report passes through html_writer, which escapes it. The page is written
// as the model is walked; nothing of it is kept in memory.
#pragma once

#include <cstdint>
#include <cstdio>
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

/// Errors of writing stay in `out`.
void write_page(const page_source& source, FILE* out);

}  // namespace kestrel::ks2
