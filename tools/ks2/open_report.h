// The report of a file, with everything that is wrong with it: what `show` and `html` begin with.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "tools/ks2/fault.h"
#include "tools/ks2/input_file.h"
#include "tools/ks2/report.h"

namespace kestrel::ks2 {

struct opened_report {
  int item;              ///< number of the item, 0 for a loose report
  decoded_item decoded;  ///< owns the bytes that the model points into
  report content;
};

/// Reads the file's report: the last item of that type that is ksml, or the file itself. Appends
/// the faults of the container, of the item and of the report, with their places. Nothing when the
/// file holds no ksml report. `file` must outlive the result.
std::optional<opened_report> open_report(const input_file& file, fault_list& faults);

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
/// Opens the report for a command that shows it, and complains of what is wrong. `status` is what
/// to end with, also where there is no report, or none that the limit allows.
std::optional<opened_report> open_or_complain(const input_file& file, fault_list& faults,
                                              int& status);

// The steps of which opening and verifying consist; each appends what is wrong.

/// Head, stamp, records, form.
void check_container(const input_file& file, fault_list& faults);
/// What decoding an item met.
void check_decoding(const input_item& item, const decoded_item& decoded, fault_list& faults);
/// Reads a report and checks its sums. `memory` is what the model may take.
report read_and_check(std::string_view bytes, uint64_t memory, fault_list& faults);
/// Sorts by item and offset.
void sort_faults(fault_list& faults);

/// The letters of the identity block in their order.
extern const std::string_view k_identity_letters;

}  // namespace kestrel::ks2
