// The jobs of the system's crontab.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "gatherer/probe.h"
#include "lib/record_members.h"

namespace kestrel {

/// A job of a system crontab (crontab(5)); times as they stand there.
struct crontab_job {
  kept_text<15> minute, hour, day, month, weekday;
  kept_text<31> user;
  kept_text<127> command;
};
/// Takes a line without its newline; missing fields are empty. Nothing for a comment, a variable
/// and whatever else does not begin with a minute.
std::optional<crontab_job> parse_crontab_line(std::string_view line);

/// Writes the table from `in`, which is read to its end; null for none.
void write_crontab(FILE* fp, FILE* in);

/// The table of /etc/crontab.
class crontab_probe : public probe {
 public:
  using probe::probe;
  /// True where that can be read; `run` is always true.
  bool test() override;
  bool run(FILE* fp) override;
};

}  // namespace kestrel
