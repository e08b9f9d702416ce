// The table of physical memory and swap space.
#pragma once

#include "gatherer/probe.h"
#include "probes/memory_linux.h"

namespace kestrel {

void write_memory_statistics(FILE* fp, const memory_handle_struct& info);

class memory_probe : public probe {
 public:
  using probe::probe;
  bool run(FILE* fp) override;
};

}  // namespace kestrel
