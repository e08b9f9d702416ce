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

// --- CSV --------------------------------------------------------------------------------------

std::string csv_field(const std::string& text) {
  if (text.find_first_of(",\"\n") == std::string::npos && !text.starts_with(' ')) return text;
  std::string field = "\"";
  for (const char c : text) {
    if (c == '"') field += '"';
    field += c;
  }
  return field + '"';
}

void write_line(const std::vector<std::string>& fields, paged_output& out) {
  std::string line;
  for (const std::string& field : fields) {
    if (&field != &fields.front()) line += ',';
    line += csv_field(field);
  }
  out.write(line + "\r\n");
}

std::string value_of(const report_cell& cell) { return shown_lines(plain_text(cell.value)); }

void list_csv(const report& content, paged_output& out) {
  write_line({"Section", "Table", "Rows"}, out);
  for (const report_section& section : content.sections) {
    for (const report_table& table : section.tables) {
      write_line({shown(plain_text(section.title)), shown(plain_text(table.title)),
                  std::to_string(table.rows.size())},
                 out);
    }
  }
}

void write_table(const report_table& table, paged_output& out) {
  const bool is_named = has_row_names(table);
  std::vector<std::string> headings = column_headings(table);
  if (is_named) headings.insert(headings.begin(), "(row)");
  write_line(headings, out);
  for (const report_row& row : table.rows) {
    std::vector<std::string> fields;
    if (is_named) fields.push_back(shown(plain_text(row.name)));
    for (const report_cell* cell = table.begin_of(row); cell != table.end_of(row); ++cell) {
      fields.push_back(value_of(*cell));
    }
    fields.resize(headings.size());
    write_line(fields, out);
  }
}

void write_cells(const std::string& section, const report_table& table, paged_output& out) {
  const std::string title = shown(plain_text(table.title));
  for (size_t i = 0; i < table.rows.size() && out.is_wanted(); ++i) {
    const report_row& row = table.rows[i];
    for (const report_cell* cell = table.begin_of(row); cell != table.end_of(row); ++cell) {
      write_line(
          {section, title, std::to_string(i + 1), shown(plain_text(cell->name)), value_of(*cell)},
          out);
    }
  }
}

void show_csv(const std::vector<selected_section>& sections, paged_output& out) {
  if (sections.size() == 1 && sections[0].parts.size() == 1 && !sections[0].parts[0].is_file) {
    return write_table(sections[0].section->tables[sections[0].parts[0].index], out);
  }
  write_line({"Section", "Table", "Row", "Column", "Value"}, out);
  for (const selected_section& selected : sections) {
    const std::string title = shown(plain_text(selected.section->title));
    for (const section_part& part : selected.parts) {
      if (!part.is_file) {
        write_cells(title, selected.section->tables[part.index], out);
        continue;
      }
      const embedded_file& file = selected.section->files[part.index];
      write_line({title, shown(plain_text(file.path)), "", "", shown_lines(file_text(file))}, out);
    }
  }
}

// --- JSON -------------------------------------------------------------------------------------

std::string json_of(std::string_view raw) { return json_string(plain_text(raw)); }

/// Writes the separator between the elements of a list.
class json_list {
 public:
  json_list(paged_output& out, const char* indent) : out_(out), indent_(indent) {}
  void next() {
    out_.write(is_first_ ? "\n" : ",\n");
    out_.write(indent_);
    is_first_ = false;
  }

 private:
  paged_output& out_;
  const char* indent_;
  bool is_first_ = true;
};

std::string cell_json(const report_cell& cell) {
  if (cell.kind == cell_kind::decimal && is_json_integer(cell.value)) {
    return std::string(cell.value);
  }
  if (cell.kind == cell_kind::boolean && (cell.value == "true" || cell.value == "false")) {
    return std::string(cell.value);
  }
  return json_of(cell.value);
}

std::string row_json(const report_table& table, const report_row& row) {
  std::string json = "{\"name\": " + json_of(row.name) + ", \"cells\": [";
  for (const report_cell* cell = table.begin_of(row); cell != table.end_of(row); ++cell) {
    if (cell != table.begin_of(row)) json += ", ";
    json += cell_json(*cell);
  }
  return json + "]}";
}

void write_table_json(const report_table& table, paged_output& out) {
  std::string columns;
  for (const std::string_view name : column_names(table)) {
    if (!columns.empty()) columns += ", ";
    columns += json_of(name);
  }
  out.write("{\"table\": " + json_of(table.title) + ", \"columns\": [" + columns +
            "], \"rows\": [");
  json_list rows(out, "      ");
  for (const report_row& row : table.rows) {
    if (!out.is_wanted()) return;
    rows.next();
    out.write(row_json(table, row));
  }
  out.write("]}");
}

void write_file_json(const embedded_file& file, paged_output& out) {
  out.write("{\"file\": " + json_of(file.path) + ", \"text\": ");
  out.write(file.content.data() == nullptr ? "null" : json_string(file_text(file)));
  out.write("}");
}

/// Sections with their parts; `write_part` gives what is told of one.
template <class WritePart>
void write_sections(const std::vector<selected_section>& sections, paged_output& out,
                    WritePart write_part) {
  out.write("[");
  json_list list(out, "  ");
  for (const selected_section& selected : sections) {
    list.next();
    out.write("{\"section\": " + json_of(selected.section->title) + ", \"imported\": " +
              (selected.section->import >= 0 ? "true" : "false") + ", \"parts\": [");
    json_list parts(out, "    ");
    for (const section_part& part : selected.parts) {
      parts.next();
      write_part(*selected.section, part);
    }
    out.write("]}");
  }
  out.write("\n]\n");
}

void list_json(const report& content, paged_output& out) {
  write_sections(select_all(content), out,
                 [&out](const report_section& section, const section_part& part) {
                   if (part.is_file) {
                     out.write("{\"file\": " + json_of(section.files[part.index].path) + "}");
                     return;
                   }
                   const report_table& table = section.tables[part.index];
                   out.write("{\"table\": " + json_of(table.title) +
                             format_text(", \"rows\": %zu}", table.rows.size()));
                 });
}

void show_json(const std::vector<selected_section>& sections, paged_output& out) {
  write_sections(sections, out, [&out](const report_section& section, const section_part& part) {
    if (part.is_file) {
      write_file_json(section.files[part.index], out);
    } else {
      write_table_json(section.tables[part.index], out);
    }
  });
}

}  // namespace

const show_format k_csv_output = {"csv", list_csv, show_csv};
const show_format k_json_output = {"json", list_json, show_json};

}  // namespace kestrel::ks2
