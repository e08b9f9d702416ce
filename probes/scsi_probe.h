// The SCSI side of the report: every device of the SCSI generic driver, and what its optical drives
// can read and write.
#pragma once

#include "gatherer/probe.h"

namespace kestrel {

/// All devices.
class scsi_table : public probe {
 public:
  using probe::probe;
  /// True where there is a device, or below an optical drive; `run` is always true.
  bool test() override;
  bool run(FILE* fp) override;
};

/// The abilities of each optical drive.
class optical_table : public probe {
 public:
  using probe::probe;
  bool test() override;
  bool run(FILE* fp) override;
};

/// The abilities that the machine's optical drives have together, as keywords.
class optical_table_uc2 : public probe {
 public:
  using probe::probe;
  bool test() override;
  bool run(FILE* fp) override;
};

}  // namespace kestrel
