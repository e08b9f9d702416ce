// Opens the output of a command, a new file or standard output, refuses to write over the input,
// and leaves the file there only when it is whole.
#include "tools/ks2/command_output.h"

#include <fcntl.h>

#include <cerrno>
#include <cstring>

namespace kestrel::ks2 {

command_output::command_output(const char* input, std::string path, bool force)
    : path_(std::move(path)), is_standard_(path_ == "-") {
  if (is_standard_) return;
  if (is_same_file(AT_FDCWD, path_.c_str(), input)) {
    refuse(exit_usage, "is the input itself");
  } else if (!file_.create(AT_FDCWD, path_, force)) {
    refuse(exit_damaged, creation_trouble(errno));
  }
}

int command_output::finish() {
  if (status_ != exit_whole) return status_;
  if (is_standard_) return status_ = finish_output(status_);
  return file_.finish() ? status_ : refuse(exit_damaged, std::strerror(errno));
}

int command_output::refuse(int status, const char* reason) {
  complain(path_, reason);
  return status_ = status;
}

}  // namespace kestrel::ks2
