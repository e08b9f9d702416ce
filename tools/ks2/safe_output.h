// Files that are written for the user, under names that strangers chose.
#pragma once

#include <cstddef>
#include <set>
#include <string>
#include <string_view>

#include "lib/file.h"

namespace kestrel::ks2 {

inline constexpr size_t k_longest_file_name = 200;  // bytes

/// The last part of a path as a name that is safe in any folder: no part of a path, no leading dot
/// or dash, no control or hidden characters, valid UTF-8, at most 200 bytes. Empty when nothing is
/// left.
std::string safe_file_name(std::string_view path);

/// Gives every name out once; a second time with a number behind it.
class name_giver {
 public:
  /// Only who says so gets this name.
  void reserve(const std::string& name) { reserved_.insert(name); }
  std::string unused_name(const std::string& wanted, bool may_be_reserved);

 private:
  std::set<std::string> reserved_;
  std::set<std::string> used_;
};

/// A folder to write into, held open, so that nobody can put a link in its place.
class output_folder {
 public:
  output_folder() = default;
  output_folder(const output_folder&) = delete;
  output_folder& operator=(const output_folder&) = delete;
  ~output_folder();

  /// Opens the folder, which is made when it does not exist. False with errno.
  bool open(const std::string& path);
  /// Makes a new folder: `name`, or `name` with a number behind it. False with errno.
  bool create_new(const std::string& name);
  const std::string& path() const { return path_; }

  /// Creates a file, mode 0600, never through a link. A file or link that exists is only replaced
  /// when `force` is on, anything else (a device, a folder) never. Null with errno, EEXIST for what
  /// is in the way.
  file_ptr create(const std::string& name, bool force) const;
  void remove(const std::string& name) const;
  /// Whether the name in this folder is the file of that path.
  bool is_file(const std::string& name, const char* path) const;

 private:
  int descriptor_ = -1;
  std::string path_;
};

/// The same for a path that the user gave.
file_ptr create_safely(const char* path, bool force);
/// Whether `name` in the folder of this descriptor (or AT_FDCWD) and `path` are one file.
bool is_same_file(int folder, const char* name, const char* path);
/// What to tell the user of a file that could not be created, with the errno of it.
const char* creation_trouble(int error, bool force);

}  // namespace kestrel::ks2
