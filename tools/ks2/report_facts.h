// What a report says of its machine and its run, where it takes more than one cell to know it.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "tools/ks2/report.h"

namespace kestrel::ks2 {

/// The value in a table's first row, raw; null data() where there is none.
std::string_view first_value(const report& content, std::string_view section,
                             std::string_view table, std::string_view column);

/// The distribution, with its release where both are told: "Debian GNU/Linux 12.11". From the
/// release file's line, the boot menu or the packages; empty when none of them knows.
std::string distribution_of(const report& content);

/// Names of the probes that were enabled at the run's detail level and left no section. Which of
/// them had nothing to look at on that machine is not in the report.
std::vector<std::string> missing_sections(const report& content);

}  // namespace kestrel::ks2
