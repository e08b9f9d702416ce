// Sections as tables that fit the terminal.
#include <algorithm>

#include "lib/utilstr.h"
#include "tools/ks2/show_formats.h"
#include "tools/ks2/shown_text.h"
#include "tools/ks2/text_table.h"

namespace kestrel::ks2 {

namespace {

std::string counted_rows(size_t count) {
  return format_text("%zu row%s", count, count == 1 ? "" : "s");
}

void list_text(const report& content, paged_output& out) {
  text_table table = {
      {{"Section", false}, {"Table or file", false}, {"Rows", true}},
      {              }
  };
  for (const report_section& section : content.sections) {
    std::string title = shown(plain_text(section.title));
    if (section.import >= 0) title += " (imported)";
    if (section.parts.empty()) table.rows.push_back({title, "", ""});
    for (const section_part& part : section.parts) {
      const bool is_file = part.is_file;
      table.rows.push_back(
          {std::move(title),
           shown(plain_text(is_file ? section.files[part.index].path
                                    : section.tables[part.index].title)),
           is_file ? "file" : std::to_string(section.tables[part.index].rows.size())});
      title.clear();
    }
  }
  const formatted_table text = format_table(table, output_width());
  out.write(text.heading, style::heading);
  out.write(text.rows);
}

text_table table_of(const report_table& table) {
  text_table text;
  const bool is_named = has_row_names(table);
  if (is_named) text.columns.push_back({"(row)", false});
  for (std::string& heading : column_headings(table)) {
    text.columns.push_back({std::move(heading), true});
  }
  for (const report_row& row : table.rows) {
    std::vector<std::string> cells;
    if (is_named) cells.push_back(shown(plain_text(row.name)));
    for (const report_cell* cell = table.begin_of(row); cell != table.end_of(row); ++cell) {
      const bool is_number = cell->kind == cell_kind::decimal || cell->kind == cell_kind::hex;
      if (!is_number) text.columns[cells.size()].is_number = false;
      cells.push_back(shown_lines(plain_text(cell->value)));
    }
    text.rows.push_back(std::move(cells));
  }
  return text;
}

void show_table(const report_table& table, paged_output& out) {
  out.write("\n" + shown(plain_text(table.title)) + " (" + counted_rows(table.rows.size()) + ")\n",
            style::heading);
  if (table.rows.empty()) return;
  const formatted_table text = format_table(table_of(table), output_width());
  out.write(text.heading, style::heading);
  out.write(text.rows);
}

void show_file(const embedded_file& file, paged_output& out) {
  out.write("\nFile: " + shown(plain_text(file.path)) + "\n", style::heading);
  if (file.content.data() == nullptr) return out.write("(could not be read by the gatherer)\n");
  std::string text = shown_lines(file_text(file));
  if (!text.ends_with('\n')) text += '\n';
  out.write(text);
}

void show_sections(const std::vector<selected_section>& sections, paged_output& out) {
  bool is_first = true;
  for (const selected_section& selected : sections) {
    const std::string title = shown(plain_text(selected.section->title));
    if (!is_first) out.write("\n");
    is_first = false;
    out.write(title + "\n" + std::string(columns_of(title), '=') + "\n", style::title);
    for (const section_part& part : selected.parts) {
      if (!out.is_wanted()) return;
      if (part.is_file) {
        show_file(selected.section->files[part.index], out);
      } else {
        show_table(selected.section->tables[part.index], out);
      }
    }
  }
}

}  // namespace

const show_format k_text_output = {"text", list_text, show_sections};

std::vector<std::string> column_headings(const report_table& table) {
  std::vector<std::string> headings;
  for (const std::string_view name : column_names(table)) {
    headings.push_back(shown(plain_text(name)));
  }
  return headings;
}

bool has_row_names(const report_table& table) {
  return std::any_of(table.rows.begin(), table.rows.end(), [&table](const report_row& row) {
    return !row.name.empty() &&
           std::none_of(table.begin_of(row), table.end_of(row),
                        [&row](const report_cell& cell) { return cell.value == row.name; });
  });
}

}  // namespace kestrel::ks2
