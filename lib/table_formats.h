// What the table writer and its output formats agree on: one constant record of functions per
// format. The functions append text to the table's line and never see a stream; Table checks the
// calls, keeps the sums and sends the lines.
#pragma once

#include <array>
#include <cstdint>
#include <cstdio>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "lib/column.h"
#include "lib/output_format.h"
#include "lib/text_buffer.h"

namespace kestrel {

/// What a format writes around values, made once for many of them.
struct text_frame {
  text_buffer before;
  text_buffer after;

  void clear() {
    before.clear();
    after.clear();
  }
};

/// A declared column.
struct table_column {
  std::string name;
  datatype type = DT_STRING;
  int width = 0;     ///< in characters; 0: not set
  text_frame frame;  ///< around each value
};

/// One table on its way: Table fills it, the format reads it and appends to `line`.
struct table_state {
  std::string title;
  std::string instance;
  /// The declared columns, and behind them one slot that takes a value too many as a string.
  std::array<table_column, k_max_columns + 1> columns;
  int column_count = 0;
  int widest = 0;         ///< largest column width of the heading
  int row_count = 0;      ///< the open row included
  uint16_t checksum = 0;  ///< sum of the rows that ended
  uint16_t row_checksum = 0;
  text_frame row_name;  ///< for the use of the format
  text_frame row_sum;   ///< for the use of the format
  text_buffer line;     ///< what is sent next: the text of one call or of an open row
  std::string ascii;    ///< the value of an ASCII cell

  std::span<const table_column> declared() const {
    return std::span(columns).first(static_cast<size_t>(column_count));
  }
};

/// The number in an integer cell: an int, or any of 64 bits, which stay whole in builds of any word
/// size.
class cell_number {
 public:
  static constexpr cell_number of_int(int value) {
    return {value, static_cast<unsigned>(value), false, true};
  }
  static constexpr cell_number of_signed(int64_t value) {
    return {value, static_cast<uint64_t>(value), true, true};
  }
  static constexpr cell_number of_unsigned(uint64_t value) { return {0, value, true, false}; }

  bool is_long() const { return is_long_; }
  bool is_true() const { return bits_ != 0; }

  /// Writes the decimal number, or what the column's type asks for: decimal, hexadecimal between
  /// `prefix` and `suffix`, a word, nothing for DT_FLOAT. Returns the end; there must be room for
  /// k_longest bytes.
  static constexpr size_t k_longest = 32;
  char* write_decimal(char* to) const;
  char* write(char* to, datatype type, std::string_view prefix, std::string_view suffix) const;

 private:
  constexpr cell_number(int64_t value, uint64_t bits, bool is_long, bool is_signed)
      : signed_(value), bits_(bits), is_long_(is_long), is_signed_(is_signed) {}

  int64_t signed_;  // of signed numbers
  uint64_t bits_;
  bool is_long_;
  bool is_signed_;
};

/// How one format writes. The cell functions return the sum of the value's text as they wrote it,
/// 0 in formats that carry no sums.
struct output_format {
  output_format_type type;
  bool flushes_rows;
  bool flushes_section_ends;
  bool sanitises_narrow_ascii;  ///< narrow values of DT_ASCII columns; wide ones always are

  void (*open)(table_state&);
  void (*heading)(table_state&);
  /// Fills a column's frame, which is empty.
  void (*frame)(const table_state&, table_column&);
  void (*open_row)(table_state&, const char* name);
  uint16_t (*number)(table_state&, const table_column&, const cell_number&);
  uint16_t (*text)(table_state&, const table_column&, std::string_view);
  uint16_t (*wide_text)(table_state&, const table_column&, std::wstring_view);
  /// Null where dates are plain text.
  uint16_t (*date)(table_state&, const table_column&, const char* kind, std::string_view);
  void (*close_row)(table_state&);
  void (*close)(table_state&);

  void (*open_section)(text_buffer& line, const char* title);
  void (*close_section)(text_buffer& line);
  /// Copies a file into the report; false when the format takes none or the file did not open.
  bool (*file)(FILE* out, const char* path, FILE* in, unsigned limit);
};

/// Each in a file of its own, table_*.cc.
extern const output_format k_text_format;
extern const output_format k_list_format;
extern const output_format k_xml_format;
extern const output_format k_ksml_format;
extern const output_format k_talv_format;
extern const output_format k_html_format;

/// The process-wide side of a report.
struct report_state {
  const output_format* format = &k_text_format;
  uint32_t section_checksum = 0;            ///< of the open section, tables and files that ended
  uint32_t output_checksum = 0;             ///< of the sections that ended
  std::optional<std::string> open_section;  ///< only where a section is an element of its own name
};
report_state& current_report();

// --- shared by several formats ------------------------------------------------------------------

/// For the functions with which a format writes nothing.
inline void write_nothing(table_state&) {}
inline void write_no_row(table_state&, const char*) {}

inline const char* text_or_empty(const char* text) { return text == nullptr ? "" : text; }

/// Bytes outside 32 to 126 become '?'.
std::wstring wide_sanitised_ascii(const wchar_t* text);
/// Upper-case letters and digits kept, lower case raised, all else '_'.
std::string make_eDepot_name(const char* text);

inline void append_framed(text_buffer& line, const text_frame& frame, std::string_view value) {
  line += frame.before;
  line += value;
  line += frame.after;
}

// The plain-text formats and HTML carry UTF-8 whatever the locale is. What does not decode and what
// a terminal would obey becomes U+FFFD, see report_character.

/// Appends the first `most` characters and returns how many there were.
size_t append_report_text(text_buffer& line, std::string_view text, size_t most = SIZE_MAX);
size_t append_report_text(text_buffer& line, std::wstring_view text, size_t most = SIZE_MAX);
/// The same, framed.
void append_report_value(text_buffer& line, const text_frame& frame, auto value) {
  line += frame.before;
  append_report_text(line, value);
  line += frame.after;
}
std::string report_text(std::string_view text);

/// A framed number as the column's type asks for it, see cell_number::write. Returns the sum of its
/// text.
uint16_t append_number(text_buffer& line, const table_column& column, const cell_number& value,
                       std::string_view prefix, std::string_view suffix);

/// Report text cut to `width` characters and padded to it on the right.
void append_padded(text_buffer& line, std::string_view text, int width);
void append_padded(text_buffer& line, std::wstring_view text, int width);

/// The section frame of the plain-text formats.
void open_underlined_section(text_buffer& line, const char* title);
void close_underlined_section(text_buffer& line);
/// Embeds a file as plain text, byte by byte. False also when the report's stream failed.
bool log_text_file(FILE* out, const char* path, FILE* in, unsigned limit);
/// Embeds a file as markup and sums it for the section.
bool log_markup_file(FILE* out, const char* path, FILE* in, unsigned limit);

}  // namespace kestrel
