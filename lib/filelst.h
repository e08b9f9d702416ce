// The files that a pattern with wildcards names.
#pragma once

#include <glob.h>

#include <cstddef>

namespace kestrel {

/// The paths that match a pattern of glob(7), in directory order.
class FileList {
 public:
  explicit FileList(const char* pattern);
  FileList(const FileList&) = delete;
  FileList& operator=(const FileList&) = delete;
  ~FileList();

  /// What `glob` answered: 0, GLOB_NOMATCH or another code.
  int result() const { return result_; }
  size_t size() const { return found_.gl_pathc; }
  /// `index` is below size(). The text lives as long as the object.
  const char* operator[](size_t index) const { return found_.gl_pathv[index]; }

 private:
  glob_t found_ = {};
  int result_;
};

}  // namespace kestrel
