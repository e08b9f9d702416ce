// Tables for people: fitted to a width, long cells wrapped, not cut.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace kestrel::ks2 {

struct text_column {
  std::string heading;
  bool is_number = false;  ///< aligned to the right
};

struct text_table {
  std::vector<text_column> columns;
  /// Cells may hold line ends; nothing in them is passed on that a terminal would act upon.
  std::vector<std::vector<std::string>> rows;
};

/// The lines of the heading, underlined, and those of the rows. A table with more columns than fit
/// is set as one block a row, a line a cell.
struct formatted_table {
  std::string heading;
  std::string rows;
};
formatted_table format_table(const text_table& table, size_t width);

/// Lines of at most `width` columns (one character where even that does not fit), broken at blanks
/// where there are any.
std::vector<std::string> wrap(const std::string& text, size_t width);

}  // namespace kestrel::ks2
