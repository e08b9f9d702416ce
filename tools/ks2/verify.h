// Whether a file is what the gatherer wrote.
#pragma once

#include <cstddef>
#include <string>

#include "tools/ks2/fault.h"
#include "tools/ks2/input_file.h"

namespace kestrel::ks2 {

/// What was looked at.
struct verified_parts {
  size_t items = 0;
  size_t sections = 0;
  size_t tables = 0;
  size_t rows = 0;
  size_t embedded_files = 0;
  bool is_refused = false;   ///< something is larger than --max-size allows
  std::string without_sums;  ///< what nothing vouches for, in words; empty: nothing
};

/// Checks everything that can be checked; appends the faults, with their places, in order. Items of
/// more than 8 MiB are packed again for comparison only when `is_thorough`.
verified_parts verify(const input_file& file, bool is_thorough, fault_list& faults);

}  // namespace kestrel::ks2
