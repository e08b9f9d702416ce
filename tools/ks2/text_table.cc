// Measures a table in columns, gives its columns what the width leaves, or prints its rows as
// blocks where it does not fit, and breaks values into lines as it writes.
#include "tools/ks2/text_table.h"

#include <algorithm>
#include <string_view>

#include "tools/ks2/shown_text.h"

namespace kestrel::ks2 {

namespace {

constexpr size_t k_gap = 2;          ///< between columns
constexpr size_t k_least_share = 8;  ///< a column is made no narrower than this
constexpr size_t k_tab = 8;
/// A line of more bytes, most of which take no column, is full.
constexpr size_t k_longest_line = 16 * 1024;
constexpr size_t k_longest_unwrapped = 1024 * 1024;
/// Where nothing is wrapped, cells that take more columns push the others of their row to the
/// right.
constexpr size_t k_most_padding = 100;

/// What a character takes that stands behind `columns` others on its line.
size_t columns_taken(wchar_t c, size_t columns) {
  return c == L'\t' ? k_tab - columns % k_tab : static_cast<size_t>(columns_of(c));
}

/// Columns of the longest line, or more than `most`.
size_t natural_width(shown_reader text, size_t most) {
  size_t widest = 0, columns = 0;
  for (wchar_t c; widest <= most && text.next(c);) {
    columns = c == L'\n' ? 0 : columns + columns_taken(c, columns);
    widest = std::max(widest, columns);
  }
  return widest;
}

std::vector<size_t> natural_widths(const table_source& table, size_t most) {
  std::vector<size_t> widths;
  for (size_t i = 0; i < table.column_count(); ++i) {
    widths.push_back(natural_width(table.heading(i), most));
  }
  for (size_t row = 0; row < table.row_count(); ++row) {
    for (size_t i = 0; i < table.cell_count(row); ++i) {
      if (widths[i] <= most) {
        widths[i] = std::max(widths[i], natural_width(table.cell(row, i), most));
      }
    }
  }
  return widths;
}

/// Makes the widest columns narrower until all fit; false when they cannot.
bool fit(std::vector<size_t>& widths, size_t width) {
  const size_t gaps = widths.empty() ? 0 : k_gap * (widths.size() - 1);
  const auto total = [&](size_t most) {
    size_t sum = gaps;
    for (const size_t natural : widths) sum += std::min(natural, most);
    return sum;
  };
  if (total(k_least_share) > width) return false;
  size_t most = k_least_share;
  while (most < width && total(most + 1) <= width) ++most;
  size_t left = width - total(most);
  for (size_t& column : widths) {
    if (column <= most) continue;
    const size_t more = std::min(left, column - most);
    column = most + more;
    left -= more;
  }
  return true;
}

struct laid_out_cell {
  line_breaker lines;
  size_t width;
  bool is_at_right;
};

/// Writes one row of cells, as many lines as its longest cell takes.
void write_cells(std::vector<laid_out_cell>& cells, style how, text_output& out) {
  for (bool is_first = true; out.is_wanted(); is_first = false) {
    std::string line, piece;
    bool has_piece = false;
    for (laid_out_cell& cell : cells) {
      if (&cell != &cells.front()) line.append(k_gap, ' ');
      piece.clear();
      if (cell.lines.next(piece)) has_piece = true;
      const std::string padding(cell.width - std::min(cell.width, columns_of(piece)), ' ');
      line += cell.is_at_right ? padding + piece : piece + padding;
    }
    if (!has_piece && !is_first) return;
    line.resize(line.find_last_not_of(' ') + 1);
    out.write(line += '\n', how);
  }
}

/// One block a row.
void write_blocks(const table_source& table, size_t width, text_output& out) {
  size_t label = 0;
  for (size_t i = 0; i < table.column_count() && label < width / 2; ++i) {
    label = std::max(label, natural_width(table.heading(i), width));
  }
  label = std::min(label, width / 2);
  const size_t room = width - std::min(width, label + k_gap);
  for (size_t row = 0; row < table.row_count() && out.is_wanted(); ++row) {
    for (size_t i = 0; i < table.cell_count(row) && out.is_wanted(); ++i) {
      std::vector<laid_out_cell> cells;
      cells.push_back({line_breaker(table.heading(i), label), label, false});
      cells.push_back({line_breaker(table.cell(row, i), room), room, false});
      write_cells(cells, style::plain, out);
    }
    out.write("\n");
  }
}

void write_headings(const table_source& table, const std::vector<size_t>& widths, bool wraps,
                    text_output& out) {
  std::vector<laid_out_cell> headings, rules;
  const std::string rule(*std::max_element(widths.begin(), widths.end()), '-');
  for (size_t i = 0; i < widths.size(); ++i) {
    headings.push_back({line_breaker(table.heading(i), wraps ? widths[i] : k_no_width), widths[i],
                        table.is_number(i)});
    const std::string_view line = std::string_view(rule).substr(0, widths[i]);
    rules.push_back({line_breaker(shown_reader({line}), widths[i]), widths[i], false});
  }
  write_cells(headings, style::heading, out);
  write_cells(rules, style::heading, out);
}

void write_fitted(const table_source& table, size_t width, bool has_headings, text_output& out) {
  const bool wraps = width != k_no_width;
  // Each column takes its gap at least.
  if (table.column_count() > width) return write_blocks(table, width, out);
  std::vector<size_t> widths = natural_widths(table, wraps ? width : k_most_padding);
  for (size_t& column : widths) column = wraps ? column : std::min(column, k_most_padding);
  if (wraps && !fit(widths, width)) return write_blocks(table, width, out);
  if (has_headings && !widths.empty()) write_headings(table, widths, wraps, out);
  for (size_t row = 0; row < table.row_count() && out.is_wanted(); ++row) {
    std::vector<laid_out_cell> cells;
    for (size_t i = 0; i < widths.size(); ++i) {
      const shown_reader text = i < table.cell_count(row) ? table.cell(row, i) : shown_reader({});
      cells.push_back(
          {line_breaker(text, wraps ? widths[i] : k_no_width), widths[i], table.is_number(i)});
    }
    write_cells(cells, style::plain, out);
  }
}

}  // namespace

line_breaker::line_breaker(shown_reader text, size_t width)
    : text_(text),
      width_(std::max<size_t>(width, 1)),
      longest_(width == k_no_width ? k_longest_unwrapped : k_longest_line) {}

bool line_breaker::next(std::string& line) {
  for (wchar_t c;;) {
    if (blanks_ > 0) {
      --blanks_;
      if (put(L' ', line)) return true;
      continue;
    }
    if (!text_.next(c)) {
      if (is_finished_ || (has_lines_ && line_.empty())) return false;
      is_finished_ = true;
      end_line(line);
      return true;
    }
    if (c == L'\n') {
      end_line(line);
      return true;
    }
    if (c == L'\t') {
      blanks_ = columns_taken(c, columns_);
    } else if (put(c, line)) {
      return true;
    }
  }
}

/// True when the line was full, which is `line` then.
bool line_breaker::put(wchar_t c, std::string& line) {
  const auto columns = static_cast<size_t>(columns_of(c));
  const bool is_full = (columns_ + columns > width_ && columns_ > 0) || line_.size() > longest_;
  if (is_full && c == L' ') {
    end_line(line);
    return true;
  }
  if (is_full) break_line(line);
  append_character(line_, c);
  columns_ += columns;
  if (c == L' ') {
    blank_end_ = line_.size();
    columns_at_blank_ = columns_;
  }
  return is_full;
}

/// At the last blank, or where the line is full.
void line_breaker::break_line(std::string& line) {
  std::string rest;
  size_t columns = 0;
  if (blank_end_ > 0 && columns_at_blank_ < columns_) {
    rest = line_.substr(blank_end_);
    columns = columns_ - columns_at_blank_;
    line_.resize(blank_end_ - 1);
  }
  end_line(line);
  line_ = std::move(rest);
  columns_ = columns;
}

void line_breaker::end_line(std::string& line) {
  line = std::move(line_);
  line_.clear();
  columns_ = blank_end_ = columns_at_blank_ = 0;
  has_lines_ = true;
}

void write_table(const table_source& table, size_t width, text_output& out) {
  write_fitted(table, width, true, out);
}

void write_rows(const table_source& table, size_t width, text_output& out) {
  write_fitted(table, width, false, out);
}

}  // namespace kestrel::ks2
