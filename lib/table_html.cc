// The HTML report: tables and headings, a page without style. Values go in as they are, never
// escaped, and ASCII columns are not sanitised.
#include "lib/table_formats.h"
#include "lib/xml.h"

namespace kestrel {

namespace {

void open(table_state& table) {
  table.line += "<H3>" + report_text(table.title) + "</H3><TABLE BORDER>\n";
}

void heading(table_state& table) {
  table.line += "<TR>";
  for (const table_column& column : table.declared()) {
    table.line += "<TH>" + report_text(column.name) + "</TH>";
  }
  table.line += "</TR>\n";
}

void frame(const table_state&, table_column& column) {
  column.frame.before += "<TD>";
  column.frame.after += "</TD>";
}

void open_row(table_state& table, const char*) { table.line += "<TR ALIGN=CENTER>\n"; }

uint16_t number(table_state& table, const table_column& column, const cell_number& value) {
  if (column.type == DT_FLOAT) return 0;
  append_number(table.line, column, value, "", "h");
  return 0;
}

template <class View>
uint16_t text(table_state& table, const table_column& column, View value) {
  append_report_value(table.line, column.frame, value);
  return 0;
}

void close_row(table_state& table) { table.line += "</TR>\n"; }

void close(table_state& table) { table.line += "</TABLE>\n"; }

void open_section(text_buffer& line, const char* title) {
  const std::string shown = report_text(title);
  line += "<a name=\"" + shown + "\"><H2>" + shown + "</H2></a>\n";
}

void close_section(text_buffer&) {}

bool file(FILE* out, const char* path, FILE* in, unsigned limit) {
  write_text(out, "<H3>" + report_text(path) + "</H3>\n<PRE>\n");
  if (!log_text_file(out, path, in, limit)) return false;
  write_text(out, "</PRE>\n");
  return true;
}

}  // namespace

const output_format k_html_format = {
    .type = OUTPUT_HTML,
    .flushes_rows = false,
    .flushes_section_ends = false,
    .sanitises_narrow_ascii = false,
    .open = open,
    .heading = heading,
    .frame = frame,
    .open_row = open_row,
    .number = number,
    .text = text<std::string_view>,
    .wide_text = text<std::wstring_view>,
    .date = nullptr,
    .close_row = close_row,
    .close = close,
    .open_section = open_section,
    .close_section = close_section,
    .file = file,
};

}  // namespace kestrel
