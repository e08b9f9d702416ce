// See command_output.h.
#include "tools/ks2/command_output.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "tools/ks2/safe_output.h"

namespace kestrel::ks2 {

command_output::command_output(const char* input, std::string path, bool force)
    : path_(std::move(path)), status_(exit_whole) {
  if (is_same_file(AT_FDCWD, path_.c_str(), input)) {
    refuse(exit_usage, "is the input itself");
    return;
  }
  file_ = create_safely(path_.c_str(), force);
  if (file_ == nullptr) refuse(exit_damaged, creation_trouble(errno, force));
}

int command_output::finish() {
  if (file_ != nullptr && !close_checked(std::move(file_))) {
    refuse(exit_damaged, std::strerror(errno));
    unlink(path_.c_str());
  }
  return status_;
}

int command_output::refuse(int status, const char* reason) {
  complain(path_, reason);
  return status_ = status;
}

}  // namespace kestrel::ks2
