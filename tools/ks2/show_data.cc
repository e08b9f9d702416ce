// Sections as CSV and JSON.
//
// CSV of one table is that table. Of anything else it is a line a cell: section, table, row
// (counted from 1), column, value; an embedded file is the value of a line without row and column.
#include "lib/utilstr.h"
#include "tools/ks2/json.h"
#include "tools/ks2/show_formats.h"
#include "tools/ks2/shown_text.h"

namespace kestrel::ks2 {

namespace {

constexpr size_t k_piece = 4096;

// --- CSV --------------------------------------------------------------------------------------

report_text raw(std::string_view text) { return {text, text_form::raw}; }

/// One line, field by field.
class csv_line {
 public:
  explicit csv_line(text_output& out) : out_(out) {}
  csv_line(const csv_line&) = delete;
  csv_line& operator=(const csv_line&) = delete;
  ~csv_line() { out_.write("\r\n"); }

  csv_line& add(shown_reader field);
  csv_line& add(std::string_view field) { return add(shown_reader({field})); }
  csv_line& add_name(std::string_view name) { return add(shown_reader(raw(name))); }
  csv_line& add_value(report_text value) { return add(shown_reader(value, true)); }

 private:
  text_output& out_;
  bool is_first_ = true;
};

bool needs_quotes(shown_reader field) {
  bool is_first = true;
  for (wchar_t c; field.next(c); is_first = false) {
    if (c == L',' || c == L'"' || c == L'\n' || (is_first && c == L' ')) return true;
  }
  return false;
}

csv_line& csv_line::add(shown_reader field) {
  if (!is_first_) out_.write(",");
  is_first_ = false;
  if (!needs_quotes(field)) {
    out_.write(field);
    return *this;
  }
  out_.write("\"");
  std::string piece;
  for (wchar_t c; field.next(c);) {
    if (c == L'"') piece += '"';
    append_character(piece, c);
    if (piece.size() < k_piece) continue;
    out_.write(piece);
    piece.clear();
    if (!out_.is_wanted()) break;
  }
  out_.write(piece + '"');
  return *this;
}

void list_csv(const report& content, text_output& out) {
  csv_line(out).add("Section").add("Table").add("Rows");
  for (const report_section& section : content.sections) {
    for (const report_table& table : section.tables) {
      if (!out.is_wanted()) return;
      csv_line(out)
          .add_name(section.title)
          .add_name(table.title)
          .add(std::to_string(table.rows.size()));
    }
  }
}

void write_table(const report_table& table, text_output& out) {
  const std::vector<std::string_view> names = column_names(table);
  const bool is_named = has_own_names(table, names.size());
  {
    csv_line line(out);
    if (is_named) line.add("(row)");
    for (const std::string_view name : names) line.add_name(name);
  }
  for (const report_row& row : table.rows) {
    if (!out.is_wanted()) return;
    csv_line line(out);
    if (is_named) line.add_name(row.name);
    const report_cell* const cells = table.begin_of(row);
    for (size_t i = 0; i < names.size(); ++i) {
      line.add_value(raw(i < row.cell_count ? cells[i].value : ""));
    }
  }
}

void write_cells(const report_section& section, const report_table& table, text_output& out) {
  for (size_t i = 0; i < table.rows.size() && out.is_wanted(); ++i) {
    const report_row& row = table.rows[i];
    for (const report_cell* cell = table.begin_of(row); cell != table.end_of(row); ++cell) {
      csv_line line(out);
      line.add_name(section.title).add_name(table.title).add(std::to_string(i + 1));
      line.add_name(cell->name).add_value(raw(cell->value));
    }
  }
}

void show_csv(const std::vector<selected_section>& sections, text_output& out) {
  if (sections.size() == 1 && sections[0].parts.size() == 1 && !sections[0].parts[0].is_file) {
    return write_table(sections[0].section->tables[sections[0].parts[0].index], out);
  }
  csv_line(out).add("Section").add("Table").add("Row").add("Column").add("Value");
  for (const selected_section& selected : sections) {
    for (const section_part& part : selected.parts) {
      if (!out.is_wanted()) return;
      if (!part.is_file) {
        write_cells(*selected.section, selected.section->tables[part.index], out);
        continue;
      }
      const embedded_file& file = selected.section->files[part.index];
      csv_line line(out);
      line.add_name(selected.section->title).add_name(file.path).add("").add("");
      line.add_value(text_of(file));
    }
  }
}

// --- JSON -------------------------------------------------------------------------------------

/// Writes the separator between the elements of a list.
class json_list {
 public:
  json_list(text_output& out, const char* indent) : out_(out), indent_(indent) {}
  void next() {
    out_.write(is_first_ ? "\n" : ",\n");
    out_.write(indent_);
    is_first_ = false;
  }

 private:
  text_output& out_;
  const char* indent_;
  bool is_first_ = true;
};

void write_cell_json(const report_cell& cell, text_output& out) {
  const bool is_boolean = cell.value == "true" || cell.value == "false";
  if ((cell.kind == cell_kind::decimal && is_json_integer(cell.value)) ||
      (cell.kind == cell_kind::boolean && is_boolean)) {
    out.write(cell.value);
  } else {
    write_json_string(raw(cell.value), out);
  }
}

void write_row_json(const report_table& table, const report_row& row, text_output& out) {
  out.write("{\"name\": ");
  write_json_string(raw(row.name), out);
  out.write(", \"cells\": [");
  for (const report_cell* cell = table.begin_of(row); cell != table.end_of(row); ++cell) {
    if (cell != table.begin_of(row)) out.write(", ");
    write_cell_json(*cell, out);
  }
  out.write("]}");
}

void write_table_json(const report_table& table, text_output& out) {
  out.write("{\"table\": ");
  write_json_string(raw(table.title), out);
  out.write(", \"columns\": [");
  bool is_first = true;
  for (const std::string_view name : column_names(table)) {
    if (!is_first) out.write(", ");
    is_first = false;
    write_json_string(raw(name), out);
  }
  out.write("], \"rows\": [");
  json_list rows(out, "      ");
  for (const report_row& row : table.rows) {
    if (!out.is_wanted()) return;
    rows.next();
    write_row_json(table, row, out);
  }
  out.write("]}");
}

void write_file_json(const embedded_file& file, text_output& out) {
  out.write("{\"file\": ");
  write_json_string(raw(file.path), out);
  out.write(", \"text\": ");
  if (file.content.data() == nullptr) {
    out.write("null");
  } else {
    write_json_string(text_of(file), out);
  }
  out.write("}");
}

/// Sections with their parts; `write_part` gives what is told of one.
template <class WritePart>
void write_sections(const std::vector<selected_section>& sections, text_output& out,
                    WritePart write_part) {
  out.write("[");
  json_list list(out, "  ");
  for (const selected_section& selected : sections) {
    list.next();
    out.write("{\"section\": ");
    write_json_string(raw(selected.section->title), out);
    out.write(selected.section->import >= 0 ? ", \"imported\": true" : ", \"imported\": false");
    out.write(", \"parts\": [");
    json_list parts(out, "    ");
    for (const section_part& part : selected.parts) {
      parts.next();
      write_part(*selected.section, part);
    }
    out.write("]}");
  }
  out.write("\n]\n");
}

void list_json(const report& content, text_output& out) {
  write_sections(
      select_all(content), out, [&out](const report_section& section, const section_part& part) {
        out.write(part.is_file ? "{\"file\": " : "{\"table\": ");
        write_json_string(raw(title_of(section, part)), out);
        if (!part.is_file) {
          out.write(format_text(", \"rows\": %zu", section.tables[part.index].rows.size()));
        }
        out.write("}");
      });
}

void show_json(const std::vector<selected_section>& sections, text_output& out) {
  write_sections(sections, out, [&out](const report_section& section, const section_part& part) {
    if (part.is_file) {
      write_file_json(section.files[part.index], out);
    } else {
      write_table_json(section.tables[part.index], out);
    }
  });
}

}  // namespace

const show_format k_csv_output = {"csv", audience::programs, list_csv, show_csv};
const show_format k_json_output = {"json", audience::programs, list_json, show_json};

}  // namespace kestrel::ks2
