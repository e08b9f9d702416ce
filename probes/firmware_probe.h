// The versions of the machine's firmware: the BIOS and the embedded controller.
#pragma once

#include "gatherer/probe.h"

namespace kestrel {

class firmware_probe : public probe {
 public:
  using probe::probe;
  bool run(FILE* fp) override;
};

}  // namespace kestrel
