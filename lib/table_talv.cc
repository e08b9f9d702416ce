// The TALV report: fixed element names, typed values, names in the receiver's alphabet. It has no
// sections and takes no files.
#include <algorithm>

#include "lib/mbcs.h"
#include "lib/table_formats.h"
#include "lib/xml.h"

namespace kestrel {

namespace {

constexpr const char* k_table = "InventoryTable";
constexpr const char* k_row = "InventoryTableRow";

bool is_string(datatype type) { return type == DT_STRING || type == DT_ASCII; }

void open(table_state& table) {
  const std::string name = "TALV_" + make_eDepot_name(table.title.c_str());
  append_xml_open_tag(table.line, k_table, name.c_str());
}

void frame(const table_state&, table_column& column) {
  const char* kind = is_string(column.type) ? "CHAR" : "INTEGER";
  append_xml_named_start(column.frame.before, kind, make_eDepot_name(column.name.c_str()), 0);
  append_xml_close_tag(column.frame.after, kind);
}

void open_row(table_state& table, const char*) { append_xml_open_tag(table.line, k_row); }

// Decimal whatever the column's type is.
uint16_t number(table_state& table, const table_column& column, const cell_number& value) {
  char digits[cell_number::k_longest];
  const auto length = static_cast<size_t>(value.write_decimal(digits) - digits);
  append_framed(table.line, column.frame, std::string_view(digits, length));
  return 0;
}

template <class View>
uint16_t append_value(table_state& table, const table_column& column, View value) {
  table.line += column.frame.before;
  append_xml_value(table.line, value);
  table.line += column.frame.after;
  return 0;
}

size_t width_of(const table_column& column) {
  return static_cast<size_t>(std::max(column.width, 0));
}

uint16_t text(table_state& table, const table_column& column, std::string_view value) {
  return append_value(table, column, first_characters(value, width_of(column)));
}

uint16_t wide_text(table_state& table, const table_column& column, std::wstring_view value) {
  return append_value(table, column, value.substr(0, width_of(column)));
}

void close_row(table_state& table) { append_xml_close_tag(table.line, k_row); }

void close(table_state& table) { append_xml_close_tag(table.line, k_table); }

void open_section(text_buffer&, const char*) {}

void close_section(text_buffer&) {}

bool refuse_file(FILE*, const char*, FILE*, unsigned) { return false; }

}  // namespace

const output_format k_talv_format = {
    .type = OUTPUT_TALV,
    .flushes_rows = false,
    .flushes_section_ends = false,
    .sanitises_narrow_ascii = true,
    .open = open,
    .heading = write_nothing,
    .frame = frame,
    .open_row = open_row,
    .number = number,
    .text = text,
    .wide_text = wide_text,
    .date = nullptr,
    .close_row = close_row,
    .close = close,
    .open_section = open_section,
    .close_section = close_section,
    .file = refuse_file,
};

}  // namespace kestrel
