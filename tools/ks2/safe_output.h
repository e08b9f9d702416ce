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

/// A file on its way: it has its name only when it is complete. A signal that ends the run removes
/// it; only where the process is killed it stays, as
/// ".ks2-" and numbers.
class new_file {
 public:
  new_file() = default;
  new_file(const new_file&) = delete;
  new_file& operator=(const new_file&) = delete;
  /// What is not complete is removed.
  ~new_file();

  /// Creates `name`, mode 0600, never through a link, in the folder of this descriptor, which must
  /// stay open (or AT_FDCWD). With `force` an existing file, or a link to one, is replaced when the
  /// new one is complete; a device or a folder never is. False with errno: EEXIST for a file,
  /// EINVAL for another thing that is in the way.
  bool create(int folder, const std::string& name, bool force);
  FILE* get() const { return file_.get(); }
  /// Closes the file and gives it its name. False with errno.
  bool finish();

 private:
  bool take_name() const;

  int folder_ = -1;
  bool is_replacing_ = false;
  std::string name_;
  std::string created_;  ///< the name that it has until it is complete
  file_ptr file_;
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

  /// For `new_file` and `is_same_file`; -1 until it is open.
  int descriptor() const { return descriptor_; }

 private:
  int descriptor_ = -1;
  std::string path_;
};

/// Whether `name` in the folder of this descriptor (or AT_FDCWD) and `path` are one file.
bool is_same_file(int folder, const char* name, const char* path);
/// What to tell the user of a file that could not be created, from the errno of it.
const char* creation_trouble(int error);

}  // namespace kestrel::ks2
