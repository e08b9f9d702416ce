// Tables for people: fitted to a width, long cells wrapped, not cut. No cell is ever copied whole:
// a line is made when it is written.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "tools/ks2/report_text.h"
#include "tools/ks2/terminal.h"

namespace kestrel::ks2 {

/// A table's cells, asked for as they are needed, more than once. Cells may hold line ends.
class table_source {
 public:
  virtual ~table_source() = default;
  virtual size_t column_count() const = 0;
  virtual shown_reader heading(size_t column) const = 0;
  /// Aligned to the right.
  virtual bool is_number(size_t column) const = 0;
  virtual size_t row_count() const = 0;
  /// At most one for each column.
  virtual size_t cell_count(size_t row) const = 0;
  virtual shown_reader cell(size_t row, size_t column) const = 0;
};

struct text_column {
  std::string heading;
  bool is_number = false;
};

/// A small table of texts.
struct text_table : table_source {
  std::vector<text_column> columns;
  std::vector<std::vector<std::string>> rows;

  explicit text_table(std::vector<text_column> of) : columns(std::move(of)) {}
  size_t column_count() const override { return columns.size(); }
  shown_reader heading(size_t column) const override {
    return shown_reader({columns[column].heading});
  }
  bool is_number(size_t column) const override { return columns[column].is_number; }
  size_t row_count() const override { return rows.size(); }
  size_t cell_count(size_t row) const override { return rows[row].size(); }
  shown_reader cell(size_t row, size_t column) const override {
    return shown_reader({rows[row][column]}, true);
  }
};

/// Writes a table with its headings, underlined. One with more columns than fit is set as one block
/// a row, a line a cell. With k_no_width every row is one line (but for line ends of its own), and
/// columns are padded as far as that is of use.
void write_table(const table_source& table, size_t width, text_output& out);
/// The rows without the headings.
void write_rows(const table_source& table, size_t width, text_output& out);

/// Breaks a text into lines of at most `width` columns (one character where even that does not
/// fit), at blanks where there are any. Every text has one line at least.
class line_breaker {
 public:
  line_breaker(shown_reader text, size_t width);

  /// False behind the last line.
  bool next(std::string& line);

 private:
  bool put(wchar_t c, std::string& line);
  void break_line(std::string& line);
  void end_line(std::string& line);

  shown_reader text_;
  size_t width_;
  size_t longest_;  ///< bytes of a line
  std::string line_;
  size_t columns_ = 0;
  size_t blank_end_ = 0;  ///< bytes of the line up to its last blank, that included
  size_t columns_at_blank_ = 0;
  size_t blanks_ = 0;  ///< of a tab, to be put yet
  bool has_lines_ = false;
  bool is_finished_ = false;
};

}  // namespace kestrel::ks2
