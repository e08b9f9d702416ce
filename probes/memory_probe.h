// The table of physical memory and swap space.
#pragma once

#include "gatherer/probe.h"
#include "probes/memory_linux.h"

namespace kestrel {

/// Writes the table: one row for memory and one for swap space, whatever the values are. A null
/// stream takes nothing.
void write_memory_statistics(FILE* fp, const memory_handle_struct& info);

/// The table for the running kernel.
class memory_probe : public probe {
 public:
  using probe::probe;
  /// Always true; zeros where /proc/meminfo cannot be read.
  bool run(FILE* fp) override;
};

}  // namespace kestrel
