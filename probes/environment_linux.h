// The environment that this process got.
#pragma once

#include "gatherer/probe.h"

namespace kestrel {

/// The section of the environment: a row a variable, in its order. Entries without '=' are left
/// out.
class environment_probe : public probe_task {
 public:
  using probe_task::probe_task;
  bool run(FILE* fp) override;
};

}  // namespace kestrel
