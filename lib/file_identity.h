// Which file a name or a descriptor stands for. Names change hands where several runs share a
// folder; what a run created it knows again by device and inode.
#pragma once

#include <sys/stat.h>

namespace kestrel {

/// One file of this machine, whatever it is called.
struct file_identity {
  dev_t device = 0;
  ino_t inode = 0;  ///< 0 while it stands for none

  /// That of an open file; none on failure, with errno.
  static file_identity of(int descriptor) {
    struct stat status = {};
    return fstat(descriptor, &status) == 0 ? file_identity{status.st_dev, status.st_ino}
                                           : file_identity{};
  }
  /// Whether the name itself, not what a link leads to, is this file now. Async-signal-safe.
  bool is_at(const char* path) const {
    struct stat status = {};
    return inode != 0 && lstat(path, &status) == 0 && status.st_dev == device &&
           status.st_ino == inode;
  }
};

}  // namespace kestrel
