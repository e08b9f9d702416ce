// Sweeps what other tools left in the folder "POSTBOX" beside the program into the gather file.
#pragma once

#include "gatherer/task.h"

namespace kestrel {

/// What the name of a file ends in tells how it is stored.
class postbox_task : public task {
 public:
  postbox_task(const char* name, int order, unsigned customers);

  /// False only when there is no postbox; the counts are in the status text.
  bool run(FILE* fp) override;
  /// Stores every file below the folder, markup files of this system into the report `fp`. Returns
  /// the number of files added.
  int add_from_postbox(const char* directory, FILE* fp);

 private:
  char status_[30] = "";
};

}  // namespace kestrel
