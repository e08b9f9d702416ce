// Sections as tables that fit the terminal.
#include <string>

#include "tools/ks2/show_formats.h"
#include "tools/ks2/shown_text.h"
#include "tools/ks2/text_table.h"

namespace kestrel::ks2 {

namespace {

shown_reader raw_line(std::string_view raw) { return shown_reader({raw, text_form::raw}); }

/// What a report holds, a row for each part of its sections.
class contents_table : public table_source {
 public:
  explicit contents_table(const report& content) {
    for (const report_section& section : content.sections) {
      if (section.parts.empty()) rows_.push_back({&section, nullptr});
      for (const section_part& part : section.parts) rows_.push_back({&section, &part});
    }
  }
  size_t column_count() const override { return std::size(k_headings); }
  shown_reader heading(size_t column) const override { return shown_reader({k_headings[column]}); }
  bool is_number(size_t column) const override { return column == 2; }
  size_t row_count() const override { return rows_.size(); }
  size_t cell_count(size_t row) const override {
    return rows_[row].part == nullptr ? 1 : std::size(k_headings);
  }
  shown_reader cell(size_t row, size_t column) const override;

 private:
  static constexpr std::string_view k_headings[] = {"Section", "Table or file", "Rows", ""};
  struct entry {
    const report_section* section;
    const section_part* part;  ///< null: the section has none
  };
  std::vector<entry> rows_;
  mutable std::string digits_;  ///< of the cell that was asked for last
};

shown_reader contents_table::cell(size_t row, size_t column) const {
  const auto [section, part] = rows_[row];
  const bool is_first = part == nullptr || part == section->parts.data();
  if (column == 0) return raw_line(is_first ? section->title : "");
  if (column == 1) return raw_line(title_of(*section, *part));
  if (column == 3) return shown_reader({is_first && section->import >= 0 ? "imported" : ""});
  if (part->is_file) return shown_reader({"file"});
  digits_ = std::to_string(section->tables[part->index].rows.size());
  return shown_reader({digits_});
}

/// A table of the report; in front of its columns the rows' names, where they say something.
class report_rows : public table_source {
 public:
  explicit report_rows(const report_table& table)
      : table_(table),
        names_(column_names(table)),
        first_(has_own_names(table, names_.size()) ? 1 : 0),
        are_numbers_(names_.size(), true) {
    for (const report_row& row : table.rows) {
      for (size_t i = 0; i < row.cell_count; ++i) {
        const cell_kind kind = table.begin_of(row)[i].kind;
        if (kind != cell_kind::decimal && kind != cell_kind::hex) are_numbers_[i] = false;
      }
    }
  }
  size_t column_count() const override { return first_ + names_.size(); }
  shown_reader heading(size_t column) const override {
    return column < first_ ? shown_reader({"(row)"}) : raw_line(names_[column - first_]);
  }
  bool is_number(size_t column) const override {
    return column >= first_ && are_numbers_[column - first_];
  }
  size_t row_count() const override { return table_.rows.size(); }
  size_t cell_count(size_t row) const override { return first_ + table_.rows[row].cell_count; }
  shown_reader cell(size_t row, size_t column) const override {
    const report_row& from = table_.rows[row];
    if (column < first_) return raw_line(from.name);
    return shown_reader({table_.begin_of(from)[column - first_].value, text_form::raw}, true);
  }

 private:
  const report_table& table_;
  std::vector<std::string_view> names_;
  size_t first_;  ///< column of the first cell
  std::vector<bool> are_numbers_;
};

void list_text(const report& content, text_output& out) {
  write_table(contents_table(content), output_width(), out);
}

void show_table(const report_table& table, text_output& out) {
  out.write("\n");
  out.write(raw_line(table.title), style::heading);
  out.write(" (" + counted(table.rows.size(), "row") + ")\n", style::heading);
  if (!table.rows.empty()) write_table(report_rows(table), output_width(), out);
}

void show_file(const embedded_file& file, text_output& out) {
  out.write("\nFile: ", style::heading);
  out.write(raw_line(file.path), style::heading);
  out.write("\n");
  if (file.content.data() == nullptr) return out.write("(could not be read by the gatherer)\n");
  out.write(shown_reader(text_of(file), true));
  if (!file.content.ends_with('\n')) out.write("\n");
}

void show_title(const report_section& section, text_output& out) {
  size_t columns = 0;
  shown_reader title = raw_line(section.title);
  for (wchar_t c; columns < output_width() && title.next(c);) {
    columns += static_cast<size_t>(columns_of(c));
  }
  out.write(raw_line(section.title), style::title);
  out.write("\n" + std::string(columns, '=') + "\n", style::title);
}

void show_sections(const std::vector<selected_section>& sections, text_output& out) {
  for (const selected_section& selected : sections) {
    if (&selected != &sections.front()) out.write("\n");
    show_title(*selected.section, out);
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

const show_format k_text_output = {"text", audience::people, list_text, show_sections};

}  // namespace kestrel::ks2
