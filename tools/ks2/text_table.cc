// See text_table.h.
#include "tools/ks2/text_table.h"

#include <algorithm>
#include <string_view>

#include "lib/mbcs.h"
#include "lib/utilstr.h"
#include "tools/ks2/shown_text.h"

namespace kestrel::ks2 {

namespace {

constexpr size_t k_gap = 2;          ///< between columns
constexpr size_t k_least_share = 8;  ///< a column is made no narrower than this
constexpr size_t k_tab = 8;

void append(std::string& out, wchar_t c) {
  char bytes[4];
  out.append(bytes, static_cast<size_t>(widechar_to_utf8bytes(c, bytes)));
}

/// Breaks one text into lines.
class wrapper {
 public:
  explicit wrapper(size_t width) : width_(std::max<size_t>(width, 1)) {}

  void take(wchar_t c) {
    if (c == L'\n') return end_line();
    if (c == L'\t') {
      for (size_t i = columns_ % k_tab; i < k_tab; ++i) put(L' ');
      return;
    }
    put(c);
  }
  std::vector<std::string> finish() {
    if (!line_.empty() || lines_.empty()) end_line();
    return std::move(lines_);
  }

 private:
  void put(wchar_t c) {
    const auto columns = static_cast<size_t>(columns_of(c));
    if (columns_ + columns > width_ && columns_ > 0) {
      if (c == L' ') return end_line();
      break_line();
    }
    append(line_, c);
    columns_ += columns;
    if (c == L' ') {
      blank_end_ = line_.size();
      columns_at_blank_ = columns_;
    }
  }
  /// At the last blank, or where the line is full.
  void break_line() {
    std::string rest;
    size_t columns = 0;
    if (blank_end_ > 0 && columns_at_blank_ < columns_) {
      rest = line_.substr(blank_end_);
      columns = columns_ - columns_at_blank_;
      line_.resize(blank_end_ - 1);
    }
    end_line();
    line_ = std::move(rest);
    columns_ = columns;
  }
  void end_line() {
    lines_.push_back(std::move(line_));
    line_.clear();
    columns_ = blank_end_ = columns_at_blank_ = 0;
  }

  size_t width_;
  std::vector<std::string> lines_;
  std::string line_;
  size_t columns_ = 0;
  size_t blank_end_ = 0;  ///< bytes of the line up to its last blank, that included
  size_t columns_at_blank_ = 0;
};

/// Columns of the longest line.
size_t natural_width(const std::string& text) {
  size_t widest = 0;
  std::string_view rest = text;
  while (!rest.empty()) widest = std::max(widest, columns_of(next_field(rest, '\n')));
  return widest;
}

std::vector<size_t> natural_widths(const text_table& table) {
  std::vector<size_t> widths;
  for (const text_column& column : table.columns) widths.push_back(natural_width(column.heading));
  for (const auto& row : table.rows) {
    for (size_t i = 0; i < std::min(row.size(), widths.size()); ++i) {
      widths[i] = std::max(widths[i], natural_width(row[i]));
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

void append_padded(std::string& line, const std::string& text, size_t width, bool at_right) {
  const size_t columns = columns_of(text);
  const std::string padding(width - std::min(width, columns), ' ');
  line += at_right ? padding + text : text + padding;
}

/// One row of cells, as many lines as its longest cell takes.
void append_row(std::string& out, const text_table& table, const std::vector<std::string>& cells,
                const std::vector<size_t>& widths) {
  std::vector<std::vector<std::string>> wrapped(widths.size());
  size_t lines = 1;
  for (size_t i = 0; i < widths.size(); ++i) {
    wrapped[i] = wrap(i < cells.size() ? cells[i] : "", widths[i]);
    lines = std::max(lines, wrapped[i].size());
  }
  for (size_t at = 0; at < lines; ++at) {
    std::string line;
    for (size_t i = 0; i < widths.size(); ++i) {
      if (i > 0) line.append(k_gap, ' ');
      append_padded(line, at < wrapped[i].size() ? wrapped[i][at] : "", widths[i],
                    table.columns[i].is_number);
    }
    line.resize(line.find_last_not_of(' ') + 1);
    out += line + '\n';
  }
}

/// One block a row.
formatted_table format_blocks(const text_table& table, size_t width) {
  size_t label = 0;
  for (const text_column& column : table.columns) {
    label = std::max(label, columns_of(column.heading));
  }
  label = std::min(label, width / 2);
  const size_t room = width - std::min(width, label + k_gap);
  formatted_table text;
  const text_table lines = {
      {{"", false}, {"", false}},
      {           }
  };
  for (const auto& row : table.rows) {
    for (size_t i = 0; i < row.size() && i < table.columns.size(); ++i) {
      append_row(text.rows, lines, {table.columns[i].heading, row[i]}, {label, room});
    }
    text.rows += '\n';
  }
  return text;
}

}  // namespace

std::vector<std::string> wrap(const std::string& text, size_t width) {
  wrapper lines(width);
  for_each_character(shown_lines(text), [&lines](wchar_t c) { lines.take(c); });
  return lines.finish();
}

formatted_table format_table(const text_table& table, size_t width) {
  std::vector<size_t> widths = natural_widths(table);
  if (!fit(widths, width)) return format_blocks(table, width);
  formatted_table text;
  std::vector<std::string> headings, rules;
  for (size_t i = 0; i < widths.size(); ++i) {
    headings.push_back(table.columns[i].heading);
    rules.emplace_back(widths[i], '-');
  }
  append_row(text.heading, table, headings, widths);
  append_row(text.heading, table, rules, widths);
  for (const auto& row : table.rows) append_row(text.rows, table, row, widths);
  return text;
}

}  // namespace kestrel::ks2
