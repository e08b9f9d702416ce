// Paths of folders and files: joining names to them, and opening folders however long the path is.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace kestrel {

/// Appends a name to a path; the '/' between them is not doubled.
void append_name(std::string& path, std::string_view name);

/// The path of a walk through folders, as a stack of its components: going up restores the path
/// above without a copy of it. Paths may be of any length.
class PathName {
 public:
  /// Number of components, those of paths below the last `start` included.
  size_t depth() const { return parts_.size(); }
  /// Drops components until `depth` are left.
  void up_to(size_t depth);
  /// Adds a component to the path.
  void down(std::string_view name);
  /// Begins another path, as one component; the one so far comes back when it is dropped.
  void start(std::string_view path);

  /// The path, "" when there is none. Valid until the next change.
  std::string_view text() const;
  const char* c_str() const { return text().data(); }

  /// Opens the folder for reading, piece by piece when the path is longer than the kernel takes at
  /// once. A file descriptor that the caller closes, or -1 with errno.
  int open_directory() const;

 private:
  struct part {
    size_t start, end;  ///< where in `text_` the path up to this component stands
  };
  std::string text_;
  std::vector<part> parts_;
};

}  // namespace kestrel
