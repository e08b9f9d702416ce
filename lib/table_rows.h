// Tables of records: a column knows its cell. What a table shows is one array of cells, each a
// heading and the member (or function) of the record that fills it, so that both stand in one line
// and a width is stated once:
//
//   constexpr cell_of<account> k_account_cells[] = {
//       {"Username", show<&account::name>},
//       {"Flags", show_ascii<flag_words>.wide(130)},
//   };
#pragma once

#include <concepts>
#include <cstdio>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

#include "lib/date.h"
#include "lib/getline.h"
#include "lib/record_members.h"
#include "lib/table.h"
#include "lib/utilstr.h"

namespace kestrel {

namespace cells {

template <class Value>
concept is_text = std::convertible_to<const Value&, std::string_view>;
template <class Value>
concept is_date = std::same_as<Value, gathered_date> || std::same_as<Value, gathered_time> ||
    std::same_as<Value, gathered_datetime>;
/// What a cell can show: a text, a number, a truth value, a date.
template <class Value>
concept is_shown =
    is_text<Value> || std::integral<Value> || is_date<Value> || std::same_as<Value, std::wstring>;

template <class Value>
constexpr datatype type_of = std::same_as<Value, bool> ? DT_BOOL
                             : std::integral<Value>    ? DT_INTEGER
                                                       : DT_STRING;

template <class Value>
constexpr int width_of = 0;
template <size_t Longest>
constexpr int width_of<kept_text<Longest>> = kept_text<Longest>::buffer_size;
template <size_t Longest>
constexpr int width_of<fitted_text<Longest>> = static_cast<int>(Longest);

/// Room for every text that a getter writes into its caller's buffer.
inline constexpr int k_getter_room = 4096;

/// Numbers keep their type: the list format tells counts from other numbers.
template <is_shown Value>
void log_value(Table& table, const Value& value) {
  if constexpr (std::same_as<Value, std::wstring>) {
    table.log_wide_data(value.c_str());
  } else if constexpr (std::derived_from<Value, std::string>) {
    table.log_data(std::string_view(value));
  } else {
    table.log_data(value);
  }
}

template <auto Source, class Record>
void log_source(Table& table, const Record& from) {
  if constexpr (std::invocable<decltype(Source), const Record&>) {
    log_value(table, std::invoke(Source, from));
  } else {
    char text[k_getter_room];
    table.log_data(std::invoke(Source, from, text, k_getter_room));
  }
}

}  // namespace cells

/// How a record fills a cell, and the column that suits it.
template <class Record>
struct shown_as {
  datatype type;
  int width;  ///< 0: the default
  void (*log)(Table& table, const Record& from);

  /// The same in a column of `columns` characters.
  constexpr shown_as wide(int columns) const { return {type, columns, log}; }
};

template <auto Source, datatype Type>
constexpr auto make_shown() {
  using source = cells::source<decltype(Source)>;
  using record_type = typename source::record_type;
  using value = typename source::value;
  static_assert(cells::is_shown<value>, "a cell shows a text, a number, a bool or a date");
  return shown_as<record_type>{Type, cells::width_of<value>,
                               cells::log_source<Source, record_type>};
}

/// Shows a member (`&account::name`), a const member function or a function of the record: texts
/// and dates in a STRING column, numbers in an INTEGER one, truth values in a BOOL one. Getters
/// that are not const, and those that write a text into a buffer (`&filescan::get_path`), make
/// cells of `filescan*`.
template <auto Source>
constexpr auto show =
    make_shown<Source, cells::type_of<typename cells::source<decltype(Source)>::value>>();
/// The same in a column whose texts are made printable ASCII.
template <auto Source>
constexpr auto show_ascii = make_shown<Source, DT_ASCII>();
/// A number in hexadecimal.
template <auto Source>
constexpr auto show_hex = make_shown<Source, DT_HEX>();

/// One column of a table of records.
template <class Record>
struct cell_of {
  constexpr cell_of(const char* name, shown_as<Record> how)
      : heading{name, how.type, how.width}, log(how.log) {}

  column heading;
  void (*log)(Table& table, const Record& from);
};

/// A table with a row a record. Cells of another kind than cell_of have a heading and a `log`, too.
template <class Record, class Cell = cell_of<Record>>
class record_table {
 public:
  using cell_list = std::span<const Cell>;

  /// As Table; the cells must outlive the object.
  record_table(FILE* out, const char* title, cell_list cells) : table_(out, title), cells_(cells) {
    declare();
  }
  record_table(FILE* out, const char* title, const char* instance, cell_list cells)
      : table_(out, title, instance), cells_(cells) {
    declare();
  }

  /// Writes the row of that name.
  void add(const std::string& name, const Record& from) {
    table_.start_row(name.c_str());
    fill(from);
  }
  void add(const std::wstring& name, const Record& from) {
    table_.start_row(name.c_str());
    fill(from);
  }
  size_t rows() const { return table_.rows(); }

 private:
  void declare() {
    table_.start_heading();
    int index = 0;
    for (const Cell& cell : cells_) {
      table_.add_column(cell.heading.name, cell.heading.type);
      table_.set_column_width(index++, cell.heading.width);
    }
    table_.end_heading();
  }
  void fill(const Record& from) {
    for (const Cell& cell : cells_) cell.log(table_, from);
    table_.end_row();
  }

  Table table_;
  cell_list cells_;
};
template <class Record, size_t Count>
record_table(FILE*, const char*, const cell_of<Record> (&)[Count]) -> record_table<Record>;
template <class Record, size_t Count>
record_table(FILE*, const char*, const char*, const cell_of<Record> (&)[Count])
    -> record_table<Record>;

/// A row for every line of `in` (null: none) that `parse(std::string_view)` makes a record of,
/// named by the member or function `name` of the record. See for_each_line.
template <class Record, class Parse, class Name>
void add_lines(record_table<Record>& table, FILE* in, const char* module, Parse&& parse,
               Name&& name) {
  if (in == nullptr) return;
  for_each_line(in, module, [&](const std::string& line) {
    const std::optional<Record> found = parse(std::string_view(line));
    if (found) table.add(std::invoke(name, *found), *found);
  });
}

}  // namespace kestrel
