// A table of the report: with a heading that sorts it, or, where it has one row of many columns, as
// a list of names and values.
//
// Rows stand in groups of a hundred, which the browser lays out only when they come into view; the
// widths that this needs beforehand are told in `data-cols`.
#include <algorithm>
#include <charconv>
#include <cmath>
#include <optional>

#include "tools/ks2/html_parts.h"

namespace kestrel::ks2 {

namespace {

constexpr size_t k_group = 100;         // rows
constexpr size_t k_tall = 2 * k_group;  // rows from which on widths are fixed
constexpr size_t k_least_record = 4;    // columns
constexpr size_t k_most_fixed = 40;     // columns of a table with fixed widths
// Characters of a column.
constexpr size_t k_narrow = 5, k_narrow_bytes = 20, k_wide = 48;
constexpr size_t k_short = 18;           // characters up to which values are not wrapped
constexpr size_t k_long_value = 600;     // bytes; longer ones are folded
constexpr size_t k_shown_of_long = 300;  // characters
constexpr std::string_view k_bytes_suffix = "(bytes)";

/// Tables whose rows get a bar.
struct bar_rule {
  const char* table;
  const char* whole;  ///< column
  const char* used;   ///< column
};
constexpr bar_rule k_bars[] = {
    {"Memory Statistics",   "Total (bytes)",    "Used (bytes)"      },
    {"Mounted Filesystems", "Capacity (bytes)", "Used Space (bytes)"},
};
constexpr unsigned k_nearly_full = 90;  // percent

struct page_column {
  std::string_view name;
  bool is_number = true;
  bool is_bytes = false;
  size_t longest = 0, total = 0, count = 0;  ///< bytes of its values that are not empty

  /// Of its cells.
  std::string_view tag() const {
    if (is_number) return "<td class=\"n\">";
    return longest <= k_short ? "<td class=\"s\">" : "<td>";
  }
  /// In characters, for its name and its values.
  size_t width() const {
    const size_t least = is_bytes ? k_narrow_bytes : k_narrow;
    // A few long values must not take the room of the others.
    const size_t usual = count == 0 ? 0 : std::min(longest, 2 * (total / count) + 2);
    return std::clamp(std::max(usual, name.size() + 2), least, k_wide);
  }
};

std::optional<uint64_t> parse_number(std::string_view text) {
  uint64_t number = 0;
  const char* const end = text.data() + text.size();
  const auto read = std::from_chars(text.data(), end, number);
  if (text.empty() || read.ec != std::errc() || read.ptr != end) return std::nullopt;
  return number;
}

/// "12", "0.5" and "4%" are numbers too when all values of their column are.
bool is_number(const report_cell& cell) {
  if (cell.kind == cell_kind::decimal || cell.kind == cell_kind::hex) return true;
  std::string_view value = cell.value;
  if (value.ends_with('%')) value.remove_suffix(1);
  const size_t other = value.find_first_not_of("0123456789");
  if (other == std::string_view::npos) return true;
  return other > 0 && value[other] == '.' &&
         value.find_first_not_of("0123456789", other + 1) == std::string_view::npos;
}

std::vector<page_column> columns_of(const report_table& table) {
  std::vector<page_column> columns;
  for (const std::string_view name : column_names(table)) {
    columns.push_back({name, true, name.ends_with(k_bytes_suffix)});
  }
  for (const report_row& row : table.rows) {
    for (size_t i = 0; i < row.cell_count; ++i) {
      const report_cell& cell = table.begin_of(row)[i];
      page_column& column = columns[i];
      column.longest = std::max(column.longest, cell.value.size());
      if (cell.value.empty()) continue;
      column.total += cell.value.size();
      ++column.count;
      column.is_number = column.is_number && is_number(cell);
    }
  }
  for (size_t i = 0; i < columns.size(); ++i) {
    if (columns[i].count == 0) columns[i].is_number = false;
  }
  return columns;
}

const bar_rule* bar_rule_of(const report_table& table) {
  for (const bar_rule& rule : k_bars) {
    if (table.title == rule.table) return &rule;
  }
  return nullptr;
}

class table_writer {
 public:
  table_writer(page& to, size_t section, size_t number)
      : to_(to),
        out_(to.out),
        section_(section),
        number_(number),
        table_(to.source.content.sections[section].tables[number]),
        columns_(columns_of(table_)),
        bar_(bar_rule_of(table_)),
        is_named_(has_own_names(table_, columns_.size())),
        is_marked_(to.marks.has_rows(section, number)) {}

  void write();

 private:
  bool is_record() const { return table_.rows.size() == 1 && columns_.size() >= k_least_record; }
  const std::vector<size_t>& marks_of(int row) const {
    return to_.marks.at(section_, static_cast<int>(number_), -1, row);
  }

  void write_title_line();
  void open_table(std::string_view kind);
  void write_record();
  void write_rows();
  void write_heading();
  void write_head(std::string_view name, bool is_number);
  void write_row(size_t index);
  void write_cell(const report_cell& cell, const page_column& column);
  void write_value(std::string_view raw);
  void write_fault_cell(const report_row& row, const std::vector<size_t>& marks);
  void write_bar(const report_row& row);
  std::optional<uint64_t> number_in(const report_row& row, std::string_view column) const;

  page& to_;
  html_writer& out_;
  size_t section_, number_;
  const report_table& table_;
  std::vector<page_column> columns_;
  const bar_rule* bar_;
  bool is_named_;   ///< rows have names of their own
  bool is_marked_;  ///< a row has a fault
};

void table_writer::write() {
  out_.markup("<div class=\"block\" id=\"");
  write_part_id(out_, section_, {false, number_});
  out_.markup("\">\n");
  write_title_line();
  write_marks(to_, marks_of(-1));
  if (is_record()) {
    if (is_marked_) write_marks(to_, marks_of(0));
    write_record();
  } else if (!table_.rows.empty()) {
    write_rows();
  }
  out_.markup("</div>\n");
}

void table_writer::write_title_line() {
  out_.markup("<h3>");
  write_title(out_, table_.title);
  if (is_record() && is_named_) {
    out_.markup("<span class=\"name\">");
    out_.raw(table_.rows[0].name);
    out_.markup("</span>");
  } else if (!is_record()) {
    out_.markup("<span class=\"count\">");
    if (table_.rows.empty()) {
      out_.markup("no rows");
    } else {
      write_count(out_, table_.rows.size(), "row", "rows");
    }
    out_.markup("</span>");
  }
  out_.markup("</h3>\n");
}

void table_writer::open_table(std::string_view kind) {
  out_.markup("<div class=\"scroll\"><table class=\"");
  out_.markup(kind);
  out_.markup("\" aria-label=\"");
  out_.raw(table_.title);
  out_.markup("\"");
}

void table_writer::write_record() {
  open_table("record");
  out_.markup("><tbody>\n");
  const report_row& row = table_.rows[0];
  for (size_t i = 0; i < row.cell_count; ++i) {
    const report_cell& cell = table_.begin_of(row)[i];
    out_.markup("<tr><th scope=\"row\">");
    out_.raw(cell.name);
    out_.markup("</th><td>");
    write_cell(cell, columns_[i]);
    if (i == 0 && bar_ != nullptr) write_bar(row);
    out_.markup("</td></tr>\n");
  }
  out_.markup("</tbody></table></div>\n");
}

void table_writer::write_rows() {
  const bool is_tall = table_.rows.size() > k_tall && columns_.size() <= k_most_fixed;
  open_table(is_tall ? "grid tall" : "grid");
  if (is_tall) {
    out_.markup(" data-cols=\"");
    if (is_named_) out_.markup("16 ");
    for (const page_column& column : columns_) {
      out_.index(column.width());
      out_.markup(" ");
    }
    if (is_marked_) out_.markup("24");
    out_.markup("\"");
  }
  out_.markup(">\n");
  write_heading();
  for (size_t i = 0; i < table_.rows.size(); ++i) {
    if (i % k_group == 0) out_.markup(i == 0 ? "<tbody>\n" : "</tbody>\n<tbody>\n");
    write_row(i);
  }
  out_.markup("</tbody></table></div>\n");
}

void table_writer::write_heading() {
  out_.markup("<thead><tr>");
  if (is_named_) out_.markup("<th scope=\"col\"><span class=\"unseen\">Row</span></th>");
  for (const page_column& column : columns_) write_head(column.name, column.is_number);
  if (is_marked_) write_head("Fault", false);
  out_.markup("</tr></thead>\n");
}

void table_writer::write_head(std::string_view name, bool is_number) {
  const bool is_sortable = table_.rows.size() > 1;
  out_.markup(is_number ? "<th scope=\"col\" class=\"n\">" : "<th scope=\"col\">");
  if (is_sortable) out_.markup("<button type=\"button\">");
  out_.raw(name);
  out_.markup(is_sortable ? "</button></th>" : "</th>");
}

void table_writer::write_row(size_t index) {
  static const std::vector<size_t> none;
  const report_row& row = table_.rows[index];
  const auto& marks = is_marked_ ? marks_of(static_cast<int>(index)) : none;
  out_.markup(marks.empty() ? "<tr>" : "<tr class=\"bad\">");
  if (is_named_) {
    out_.markup("<td class=\"name\">");
    out_.raw(row.name);
    out_.markup("</td>");
  }
  for (size_t i = 0; i < row.cell_count; ++i) {
    out_.markup(columns_[i].tag());
    write_cell(table_.begin_of(row)[i], columns_[i]);
    if (i == 0 && bar_ != nullptr) write_bar(row);
    out_.markup("</td>");
  }
  if (!marks.empty()) write_fault_cell(row, marks);
  out_.markup("</tr>\n");
}

/// Behind the last column, in the one that only tables with faulty rows have.
void table_writer::write_fault_cell(const report_row& row, const std::vector<size_t>& marks) {
  if (row.cell_count < columns_.size()) {
    out_.markup("<td colspan=\"");
    out_.index(columns_.size() - row.cell_count);
    out_.markup("\"></td>");
  }
  out_.markup("<td class=\"fault\">");
  for (const size_t fault : marks) write_mark(to_, fault, "em");
  out_.markup("</td>");
}

/// A value, and what explains it.
void table_writer::write_cell(const report_cell& cell, const page_column& column) {
  if (cell.value.size() > k_long_value) {
    write_value(cell.value);
  } else {
    out_.raw_lines(cell.value);
  }
  if (!column.is_bytes) return;
  const auto bytes = parse_number(cell.value);
  if (!bytes || *bytes < 1024) return;
  out_.markup("<small class=\"x\">");
  out_.text(human_bytes(*bytes));
  out_.markup("</small>");
}

/// A long value: its beginning, and the rest folded.
void table_writer::write_value(std::string_view raw) {
  size_t shown = 0;
  for (size_t i = 0; i < k_shown_of_long && shown < raw.size(); ++i) {
    shown += next_character(raw.substr(shown)).length;
  }
  out_.raw_lines(raw.substr(0, shown));
  if (shown == raw.size()) return;
  out_.markup("<details><summary class=\"x\">");
  write_count(out_, raw.size() - shown, "more byte", "more bytes");
  out_.markup("</summary>");
  out_.raw_lines(raw.substr(shown));
  out_.markup("</details>");
}

void table_writer::write_bar(const report_row& row) {
  const auto whole = number_in(row, bar_->whole), used = number_in(row, bar_->used);
  if (!whole || !used || *whole == 0) return;
  const double share = static_cast<double>(*used) / static_cast<double>(*whole);
  const auto percent = static_cast<unsigned>(std::lround(std::min(share, 1.0) * 100));
  out_.markup(percent >= k_nearly_full ? "<svg class=\"bar full x\"" : "<svg class=\"bar x\"");
  out_.markup(" aria-hidden=\"true\"><rect height=\"100%\" width=\"");
  out_.index(percent);
  out_.markup("%\"/></svg><small class=\"x\">");
  out_.index(percent);
  out_.markup("\xC2\xA0% used</small>");
}

std::optional<uint64_t> table_writer::number_in(const report_row& row,
                                                std::string_view column) const {
  for (const report_cell* cell = table_.begin_of(row); cell != table_.end_of(row); ++cell) {
    if (cell->name == column) return parse_number(cell->value);
  }
  return std::nullopt;
}

}  // namespace

void write_table(page& to, size_t section, size_t table) {
  table_writer(to, section, table).write();
}

}  // namespace kestrel::ks2
