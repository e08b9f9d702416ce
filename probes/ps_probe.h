// The processes, as ps lists them.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "gatherer/probe.h"
#include "lib/record_members.h"

namespace kestrel {

/// A line of ps(1).
struct process {
  int pid = 0;
  kept_text<80> name, user;
  int nice = 0;               ///< 0 also where the scheduler knows none
  kept_text<16> cpu, memory;  ///< percent
  kept_text<4> state;         ///< letters of ps(1)
};
/// Takes a line without its newline. The name may hold blanks. Nothing unless every field is there.
std::optional<process> parse_ps_line(std::string_view line);

/// The table of the processes, by rising number.
class ps_probe : public probe {
 public:
  using probe::probe;

  /// True where there is a ps; looked up once.
  bool test() override;
  /// Always true; no rows when ps cannot be run.
  bool run(FILE* fp) override;

 private:
  std::optional<std::string> ps_path_;
  bool is_tested_ = false;
};

}  // namespace kestrel
