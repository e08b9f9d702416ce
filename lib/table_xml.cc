// The XML report: elements named after tables, columns and, where a table has an instance name,
// its rows.
#include "lib/table_formats.h"
#include "lib/xml.h"

namespace kestrel {

namespace {

void open(table_state& table) { append_xml_open_tag(table.line, table.title); }

void frame(const table_state&, table_column& column) {
  column.frame.before += '<';
  append_xml_tag(column.frame.before, column.name);
  column.frame.before += '>';
  append_xml_close_tag(column.frame.after, column.name);
}

void open_row(table_state& table, const char* name) {
  if (!table.instance.empty()) append_xml_open_tag(table.line, table.instance, name);
}

uint16_t number(table_state& table, const table_column& column, const cell_number& value) {
  if (column.type == DT_FLOAT) return 0;
  append_number(table.line, column, value, "0x", "");
  return 0;
}

template <class View>
uint16_t text(table_state& table, const table_column& column, View value) {
  table.line += column.frame.before;
  append_xml_value(table.line, value);
  table.line += column.frame.after;
  return 0;
}

void close_row(table_state& table) {
  if (!table.instance.empty()) append_xml_close_tag(table.line, table.instance);
}

void close(table_state& table) { append_xml_close_tag(table.line, table.title); }

void open_section(text_buffer& line, const char* title) {
  append_xml_open_tag(line, title);
  current_report().open_section = title;
}

void close_section(text_buffer& line) {
  std::optional<std::string>& title = current_report().open_section;
  if (title) append_xml_close_tag(line, *title);
  title.reset();
}

}  // namespace

const output_format k_xml_format = {
    .type = OUTPUT_XML,
    .flushes_rows = false,
    .flushes_section_ends = true,
    .sanitises_narrow_ascii = true,
    .open = open,
    .heading = write_nothing,
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
    .file = log_markup_file,
};

}  // namespace kestrel
