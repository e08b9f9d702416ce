// The one writer of the report: sections of titled tables with typed columns, and whole files, in
// one of seven output formats that is chosen once per run.
#pragma once

#include <concepts>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>

#include "lib/date.h"

namespace kestrel {

/// The formats of a report, each in a table_*.cc of its own.
enum output_format_type {
  OUTPUT_TEXT = 0,  ///< boxed plain text
  OUTPUT_XML = 1,   ///< element names made from table and column names
  OUTPUT_TALV = 2,  ///< fixed element names, typed values
  OUTPUT_LIST = 3,  ///< plain text, a line a cell
  OUTPUT_KSML = 4,  ///< fixed element names, types, widths and checksums
  OUTPUT_HTML = 5,
  OUTPUT_XML_LOWERCASE = 6,  ///< only for set_output_format, which stores OUTPUT_XML
};

/// What the cells of a column hold.
enum datatype {
  DT_STRING = 0,
  DT_INTEGER = 1,  ///< decimal
  DT_HEX = 2,      ///< upper-case digits
  DT_FLOAT = 3,    ///< accepts integers, renders nothing
  DT_ASCII = 4,    ///< made printable ASCII first
  DT_BOOL = 5,     ///< a number: false for 0, else true
};

/// One column as data: `width` 0 leaves it to the default.
struct column {
  const char* name;
  datatype type;
  int width = 0;
};

// What the writer and its formats share, see table_formats.h.
struct output_format;
struct table_state;
struct table_column;
class cell_number;

/// One table being written. Misuse is refused with a message on standard output and `false`, never
/// thrown.
/// A null stream writes nothing. Text arguments are copied or written at once.
class Table {
 public:
  static constexpr int k_max_columns = 20;

  /// The stream stays the caller's. At most 255 bytes of title and instance are kept.
  Table(FILE* out, const char* title);
  Table(FILE* out, const char* title, const char* instance);
  Table(const Table&) = delete;
  Table& operator=(const Table&) = delete;
  ~Table();

  /// For the tables that begin from now on, and for the markup writer.
  static void set_output_format(output_format_type format);
  static output_format_type get_output_format();
  /// Sum over all sections that ended so far.
  static uint32_t get_output_checksum();

  /// The heading: its columns, from the left, k_max_columns at most.
  bool start_heading();
  bool add_column(const char* name, datatype type);
  /// Raises the column's width, never lowers it; a column out of range is ignored.
  bool set_column_width(int column, int width);
  bool end_heading();
  /// start_heading, every column with its width, end_heading.
  bool declare(std::span<const column> columns);

  /// Opens a row, which the formats that name rows show under `name`.
  bool start_row(const char* name);
  bool start_row(const wchar_t* name);
  /// Fills the next cell of the open row. Numbers belong into INTEGER, HEX, FLOAT and BOOL columns,
  /// texts into STRING and ASCII ones; a null text is "".
  bool log_data(int value);
  /// Any other integer, whole: unsigned ones as an unsigned long; signed ones as an int where they
  /// fit into one.
  template <std::integral Number>
  bool log_data(Number value) {
    if constexpr (std::is_same_v<decltype(+value), int>) {
      return log_data(static_cast<int>(value));
    } else if constexpr (std::is_signed_v<Number>) {
      return log_count(value);
    } else {
      return log_unsigned(value);
    }
  }
  /// A count: as an int where it fits, else whole.
  bool log_count(int64_t value);
  /// Ends at a NUL in the text.
  bool log_data(std::string_view value);
  bool log_data(const char* value);
  bool log_wide_data(const wchar_t* value);
  /// A date that is not valid is shown as the text that it came from.
  bool log_data(gathered_date value);
  bool log_data(gathered_time value);
  bool log_data(gathered_datetime value);
  /// False also when a write on the stream failed, now or earlier.
  bool end_row();
  /// Those written so far, the open one included.
  size_t rows() const;

 private:
  enum class misuse { none, row_not_open, beyond_columns, wrong_type };

  void make_frames();
  const table_column& current_cell();
  misuse check(unsigned accepted_types) const;
  bool refuse(misuse what, const char* value, const char* accepted_names) const;
  bool log_number(const cell_number& number);
  bool log_unsigned(uint64_t value);
  bool log_date(const char* kind, const char* text, bool is_valid);
  bool end_cell(uint16_t sum);
  void compute_widths();
  void send();

  FILE* out_;
  const output_format* format_;
  std::unique_ptr<table_state> state_;
  const table_column* cell_ = nullptr;  // the one that is due in the open row
  bool heading_open_ = false;
  bool row_open_ = false;
  bool is_framed_ = false;  // the columns hold what the format writes around their values
};

/// Sections do not nest. A null stream writes nothing; the sums are kept all the same. The end is
/// false when a write on the stream failed, now or earlier.
void start_section(FILE* out, const char* title);
bool end_section(FILE* out);
/// Copies a file (or the open stream `in`, which stays the caller's) into the report under `path`.
/// False without a stream or a path, always in OUTPUT_TALV, but for the XML formats also for a file
/// that cannot be opened, and when a write on the stream failed.
/// XML stops once `limit` characters were counted, 0 for no limit; others know only a limit of 1.
bool log_file(FILE* out, const char* path, FILE* in = nullptr, unsigned limit = 0);
bool log_file(FILE* out, const char* path, unsigned limit);
/// Imports a ksml file into a ksml report; false for reports in other formats, for a file that
/// cannot be opened, and when a write on the stream failed.
bool log_ksml_file(FILE* out, const char* path);

/// Bytes outside 32 to 126 become '?'.
std::string sanitised_ascii(const char* text);
std::wstring wide_sanitised_ascii(const wchar_t* text);
/// Upper-case letters and digits kept, lower case raised, all else '_'.
std::string make_eDepot_name(const char* text);

}  // namespace kestrel
