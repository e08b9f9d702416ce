// Temporary files. Several runs may share a folder and even a process id (containers, machines on a
// shared folder): a name that is taken is left alone, and what a run wrote it reads through the
// open file, never again by name.
#pragma once

#include <string>

#include "lib/cleanup.h"
#include "lib/file.h"

namespace kestrel {

/// Creates and notes a file under `first_name` or, where that is taken, the next free name
/// ("a.tmp", "a-1.tmp", ...). A name without a folder stands where this run makes its files
/// (lib/private_folder.h). The descriptor is the caller's; -1 on failure, with errno.
int create_under_free_name(noted_file& note, const std::string& first_name);

/// One temporary file: removed when the object goes or a signal ends the run.
class temporary_file {
 public:
  temporary_file() = default;
  ~temporary_file() { remove(); }

  /// Creates it under a free name and opens it for writing. Null on failure, with errno. One that
  /// was there before is removed.
  file_ptr create(const std::string& first_name);
  const char* name() const { return note_.path(); }  ///< "" when there is none
  /// What it holds, from its start. The stream that wrote it must be closed. Null with errno.
  file_ptr read() const;
  /// Gives it another name, replacing what has that; copied where it cannot be renamed. False with
  /// errno, the file is then where it was.
  bool move_to(const char* path);
  /// Removes the name only: the file lives as long as this object.
  void drop_name() { note_.remove(); }
  /// Leaves it where it is for good.
  void keep();
  void remove();

 private:
  void close_descriptor();

  noted_file note_;
  int descriptor_ = -1;
};

}  // namespace kestrel
