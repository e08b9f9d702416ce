// The plain-text report: boxed tables, every cell as wide as its column. Its characters are
// counted, not its bytes, so that boxes close in any language.
#include <algorithm>

#include "lib/table_formats.h"

namespace kestrel {

namespace {

void append_border(table_state& table) {
  table.line += '+';
  for (const table_column& column : table.declared()) {
    table.line.append(static_cast<size_t>(column.width) + 2, '-');
    table.line += '+';
  }
}

template <class View>
void append_cell(table_state& table, const table_column& column, View value) {
  table.line += ' ';
  append_padded(table.line, value, column.width);
  table.line += " |";
}

void open(table_state& table) { table.line += "\nTable: " + report_text(table.title) + "\n"; }

void heading(table_state& table) {
  append_border(table);
  table.line += "\n|";
  for (const table_column& column : table.declared()) {
    append_cell(table, column, std::string_view(column.name));
  }
  table.line += '\n';
  append_border(table);
  table.line += '\n';
}

void frame(const table_state&, table_column&) {}

void open_row(table_state& table, const char*) { table.line += '|'; }

uint16_t number(table_state& table, const table_column& column, const cell_number& value) {
  if (column.type == DT_FLOAT) {
    table.line += '|';
    return 0;
  }
  char digits[cell_number::k_longest];
  const char* const end = value.write(digits, column.type, "", "h");
  const std::string_view text(digits, static_cast<size_t>(end - digits));
  if (column.type == DT_BOOL) {
    append_cell(table, column, text);
    return 0;
  }
  const auto width = static_cast<size_t>(std::max(column.width, 0));
  table.line.append(1 + width - std::min(text.size(), width), ' ');
  table.line += text;
  table.line += " |";
  return 0;
}

template <class View>
uint16_t text(table_state& table, const table_column& column, View value) {
  append_cell(table, column, value);
  return 0;
}

void close_row(table_state& table) { table.line += '\n'; }

void close(table_state& table) {
  append_border(table);
  table.line += '\n';
}

}  // namespace

const output_format k_text_format = {
    .type = OUTPUT_TEXT,
    .flushes_rows = true,
    .flushes_section_ends = true,
    .sanitises_narrow_ascii = true,
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
    .open_section = open_underlined_section,
    .close_section = close_underlined_section,
    .file = log_text_file,
};

}  // namespace kestrel
