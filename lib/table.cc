// See table.h. The writer checks the calls, keeps the sums and sends what the output format made of
// them: a row when it ends, all else at once, since others write to the same stream in between.
#include "lib/table.h"

#include <algorithm>

#include "lib/date.h"
#include "lib/debug.h"
#include "lib/mbcs.h"
#include "lib/table_formats.h"
#include "lib/utilstr.h"
#include "lib/xml.h"

namespace kestrel {

namespace {

constexpr size_t k_longest_title = 255;

constexpr unsigned bit_of(datatype type) { return 1u << type; }
constexpr unsigned k_number_types =
    bit_of(DT_INTEGER) | bit_of(DT_HEX) | bit_of(DT_FLOAT) | bit_of(DT_BOOL);
constexpr unsigned k_string_types = bit_of(DT_STRING) | bit_of(DT_ASCII);
constexpr unsigned k_all_types = k_number_types | k_string_types;

constexpr const char* k_number_names = "INTEGER, HEX, FLOAT or BOOL";
constexpr const char* k_string_names = "STRING or ASCII STRING";

constexpr const output_format* k_formats[] = {
    &k_text_format, &k_xml_format, &k_talv_format, &k_list_format, &k_ksml_format, &k_html_format,
};

/// What a markup format asks of the markup writer.
struct markup_setting {
  output_format_type given;
  bool tag_prefix;
  const char* attribute_id;
  bool uppercase;
  bool lowercase;
  output_format_type stored;
};

constexpr markup_setting k_markup_settings[] = {
    {OUTPUT_XML,           true,  "ID",    true,  false, OUTPUT_XML },
    {OUTPUT_TALV,          false, "name",  false, false, OUTPUT_TALV},
    {OUTPUT_KSML,          false, "ID",    true,  false, OUTPUT_KSML},
    {OUTPUT_XML_LOWERCASE, false, nullptr, false, true,  OUTPUT_XML },
};

}  // namespace

void Table::set_output_format(output_format_type format) {
  for (const markup_setting& setting : k_markup_settings) {
    if (setting.given != format) continue;
    xml_set_tag_prefix(setting.tag_prefix);
    xml_set_attribute_id(setting.attribute_id);
    xml_set_tag_uppercase(setting.uppercase);
    xml_set_tag_lowercase(setting.lowercase);
    format = setting.stored;
    break;
  }
  for (const output_format* known : k_formats) {
    if (known->type == format) current_report().format = known;
  }
}

output_format_type Table::get_output_format() { return current_report().format->type; }

uint32_t Table::get_output_checksum() { return current_report().output_checksum; }

Table::Table(FILE* out, const char* title) : Table(out, title, "") {}

Table::Table(FILE* out, const char* title, const char* instance)
    : out_(out), format_(current_report().format), state_(std::make_unique<table_state>()) {
  state_->title = cut(text_or_empty(title), k_longest_title);
  state_->instance = cut(text_or_empty(instance), k_longest_title);
  format_->open(*state_);
  send();
}

Table::~Table() {
  current_report().section_checksum += state_->checksum;
  format_->close(*state_);
  send();
  if (out_ != nullptr) std::fflush(out_);
}

void Table::send() {
  write_text(out_, state_->line.view());
  state_->line.clear();
}

bool Table::start_heading() {
  if (heading_open_) {
    std::printf("start_heading() - Heading Already Open");
    return false;
  }
  state_->widest = 0;
  is_framed_ = false;
  heading_open_ = true;
  return true;
}

bool Table::add_column(const char* name, datatype type) {
  name = text_or_empty(name);
  if (!heading_open_) {
    std::printf("add_column(%s) - Heading not open\n", name);
    return false;
  }
  if (state_->column_count == k_max_columns) {
    std::printf("Cannot add column for %s - too many columns.  Max is %d\n", name, k_max_columns);
    return false;
  }
  table_column& added = state_->columns[static_cast<size_t>(state_->column_count++)];
  added.name = name;
  added.type = type;
  is_framed_ = false;
  return true;
}

bool Table::set_column_width(int column, int width) {
  if (column < 0 || column >= state_->column_count) return true;
  int& current = state_->columns[static_cast<size_t>(column)].width;
  current = std::max(current, width);
  is_framed_ = false;
  return true;
}

bool Table::end_heading() {
  if (!heading_open_) {
    std::printf("end_heading() - Heading Not Open");
    return false;
  }
  compute_widths();
  format_->heading(*state_);
  heading_open_ = false;
  is_framed_ = false;
  send();
  return true;
}

void Table::compute_widths() {
  printd("schema: table %s\n", state_->title.c_str());
  const int count = state_->column_count;
  const int default_width = count == 0 ? 0 : (78 - 3 * count) / count;
  printd("schema: default column width %d\n", default_width);
  for (int i = 0; i < count; ++i) {
    table_column& column = state_->columns[static_cast<size_t>(i)];
    if (column.width == 0) {
      column.width = std::max(default_width, static_cast<int>(character_count(column.name)));
    }
    state_->widest = std::max(state_->widest, column.width);
    printd("schema: %2d - %-42s width %-4d type %d\n", i, column.name.c_str(), column.width,
           static_cast<int>(column.type));
  }
}

bool Table::declare(std::span<const column> columns) {
  bool is_accepted = start_heading();
  for (const column& wanted : columns) {
    if (add_column(wanted.name, wanted.type)) {
      set_column_width(state_->column_count - 1, wanted.width);
    } else {
      is_accepted = false;
    }
  }
  return end_heading() && is_accepted;
}

bool Table::start_row(const char* name) {
  if (heading_open_) {
    std::printf("start_row(%s) - Heading is still open\n", text_or_empty(name));
    return false;
  }
  cell_ = state_->columns.data();
  state_->row_checksum = 0;
  row_open_ = true;
  ++state_->row_count;
  format_->open_row(*state_, text_or_empty(name));
  return true;
}

bool Table::start_row(const wchar_t* name) {
  return start_row(wide_to_mbcs(name == nullptr ? L"" : name).c_str());
}

bool Table::end_row() {
  if (!row_open_) {
    std::printf("end_row() - Row Not Open");
    return false;
  }
  row_open_ = false;
  state_->checksum = static_cast<uint16_t>(state_->checksum + state_->row_checksum);
  format_->close_row(*state_);
  send();
  if (format_->flushes_rows && out_ != nullptr) std::fflush(out_);
  return is_sound(out_);
}

size_t Table::rows() const { return static_cast<size_t>(state_->row_count); }

// --- cells ----------------------------------------------------------------------------------

Table::misuse Table::check(unsigned accepted_types) const {
  if (!row_open_) return misuse::row_not_open;
  // One value past the last column is taken: the slot behind the columns holds it.
  if (cell_ > state_->columns.data() + state_->column_count) return misuse::beyond_columns;
  return (accepted_types & bit_of(cell_->type)) == 0 ? misuse::wrong_type : misuse::none;
}

bool Table::refuse(misuse what, const char* value, const char* accepted_names) const {
  if (what == misuse::row_not_open) {
    std::printf("log_data(%s) - Row not open\n", value);
    return false;
  }
  const auto index = static_cast<int>(cell_ - state_->columns.data());
  if (what == misuse::beyond_columns) {
    std::printf("log_data(%s) - Column %d is beyond defined columns of %d\n", value, index,
                state_->column_count - 1);
  } else {
    std::printf("log_data(%s) - Column %d (%s) is NOT type %s\n", value, index, cell_->name.c_str(),
                accepted_names);
  }
  return false;
}

void Table::make_frames() {
  for (table_column& column : state_->columns) {
    column.frame.clear();
    format_->frame(*state_, column);
  }
  is_framed_ = true;
}

const table_column& Table::current_cell() {
  if (!is_framed_) make_frames();
  return *cell_;
}

bool Table::end_cell(uint16_t sum) {
  state_->row_checksum = static_cast<uint16_t>(state_->row_checksum + sum);
  ++cell_;
  return true;
}

bool Table::log_number(const cell_number& number) {
  const misuse problem = check(k_number_types);
  if (problem != misuse::none) {
    char text[cell_number::k_longest];
    *number.write_decimal(text) = '\0';
    return refuse(problem, text, k_number_names);
  }
  return end_cell(format_->number(*state_, current_cell(), number));
}

bool Table::log_data(int value) { return log_number(cell_number::of_int(value)); }

bool Table::log_unsigned(uint64_t value) { return log_number(cell_number::of_unsigned(value)); }

bool Table::log_count(int64_t value) {
  if (to_int(value) == value) return log_data(to_int(value));
  return log_number(cell_number::of_signed(value));
}

bool Table::log_data(const char* value) { return log_data(std::string_view(text_or_empty(value))); }

bool Table::log_data(std::string_view text) {
  text = until_nul(text);
  const misuse problem = check(k_string_types);
  if (problem != misuse::none) return refuse(problem, std::string(text).c_str(), k_string_names);
  const table_column& column = current_cell();
  if (column.type == DT_ASCII && format_->sanitises_narrow_ascii) {
    state_->ascii = text;
    filter_printable_ascii(state_->ascii, '?');
    text = state_->ascii;
  }
  return end_cell(format_->text(*state_, column, text));
}

bool Table::log_wide_data(const wchar_t* value) {
  if (value == nullptr) value = L"";
  const misuse problem = check(k_string_types);
  if (problem != misuse::none) return refuse(problem, wide_to_mbcs(value).c_str(), k_string_names);
  const table_column& column = current_cell();
  if (column.type == DT_ASCII) {
    return end_cell(format_->wide_text(*state_, column, wide_sanitised_ascii(value)));
  }
  return end_cell(format_->wide_text(*state_, column, value));
}

bool Table::log_date(const char* kind, const char* text, bool is_valid) {
  if (!is_valid || format_->date == nullptr) return log_data(text);
  const misuse problem = check(k_all_types);
  if (problem != misuse::none) return refuse(problem, text, k_string_names);
  return end_cell(format_->date(*state_, current_cell(), kind, text));
}

bool Table::log_data(gathered_date value) {
  const char* text = value.is_valid() ? value.format() : value.altstring();
  if (!value.is_valid() || format_->date == nullptr) printd("table: invalid date \"%s\"\n", text);
  return log_date("DATE", text, value.is_valid());
}

bool Table::log_data(gathered_time value) {
  const char* text = value.is_valid() ? value.format() : value.altstring();
  return log_date("TIME", text, value.is_valid());
}

bool Table::log_data(gathered_datetime value) {
  const char* text = value.is_valid() ? value.format() : value.altstring();
  printd("table: got a datetime: %s\n", text);
  if (value.is_valid()) {
    printd("%s is valid\n", text);
  } else {
    printd("table: invalid datetime \"%s\"\n", text);
  }
  return log_date("DATETIME", text, value.is_valid());
}

}  // namespace kestrel
