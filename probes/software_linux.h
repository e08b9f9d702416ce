// The installed software, of whichever package systems the machine has.
#pragma once

#include "gatherer/probe.h"

namespace kestrel {

/// The section of the installed software.
class packages_probe : public probe_task {
 public:
  using probe_task::probe_task;

  /// True with rpm or aptitude.
  bool test() override;
  /// Writes a section with one table a package system. Always true.
  bool run(FILE* fp) override;
};

}  // namespace kestrel
