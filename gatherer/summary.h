// The report's first section: who made the machine and what runs on it. Two layouts, of which the
// customer configuration chooses one.
#pragma once

#include "gatherer/probe.h"

namespace kestrel {

/// Tables "System Summary" and "Operating System".
class sysinfo_probe : public probe {
 public:
  using probe::probe;
  bool run(FILE* fp) override;
  void summary_table(FILE* fp);
  void os_table(FILE* fp);
};

/// One table "System Summary" with everything in wide columns.
class old_sysinfo_probe : public probe {
 public:
  using probe::probe;
  bool run(FILE* fp) override;
};

}  // namespace kestrel
