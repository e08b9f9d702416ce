// The report describes the run that made it: program version, surroundings, arguments and probes.
#pragma once

#include <cstdio>

#include "gatherer/probe.h"

namespace kestrel {

/// The section with the three tables below.
class gatherer_probe : public legacy_probe {
 public:
  using legacy_probe::legacy_probe;
  bool run(FILE* fp) override;
};

/// With a null stream the first two write the same facts into the debug log.
void get_gatherer_information(FILE* fp);
/// The vector of the first call that passes one is remembered, not copied; later calls pass none.
void get_gatherer_parameters(FILE* fp, int argc, const wchar_t** argv);
/// All tasks, in run order.
void get_gatherer_probes_list(FILE* fp);

}  // namespace kestrel
