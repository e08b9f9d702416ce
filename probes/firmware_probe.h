// The versions of the machine's firmware: the BIOS and the embedded controller.
#pragma once

#include "gatherer/probe.h"

namespace kestrel {

/// A table of two rows, BIOS and embedded controller; a version that nobody tells is "" or
/// "Unknown".
class firmware_probe : public probe {
 public:
  using probe::probe;
  bool run(FILE* fp) override;
};

}  // namespace kestrel
