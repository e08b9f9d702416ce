// The one file that a command makes of its input.
#pragma once

#include <cstdio>
#include <string>

#include "tools/ks2/command.h"
#include "tools/ks2/safe_output.h"

namespace kestrel::ks2 {

/// Created when it is constructed, in its place when it is finished; every failure is told to the
/// user.
class command_output {
 public:
  /// `path` must not be the input; "-" is standard output. See `new_file` for `force`.
  command_output(const char* input, std::string path, bool force);

  /// exit_whole while there is something to write to; otherwise the status to end with.
  int status() const { return status_; }
  FILE* get() const { return is_standard_ ? stdout : file_.get(); }
  /// Completes the file, or removes it when something could not be written. Returns the status.
  int finish();

 private:
  int refuse(int status, const char* reason);

  std::string path_;
  bool is_standard_;
  new_file file_;
  int status_ = exit_whole;
};

}  // namespace kestrel::ks2
