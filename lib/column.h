// The columns of a report's tables as data: what the writer of tables, its output formats and the
// lists of columns agree on.
#pragma once

namespace kestrel {

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

/// More columns than these a table does not have.
inline constexpr int k_max_columns = 20;

}  // namespace kestrel
