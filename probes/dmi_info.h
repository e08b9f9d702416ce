// The SMBIOS report: everything the firmware's structure table says about the machine, one table a
// structure type. What each table holds is data, see dmi_printer.h and the dmi_print_*.cc files.
#pragma once

#include <cstdio>

#include "gatherer/probe.h"
#include "lib/dmi.h"

namespace kestrel {

/// Writes the section into `out` from the machine's own table and returns the status text: "OK", or
/// "Failed" when there is no valid table (then nothing is written).
const char* dmi_info(FILE* out);
/// The same from the table of `dmi`.
const char* dmi_info(FILE* out, Dmi& dmi);

/// The task that writes the section; its console word is the status text of the report.
class smbios_probe : public legacy_probe {
 public:
  using legacy_probe::legacy_probe;
  /// Always true.
  bool run(FILE* fp) override;

  const char* result = nullptr;  ///< of the last run; null before it
};

}  // namespace kestrel
