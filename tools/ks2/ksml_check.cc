// Walks the model of a report, adds up its raw values as the writer did and compares with the sums
// and counts that stand in it.
#include "tools/ks2/ksml_check.h"

#include <algorithm>
#include <bitset>
#include <charconv>
#include <vector>

#include "lib/mbcs.h"
#include "lib/utilstr.h"
#include "tools/ks2/shown_text.h"

namespace kestrel::ks2 {

namespace {

constexpr size_t k_row_sum_width = 4;
constexpr size_t k_section_sum_width = 8;
constexpr int k_most_columns = 20;
/// A gatherer that rejects an imported file counts it with this, and leaves no other trace of it.
constexpr uint32_t k_rejected_import = 42;
constexpr uint32_t k_most_rejected = 64;
constexpr size_t k_most_characters_told = 20;

/// Decodes without fail: a byte that is no UTF-8 is one character.
size_t decode(std::string_view text, wchar_t& c) {
  const size_t length = decode_utf8_character(text, c);
  if (length != 0) return length;
  c = escaped_byte(text[0]);
  return 1;
}

/// All sums modulo 65536 that a row's cells can give.
class possible_sums {
 public:
  void add(value_sums sums) {
    all_narrow_ = static_cast<uint16_t>(all_narrow_ + sums.narrow);
    all_wide_ = static_cast<uint16_t>(all_wide_ + sums.wide);
    const auto difference = static_cast<uint16_t>(sums.wide - sums.narrow);
    if (difference != 0) differences_.push_back(difference);
  }
  bool hold(uint32_t sum) const {
    if (sum == all_narrow_ || sum == all_wide_) return true;
    if (differences_.empty() || differences_.size() > k_most_columns + 1) return false;
    std::bitset<0x10000> reachable;
    reachable.set(all_narrow_);
    for (const uint16_t d : differences_) {
      reachable |= reachable << d | reachable >> (0x10000u - d);
    }
    return reachable.test(sum);
  }
  uint16_t all_narrow() const { return all_narrow_; }
  std::string text() const {
    std::string sums = format_text("%4X", all_narrow_);
    if (all_wide_ != all_narrow_) sums += format_text(" or %4X", all_wide_);
    return sums;
  }

 private:
  uint16_t all_narrow_ = 0;
  uint16_t all_wide_ = 0;
  std::vector<uint16_t> differences_;
};

class report_checker {
 public:
  report_checker(const report& checked, fault_list& faults) : report_(checked), faults_(faults) {}

  void check();

 private:
  uint32_t check_row(const report_row& row, const report_table& table);
  uint32_t check_table(const report_table& table);
  void check_columns(const report_table& table);
  void check_counts(const report_table& table);
  uint32_t check_file(const embedded_file& file);
  uint32_t check_section(const report_section& section);
  void check_total(uint32_t sections);
  bool read_sum(const report_sum& sum, size_t width, uint32_t& value);
  void tell_sum(const report_sum& sum, const char* what, const std::string& computed);
  void fail(std::string_view at, std::string text) {
    faults_.add(severity::fault, report_.offset_of(at), std::move(text));
  }

  const report& report_;
  fault_list& faults_;
};

/// False when there is no sum; one that is none is told and counts as absent.
bool report_checker::read_sum(const report_sum& sum, size_t width, uint32_t& value) {
  if (!sum.is_present()) return false;
  const std::optional<uint32_t> parsed = parse_sum(sum.digits, width);
  if (!parsed) {
    fail(sum.digits, "\"" + shown(sum.digits, 20) + "\" is no sum");
    return false;
  }
  value = *parsed;
  return true;
}

void report_checker::tell_sum(const report_sum& sum, const char* what,
                              const std::string& computed) {
  fail(sum.digits, std::string("the sum of the ") + what + " is " + std::string(sum.digits) +
                       ", computed it is " + computed);
}

uint32_t report_checker::check_row(const report_row& row, const report_table& table) {
  possible_sums sums;
  for (const report_cell* cell = table.begin_of(row); cell != table.end_of(row); ++cell) {
    sums.add(sums_of_value(cell->value));
  }
  uint32_t found;
  if (!read_sum(row.sum, k_row_sum_width, found)) return sums.all_narrow();
  if (!sums.hold(found)) tell_sum(row.sum, "row", sums.text());
  return found;
}

void report_checker::check_counts(const report_table& table) {
  std::string_view digits = table.column_count;
  int64_t columns = 0;
  if (digits.data() == nullptr) {
    faults_.add(severity::fault, table.offset, "the table has no column count");
    columns = k_most_columns;
  } else if (!scan_decimal(digits, columns) || !digits.empty() || columns < 0 ||
             columns > k_most_columns) {
    fail(table.column_count, "\"" + shown(table.column_count, 20) + "\" is no column count");
    columns = k_most_columns;
  }
  size_t most_cells = 0;
  for (const report_row& row : table.rows) {
    most_cells = std::max(most_cells, row.cell_count);
    // A gatherer takes one value past the last column.
    if (row.cell_count <= static_cast<size_t>(columns) + 1) continue;
    faults_.add(severity::fault, row.offset,
                format_text("the row has %zu cells in %lld columns", row.cell_count,
                            static_cast<long long>(columns)));
  }
  if (!table.rows.empty() && most_cells < static_cast<size_t>(columns)) {
    faults_.add(severity::warning, table.offset,
                format_text("the table has %lld columns, its rows at most %zu cells",
                            static_cast<long long>(columns), most_cells));
  }
  if (table.row_count.data() == nullptr) {
    if (table.sum.is_present()) {
      faults_.add(severity::fault, table.offset, "the table has no row count");
    }
  } else if (table.row_count != std::to_string(table.rows.size())) {
    fail(table.row_count, "the table should have " + shown(table.row_count, 20) + " rows, it has " +
                              std::to_string(table.rows.size()));
  }
}

/// A column has the same name and width in every row; the first difference is told.
void report_checker::check_columns(const report_table& table) {
  std::vector<report_cell> columns;
  for (const report_row& row : table.rows) {
    const report_cell* const cells = table.begin_of(row);
    for (size_t i = 0; i < row.cell_count; ++i) {
      if (i == columns.size()) columns.push_back(cells[i]);
      if (cells[i].name == columns[i].name && cells[i].width == columns[i].width) continue;
      faults_.add(severity::fault, row.offset,
                  format_text("column %zu is \"%s\", width %u, here and \"%s\", width %u, above",
                              i + 1, shown(cells[i].name, 40).c_str(), cells[i].width,
                              shown(columns[i].name, 40).c_str(), columns[i].width));
      return;
    }
  }
}

uint32_t report_checker::check_table(const report_table& table) {
  check_counts(table);
  check_columns(table);
  uint32_t computed = 0;
  for (const report_row& row : table.rows) computed += check_row(row, table);
  computed &= 0xFFFF;
  uint32_t found;
  if (!read_sum(table.sum, k_row_sum_width, found)) return computed;
  if (found != computed) tell_sum(table.sum, "table", format_text("%4X", computed));
  return found;
}

uint32_t report_checker::check_file(const embedded_file& file) {
  const file_sums computed = sums_of_file(file);
  uint32_t found;
  if (!read_sum(file.sum, k_section_sum_width, found)) return computed.whole;
  if (found != computed.whole && found != computed.low_halves) {
    tell_sum(file.sum, "file", format_text("%8X", computed.whole));
  }
  return found;
}

uint32_t report_checker::check_section(const report_section& section) {
  uint32_t computed = 0;
  for (const report_table& table : section.tables) computed += check_table(table);
  for (const embedded_file& file : section.files) {
    if (!file.is_markup) computed += check_file(file);
  }
  uint32_t found;
  if (!read_sum(section.sum, k_section_sum_width, found)) return computed;
  if (found != computed) tell_sum(section.sum, "section", format_text("%8X", computed));
  return found;
}

/// An imported file counts with the sum of its bytes or, when it was UTF-16, of its characters.
void report_checker::check_total(uint32_t sections) {
  std::vector<uint32_t> sums = {sections};
  for (const imported_file& imported : report_.imports) {
    uint32_t bytes = 0;
    for (const char byte : imported.body) bytes += static_cast<unsigned char>(byte);
    if (bytes == 0) bytes = k_rejected_import;
    embedded_file as_characters = {.path = {}, .offset = 0, .content = imported.body};
    as_characters.is_markup = true;
    const file_sums characters = sums_of_file(as_characters);
    const size_t count = sums.size();
    for (const uint32_t other : {characters.whole, characters.low_halves}) {
      if (other == bytes || sums.size() > k_most_rejected) continue;
      for (size_t i = 0; i < count; ++i) sums.push_back(sums[i] + other);
    }
    for (size_t i = 0; i < count; ++i) sums[i] += bytes;
  }
  uint32_t found;
  if (!read_sum(report_.sum, k_section_sum_width, found)) return;
  for (uint32_t rejected = 0; rejected <= k_most_rejected; ++rejected) {
    const uint32_t wanted = found - rejected * k_rejected_import;
    if (std::find(sums.begin(), sums.end(), wanted) == sums.end()) continue;
    if (rejected == 0) return;
    return faults_.add(
        severity::warning, report_.offset_of(report_.sum.digits),
        format_text("files that were to be imported but were no ksml: %u", rejected));
  }
  tell_sum(report_.sum, "report", format_text("%8X", sums[0]));
}

void report_checker::check() {
  uint32_t sections = 0;
  for (const report_section& section : report_.sections) {
    if (section.import < 0) sections += check_section(section);
  }
  check_total(sections);
}

/// Bytes that are no UTF-8, and characters that no XML may hold. In an imported file they are its
/// own.
class character_checker {
 public:
  character_checker(const report& checked, fault_list& faults)
      : report_(checked), faults_(faults) {}

  void check() {
    const std::string_view bytes = report_.bytes;
    for (size_t at = 0; at < bytes.size();) {
      at += plain_length(bytes.substr(at));
      if (at == bytes.size()) break;
      wchar_t c;
      const size_t length = decode(bytes.substr(at), c);
      if (markup_character(c) != c) tell(at, c);
      at += length;
    }
    if (count_ <= k_most_characters_told) return;
    faults_.add(worst_, first_,
                format_text("forbidden characters and bytes that are no UTF-8: %zu", count_));
  }

 private:
  static size_t plain_length(std::string_view text) {
    size_t i = 0;
    while (i < text.size() && (static_cast<unsigned char>(text[i]) - 0x20u < 0x60u ||
                               text[i] == '\n' || text[i] == '\r' || text[i] == '\t')) {
      ++i;
    }
    return i;
  }
  void tell(size_t at, wchar_t c) {
    if (count_++ == 0) first_ = at;
    const bool is_fault = !is_imported(at);
    if (is_fault) worst_ = severity::fault;
    if (count_ > k_most_characters_told) return;
    const unsigned code = static_cast<char32_t>(c);
    faults_.add(is_fault ? severity::fault : severity::warning, at,
                is_escaped_byte(c) ? format_text("byte %02X is no UTF-8", code & 0xFF)
                                   : format_text("forbidden character U+%04X", code));
  }
  /// Asked for rising offsets only.
  bool is_imported(size_t at) {
    const std::vector<imported_file>& imports = report_.imports;
    while (import_ < imports.size() && end_of(imports[import_]) <= at) ++import_;
    return import_ < imports.size() && at >= report_.offset_of(imports[import_].body);
  }
  size_t end_of(const imported_file& imported) const {
    return report_.offset_of(imported.body) + imported.body.size();
  }

  const report& report_;
  fault_list& faults_;
  size_t count_ = 0;
  size_t first_ = 0;
  severity worst_ = severity::warning;
  size_t import_ = 0;
};

}  // namespace

std::optional<uint32_t> parse_sum(std::string_view digits, size_t width) {
  if (digits.size() != width) return std::nullopt;
  digits.remove_prefix(std::min(digits.find_first_not_of(' '), digits.size()));
  if (digits.empty() || (digits[0] == '0' && digits.size() > 1)) return std::nullopt;
  // Lower-case digits are none of the writer's.
  if (digits.find_first_not_of("0123456789ABCDEF") != std::string_view::npos) return std::nullopt;
  uint32_t value = 0;
  std::from_chars(digits.data(), digits.data() + digits.size(), value, 16);
  return value;
}

value_sums sums_of_value(std::string_view raw) {
  value_sums sums = {0, 0};
  for (;;) {
    size_t plain = 0;
    for (; plain < raw.size(); ++plain) {
      const auto byte = static_cast<unsigned char>(raw[plain]);
      if (byte >= 0x80 || byte == '&') break;
      sums.narrow = static_cast<uint16_t>(sums.narrow + byte);
      sums.wide = static_cast<uint16_t>(sums.wide + byte);
    }
    raw.remove_prefix(plain);
    if (raw.empty()) return sums;
    const raw_character next = next_character(raw);
    wchar_t c;
    decode(next.utf8, c);
    sums.narrow = static_cast<uint16_t>(sums.narrow + string_checksum(next.utf8));
    sums.wide = static_cast<uint16_t>(sums.wide + static_cast<uint32_t>(c));
    raw.remove_prefix(next.length);
  }
}

file_sums sums_of_file(const embedded_file& file) {
  file_sums sums = {0, 0};
  for (std::string_view rest = file.content; !rest.empty();) {
    const auto byte = static_cast<unsigned char>(rest[0]);
    if (byte == ']' && !file.is_markup && rest.starts_with(k_joint)) {
      rest.remove_prefix(k_joint.size());
      continue;
    }
    wchar_t c = byte;
    const size_t length = byte < 0x80 ? 1 : decode(rest, c);
    sums.whole += static_cast<uint32_t>(c);
    sums.low_halves += static_cast<uint32_t>(c) & 0xFFFF;
    rest.remove_prefix(length);
  }
  return sums;
}

void check_report(const report& checked, fault_list& faults) {
  character_checker(checked, faults).check();
  report_checker(checked, faults).check();
}

}  // namespace kestrel::ks2
