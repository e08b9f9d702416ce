// Files that go into the report whole.
#pragma once

#include <sys/stat.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <limits>
#include <string>

#include "lib/file.h"

namespace kestrel {

/// A file that is read no further than the size it had when it was opened: a report that takes
/// itself in, by a link, would never end. Files of /proc, which tell no size, and streams of the
/// caller are read to their end.
class bounded_file {
 public:
  /// Opens a regular file. On failure `is_open` is false and errno tells why.
  explicit bounded_file(const char* path) : owned_(open_regular_file(path)), file_(owned_.get()) {
    struct stat status;
    if (file_ != nullptr && fstat(fileno(file_), &status) == 0 && status.st_size > 0) {
      left_ = static_cast<uint64_t>(status.st_size);
    }
  }
  /// A stream that stays the caller's.
  explicit bounded_file(FILE* stream) : file_(stream) {}

  bool is_open() const { return file_ != nullptr; }

  /// The next bytes of an open file: how many, fewer than `size` only at its end or on an error.
  size_t read(char* bytes, size_t size) {
    size = static_cast<size_t>(std::min<uint64_t>(size, left_));
    const size_t length = std::fread(bytes, 1, size, file_);
    left_ = length < size ? 0 : left_ - length;
    return length;
  }

  /// Appends up to `size` bytes, 4 at most; false when not even one was left.
  bool append(std::string& text, size_t size) {
    char bytes[4];
    const size_t length = read(bytes, std::min(size, sizeof bytes));
    text.append(bytes, length);
    return length > 0;
  }

 private:
  file_ptr owned_;
  FILE* file_ = nullptr;
  uint64_t left_ = std::numeric_limits<uint64_t>::max();
};

}  // namespace kestrel
