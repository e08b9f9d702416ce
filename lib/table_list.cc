// The list report: plain text with a line a cell, the column's name in front of the value. For
// tables of few rows and many columns.
#include "lib/mbcs.h"
#include "lib/table_formats.h"

namespace kestrel {

namespace {

constexpr const char* k_indent = "  ";

void open(table_state& table) {
  const std::string rule(character_count(table.title), '-');
  table.line += rule + "\n" + report_text(table.title) + "\n" + rule + "\n";
}

void frame(const table_state& table, table_column& column) {
  append_padded(column.frame.before, std::string_view(column.name), table.widest);
  column.frame.before += ": ";
  column.frame.after += '\n';
}

uint16_t number(table_state& table, const table_column& column, const cell_number& value) {
  if (column.type == DT_FLOAT) return 0;
  // The indent is missing in the report on purpose.
  const bool is_outdented = value.is_long() && column.type == DT_INTEGER;
  if (!is_outdented) table.line += k_indent;
  append_number(table.line, column, value, "", "h");
  return 0;
}

uint16_t text(table_state& table, const table_column& column, std::string_view value) {
  table.line += k_indent;
  append_report_value(table.line, column.frame, value);
  return 0;
}

uint16_t wide_text(table_state& table, const table_column& column, std::wstring_view value) {
  // The indent is missing in the report on purpose.
  append_report_value(table.line, column.frame, value);
  return 0;
}

void close_row(table_state& table) { table.line += '\n'; }

}  // namespace

const output_format k_list_format = {
    .type = OUTPUT_LIST,
    .flushes_rows = false,
    .flushes_section_ends = true,
    .sanitises_narrow_ascii = true,
    .open = open,
    .heading = write_nothing,
    .frame = frame,
    .open_row = write_no_row,
    .number = number,
    .text = text,
    .wide_text = wide_text,
    .date = nullptr,
    .close_row = close_row,
    .close = write_nothing,
    .open_section = open_underlined_section,
    .close_section = close_underlined_section,
    .file = log_text_file,
};

}  // namespace kestrel
