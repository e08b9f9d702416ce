// Whether a report is what its writer wrote: its sums and counts, computed again from the raw
// bytes, and the characters in it.
//
// Every sum is checked against what stands one level below it, so that a changed cell gives one
// fault, at its row: cells -> row, rows -> table, tables and files -> section, sections and
// imported files -> report.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "tools/ks2/fault.h"
#include "tools/ks2/report.h"

namespace kestrel::ks2 {

/// The sum in a CHK element: upper-case hexadecimal digits, filled up with blanks on the left to
/// `width` places.
std::optional<uint32_t> parse_sum(std::string_view digits, size_t width);

/// The two sums that a value may count with: over its UTF-8 bytes as signed numbers (values that
/// were narrow text in the gatherer) and over the low 16 bits of its characters (wide text). Both
/// modulo 65536; for ASCII they are the same.
struct value_sums {
  uint16_t narrow;
  uint16_t wide;
};
value_sums sums_of_value(std::string_view raw);

/// The sum of an embedded file: of its characters, or, from older gatherers, of the low 16 bits of
/// each; the two differ only for characters above U+FFFF.
struct file_sums {
  uint32_t whole;
  uint32_t low_halves;
};
file_sums sums_of_file(const embedded_file& file);

/// Appends what is wrong.
void check_report(const report& checked, fault_list& faults);

}  // namespace kestrel::ks2
