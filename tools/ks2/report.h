// A ksml report in memory: sections of tables and embedded files. What `show`, `html` and `verify`
// work on. The model holds no text of its own: every std::string_view points into the report's
// bytes, which must outlive it, and is raw: what stands in the file, entities and all. Call
// `plain_text` to get the characters.
//
// A damaged report gives a model too, as far as it could be read; the reader's faults say what is
// missing. Nothing may be taken for granted: names may be empty, rows may have any number of cells,
// sums may be absent, no text need be UTF-8 or free of control characters.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "tools/ks2/fault.h"
#include "tools/ks2/report_text.h"

namespace kestrel::ks2 {

/// Names of the cell elements: see `cell_kind_name`.
enum class cell_kind : uint8_t { string, decimal, hex, ascii, boolean, date, time, datetime };
inline constexpr size_t k_cell_kinds = 8;

/// One value: <STR ID="name" W="width">value</STR>.
struct report_cell {
  std::string_view name;   ///< of the column
  std::string_view value;  ///< raw
  uint32_t width;          ///< of the column in characters, 0: not given
  cell_kind kind;
};

/// The digits in a CHK element as they stand there; null data() where there is none.
struct report_sum {
  std::string_view digits;

  bool is_present() const { return digits.data() != nullptr; }
};

struct report_row {
  std::string_view name;  ///< often empty
  size_t offset;          ///< of the row's element in the report's bytes
  size_t first_cell;      ///< in the table's cells
  size_t end = 0;         ///< offset behind the row; the same below, 0 while it is being read
  size_t cell_count = 0;
  report_sum sum = {};
};

struct report_table {
  std::string_view title;
  size_t offset;
  size_t end = 0;
  std::string_view column_count = {};  ///< what COLS says; null data() where there is none
  std::string_view row_count = {};     ///< what ROWS says; likewise
  std::vector<report_row> rows = {};
  std::vector<report_cell> cells = {};  ///< of all rows, one row behind the other
  report_sum sum = {};

  const report_cell* begin_of(const report_row& row) const { return cells.data() + row.first_cell; }
  const report_cell* end_of(const report_row& row) const { return begin_of(row) + row.cell_count; }
};

/// A file that was copied into the report.
struct embedded_file {
  std::string_view path;
  size_t offset;
  size_t end = 0;
  /// What stands between the first CDATA start and the last CDATA end; see `file_text`. Null data()
  /// where the file could not be opened when the report was made.
  std::string_view content = {};
  /// Not CDATA but the markup of an imported file.
  bool is_markup = false;
  report_sum sum = {};
};

/// What a section holds, in the order of the report.
struct section_part {
  bool is_file;
  size_t index;  ///< in `files` or `tables`
};

struct report_section {
  std::string_view title;
  size_t offset;
  size_t end = 0;
  /// Index in `imports` of the file that brought it, -1: the report's own. Sums of an imported
  /// section are not those of this report's writer; nobody checks them.
  int import = -1;
  std::vector<report_table> tables = {};
  std::vector<embedded_file> files = {};
  std::vector<section_part> parts = {};
  report_sum sum = {};
};

/// A ready-made ksml file that stands in the report, between two comments.
struct imported_file {
  std::string_view path;  ///< raw, as the comment names it
  std::string_view body;
  size_t offset;
};

struct report {
  std::string_view bytes;    ///< the whole report
  std::string_view version;  ///< of the gatherer that wrote it
  std::vector<report_section> sections;
  std::vector<imported_file> imports;
  report_sum sum;
  bool is_complete = false;  ///< read to its end mark
  bool is_refused = false;   ///< --max-size ended the reading

  size_t offset_of(std::string_view part) const {
    return static_cast<size_t>(part.data() - bytes.data());
  }
  /// Fills in section, table, file, row and name of the place with that offset.
  void locate(place& where) const;
};

/// The element of the kind: "STR", "DEC", "HEX", "ASC", "BOOL", "DATE", "TIME" or "DATETIME".
const char* cell_kind_name(cell_kind kind);

/// The embedded file as it was.
report_text text_of(const embedded_file& file);

/// The title of a table, the path of a file.
std::string_view title_of(const report_section& section, const section_part& part);

/// The names of a table's columns, in order, as its rows tell them; a table without rows has none.
std::vector<std::string_view> column_names(const report_table& table);
/// Whether some row of `columns` cells, which is all of them, has a name that none of them says.
bool has_own_names(const report_table& table, size_t columns);

}  // namespace kestrel::ks2
