// The model's own questions: where a byte of the report belongs, what its parts are called, what
// columns a table has. They are asked of damaged reports, too.
#include "tools/ks2/report.h"

#include <algorithm>

#include "tools/ks2/shown_text.h"

namespace kestrel::ks2 {

namespace {

constexpr const char* k_kind_names[k_cell_kinds] = {"STR",  "DEC",  "HEX",  "ASC",
                                                    "BOOL", "DATE", "TIME", "DATETIME"};

constexpr size_t k_longest_name = 100;  // characters

/// Index of the element that the byte at `offset` belongs to, -1: none.
template <class T>
int holder_of(const std::vector<T>& elements, size_t offset) {
  const auto after = std::upper_bound(elements.begin(), elements.end(), offset,
                                      [](size_t at, const T& e) { return at < e.offset; });
  if (after == elements.begin() || offset >= (after - 1)->end) return -1;
  return static_cast<int>(after - elements.begin()) - 1;
}

}  // namespace

void report::locate(place& where) const {
  where.section = holder_of(sections, where.offset);
  if (where.section < 0) return;
  const report_section& section = sections[static_cast<size_t>(where.section)];
  where.file = holder_of(section.files, where.offset);
  where.table = holder_of(section.tables, where.offset);
  where.name = shown(plain_text(section.title), k_longest_name);
  if (where.file >= 0) {
    const embedded_file& file = section.files[static_cast<size_t>(where.file)];
    where.name += "/" + shown(plain_text(file.path), k_longest_name);
  }
  if (where.table < 0) return;
  const report_table& table = section.tables[static_cast<size_t>(where.table)];
  where.name += "/" + shown(plain_text(table.title), k_longest_name);
  where.row = holder_of(table.rows, where.offset);
}

const char* cell_kind_name(cell_kind kind) { return k_kind_names[static_cast<size_t>(kind)]; }

report_text text_of(const embedded_file& file) {
  return {file.content, file.is_markup ? text_form::characters : text_form::sections};
}

std::string_view title_of(const report_section& section, const section_part& part) {
  return part.is_file ? section.files[part.index].path : section.tables[part.index].title;
}

std::vector<std::string_view> column_names(const report_table& table) {
  std::vector<std::string_view> names;
  for (const report_row& row : table.rows) {
    for (size_t i = names.size(); i < row.cell_count; ++i) {
      names.push_back(table.begin_of(row)[i].name);
    }
  }
  return names;
}

bool has_own_names(const report_table& table, size_t columns) {
  return std::any_of(table.rows.begin(), table.rows.end(), [&](const report_row& row) {
    return !row.name.empty() && row.cell_count == columns &&
           std::none_of(table.begin_of(row), table.end_of(row),
                        [&row](const report_cell& cell) { return cell.value == row.name; });
  });
}

}  // namespace kestrel::ks2
