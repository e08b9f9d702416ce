// The one file that a command makes of its input.
#pragma once

#include <cstdio>
#include <string>

#include "lib/file.h"
#include "tools/ks2/command.h"

namespace kestrel::ks2 {

/// Created when it is constructed, complete when it is finished; every failure is told to the user.
class command_output {
 public:
  /// Creates `path`, mode 0600, never through a link. It must not be the input; one that exists is
  /// only replaced when `force` is on.
  command_output(const char* input, std::string path, bool force);

  /// exit_whole while the file is open; otherwise the status to end with.
  int status() const { return status_; }
  FILE* get() const { return file_.get(); }
  /// Closes the file, and removes it when something could not be written. Returns the status.
  int finish();

 private:
  int refuse(int status, const char* reason);

  std::string path_;
  file_ptr file_;
  int status_;
};

}  // namespace kestrel::ks2
