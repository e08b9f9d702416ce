// The ksml report: fixed element names, typed cells with their width, and the sums by which a
// receiver detects a damaged or edited report.
#include "lib/table_formats.h"
#include "lib/utilstr.h"
#include "lib/xml.h"

namespace kestrel {

namespace {

/// Element names by datatype.
constexpr const char* k_kinds[] = {"STR", "DEC", "HEX", "FLOAT", "ASC", "BOOL"};

/// The digits of a row's or table's sum, in four places.
class sum_text {
 public:
  explicit sum_text(uint16_t sum) {
    for (size_t i = sizeof digits_; i-- > 0 && sum != 0; sum = static_cast<uint16_t>(sum >> 4)) {
      digits_[i] = "0123456789ABCDEF"[sum & 0xF];
    }
  }
  std::string_view view() const { return {digits_, sizeof digits_}; }

 private:
  char digits_[4] = {' ', ' ', ' ', '0'};
};

void append_start(text_buffer& out, const char* element) {
  out += '<';
  append_xml_tag(out, element);
}

// A table may have a million rows: what is the same in each of them is made here.
void frame_rows(table_state& table) {
  append_start(table.row_name.before, "ROW");
  table.row_name.before += ' ';
  table.row_name.before += text_or_empty(xml_attribute_id());
  table.row_name.before += "=\"";
  table.row_name.after += "\">\r\n";
  append_start(table.row_sum.before, "CHK");
  table.row_sum.before += '>';
  append_xml_close_tag(table.row_sum.after, "CHK");
  append_xml_close_tag(table.row_sum.after, "ROW");
}

void open(table_state& table) {
  append_xml_open_tag(table.line, "TABLE", table.title.c_str());
  frame_rows(table);
}

void heading(table_state& table) {
  append_xml_tag_value(table.line, "COLS", std::to_string(table.column_count));
}

void frame(const table_state&, table_column& column) {
  append_xml_named_start(column.frame.before, k_kinds[column.type], column.name, column.width);
  append_xml_close_tag(column.frame.after, k_kinds[column.type]);
}

void open_row(table_state& table, const char* name) {
  table.line += table.row_name.before;
  append_xml_value(table.line, std::string_view(name));
  table.line += table.row_name.after;
}

uint16_t number(table_state& table, const table_column& column, const cell_number& value) {
  if (column.type == DT_FLOAT) return 0;
  return append_number(table.line, column, value, "0x", "");
}

template <class View>
uint16_t text(table_state& table, const table_column& column, View value) {
  table.line += column.frame.before;
  const uint16_t sum = append_xml_value(table.line, value);
  table.line += column.frame.after;
  return sum;
}

uint16_t date(table_state& table, const table_column& column, const char* kind,
              std::string_view value) {
  append_xml_named_start(table.line, kind, column.name, column.width);
  const uint16_t sum = append_xml_value(table.line, value);
  append_xml_close_tag(table.line, kind);
  return sum;
}

void close_row(table_state& table) {
  append_framed(table.line, table.row_sum, sum_text(table.row_checksum).view());
}

void close(table_state& table) {
  append_xml_tag_value(table.line, "ROWS", std::to_string(table.row_count));
  append_xml_tag_value(table.line, "CHK", sum_text(table.checksum).view());
  append_xml_close_tag(table.line, "TABLE");
}

void open_section(text_buffer& line, const char* title) {
  append_xml_open_tag(line, "SECTION", title);
}

void close_section(text_buffer& line) {
  append_xml_tag_value(line, "CHK", format_text("%8X", current_report().section_checksum));
  append_xml_close_tag(line, "SECTION");
}

}  // namespace

const output_format k_ksml_format = {
    .type = OUTPUT_KSML,
    .flushes_rows = false,
    .flushes_section_ends = true,
    .sanitises_narrow_ascii = true,
    .open = open,
    .heading = heading,
    .frame = frame,
    .open_row = open_row,
    .number = number,
    .text = text<std::string_view>,
    .wide_text = text<std::wstring_view>,
    .date = date,
    .close_row = close_row,
    .close = close,
    .open_section = open_section,
    .close_section = close_section,
    .file = log_markup_file,
};

}  // namespace kestrel
