// The tasks that create or reopen the gather file, describe the machine in it, and close it.
#pragma once

#include "gatherer/task.h"

namespace kestrel {

/// Registered three times: order 9 creates, 10 reopens, 26 closes.
class gthfile_task : public task {
 public:
  gthfile_task(const char* name, int order);
  bool test() override;
  bool run(FILE* fp) override;

 private:
  bool create();
  static bool create_container();
  bool reopen();
  bool close();
};

}  // namespace kestrel
