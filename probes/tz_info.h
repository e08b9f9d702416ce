// The current time, where the machine stands and in Greenwich.
#pragma once

#include <cstdio>
#include <ctime>

#include "gatherer/probe.h"

namespace kestrel {

/// Writes the table for this moment.
void TimeZoneInfo(FILE* fp);
/// The same for any moment.
void write_time(FILE* fp, std::time_t moment);

/// The task that writes the table as a section; always true.
class timezone_probe : public legacy_probe {
 public:
  using legacy_probe::legacy_probe;
  bool run(FILE* fp) override;
};

}  // namespace kestrel
