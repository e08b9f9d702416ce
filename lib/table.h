// The one writer of the report's tables: titled, with typed columns, in one of seven output formats
// that is chosen once per run. The sections around them stand in lib/section.h.
#pragma once

#include <concepts>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <span>
#include <string_view>
#include <type_traits>

#include "lib/column.h"
#include "lib/output_format.h"

namespace kestrel {

// What the writer and its formats share, see table_formats.h.
struct output_format;
struct table_state;
struct table_column;
class cell_number;

class gathered_date;
class gathered_time;
class gathered_datetime;

/// One table being written. Misuse is refused with a message on standard output and `false`, never
/// thrown.
/// A null stream writes nothing. Text arguments are copied or written at once.
class Table {
 public:
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
  bool declare(std::span<const column> columns);  // for the tests; no program calls it

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
  /// False also when a write on the stream failed, now or earlier.
  bool end_row();
  /// Those written so far, the open one included.
  size_t rows() const;

  // What the interface promises and no program calls:
  bool log_data(gathered_datetime value);

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

}  // namespace kestrel
