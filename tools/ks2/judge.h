// Whether a file is what the gatherer wrote. Every command that says so, or shows a report, asks
// here, so that they never differ.
#pragma once

#include <cstddef>
#include <optional>
#include <string>

#include "tools/ks2/fault.h"
#include "tools/ks2/input_file.h"
#include "tools/ks2/open_report.h"

namespace kestrel::ks2 {

/// What was looked at, and what was found.
struct judgement {
  size_t items = 0;
  size_t sections = 0;
  size_t tables = 0;
  size_t rows = 0;
  size_t embedded_files = 0;
  bool is_refused = false;   ///< something is larger than --max-size allows
  std::string without_sums;  ///< what nothing vouches for, in words; empty: nothing
  fault_list faults;         ///< with their places, by item and offset

  /// What the program ends with.
  exit_status status() const;
};

enum class judging {
  quick,     ///< items of more than 8 MiB are not packed again for comparison
  thorough,  ///< they are, and imported reports are read like the run's own
};

/// Checks everything that can be checked. Where `opened` is given it gets the file's ksml report,
/// if there is one; `file` must outlive it.
judgement judge(const input_file& file, judging how,
                std::optional<opened_report>* opened = nullptr);

/// The same for a command that shows the report: complains of what is wrong. `status` is what to
/// end with, also where there is no report, or none that the limit allows.
std::optional<opened_report> open_or_complain(const input_file& file, judgement& found,
                                              int& status);

}  // namespace kestrel::ks2
