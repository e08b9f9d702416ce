// The report of a file, and the steps of which judging one (judge.h) consists.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "tools/ks2/fault.h"
#include "tools/ks2/input_file.h"
#include "tools/ks2/report.h"

namespace kestrel::ks2 {

/// The last report item that is ksml, or a loose report.
struct opened_report {
  int item;              ///< number of the item, 0 for a loose report
  decoded_item decoded;  ///< owns the bytes that the model points into
  report content;
};

/// The machine's identity, a line each: "Node name", "vm". Empty without a (readable) identity
/// block.
struct identity_line {
  char letter;        ///< as it stands in the block
  const char* label;  ///< for people; "" for an unknown letter
  std::string value;  ///< as it stands there, 4 KiB of it at most
};
std::vector<identity_line> read_identity(const input_file& file);

/// For a file without a ksml report: what it holds instead, in words.
std::string describe_contents(const input_file& file);

// Each appends what is wrong.

/// Head, stamp, records, form.
void check_container(const input_file& file, fault_list& faults);
/// What decoding an item met.
void check_decoding(const input_item& item, const decoded_item& decoded, fault_list& faults);
/// Reads a report and checks its sums. `memory` is what the model may take.
report read_and_check(std::string_view bytes, uint64_t memory, fault_list& faults);
/// Sorts by item and offset.
void sort_faults(fault_list& faults);

}  // namespace kestrel::ks2
