// The file scan: walks folder trees and yields the files that pass its filters, one at a time.
// This is the interface that the probes use; filescan_linux.h has the walker of this system.
#pragma once

#include <cstdio>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "lib/mounts.h"
#include "lib/pathname.h"
#include "lib/utilstr.h"

namespace kestrel {

/// A folder that waits for its turn. It stands below the folder whose path has `depth` components,
/// unless it was named by the caller: then `name` is a path of its own.
struct dentry {
  std::string name;
  size_t depth;
  bool named;
  remote_mount* on = nullptr;  ///< the mount to be asked with care that the way leads over
  std::string place = {};      ///< its path without links, where `name` leads over such a mount
};

/// Walks folders depth-first, the one added last first, in the order in which the system lists
/// their entries. The walk goes as deep as the folders do, beyond the 4096 characters that the
/// probes have room for. Every getter writes into the caller's buffer of `size` bytes, cut to it,
/// and returns the buffer.
class filescan {
 public:
  filescan() = default;
  filescan(const filescan&) = delete;
  filescan& operator=(const filescan&) = delete;
  virtual ~filescan() = default;

  /// One folder; "%LocalDrives%" stands for "/". At most 4096 bytes of the path are kept.
  virtual void add_directory_to_scan(const char* path) = 0;
  /// Folders separated by ';'.
  virtual void add_path_to_scan(const char* list) = 0;
  /// Patterns of fnmatch(3) for file names, separated by ';'. They replace earlier ones; null
  /// changes nothing.
  virtual void set_filter(const char* list) = 0;
  /// The same for names that do not pass.
  virtual void set_ignore_filter(const char* list) = 0;
  /// At least one of these permission bits must be set; negative is 07777.
  virtual void set_perm_mask(int mask) = 0;
  /// The permission bits must be exactly these; 0 or negative is no such rule.
  virtual void set_perm_check(int check) = 0;
  /// Goes on to the next file that passes. False at the end.
  virtual bool next() = 0;

  /// The file's name without its folder.
  virtual char* get_filename(char* buffer, int size) = 0;
  /// The folder of the file, as it was named and walked down to.
  virtual char* get_path(char* buffer, int size) = 0;
  virtual char* get_full_pathname(char* buffer, int size) = 0;
  /// Local times, "2006-08-15 14:42:24". The first is that of the last change of the inode.
  virtual char* get_create_time(char* buffer, int size) = 0;
  virtual char* get_last_access_time(char* buffer, int size) = 0;
  virtual char* get_last_write_time(char* buffer, int size) = 0;
  /// In bytes.
  virtual char* get_file_size(char* buffer, int size) = 0;
  /// Whether folder `directory` holds a match for the wildcard `pattern`.
  virtual bool file_exists(const char* directory, const char* pattern) = 0;
  /// Four octal digits.
  virtual char* get_permissions(char* buffer, int size) = 0;
  /// "name (number)"; the name is empty for an unknown number.
  virtual char* get_user_id(char* buffer, int size) = 0;
  virtual char* get_group_id(char* buffer, int size) = 0;

  /// Puts a folder on top of the waiting ones: it is the next to be walked.
  virtual void add_dentry(dentry entry);
  /// Whether the current entry is a folder; if so, it is added to the waiting ones.
  virtual bool add_if_directory() = 0;
  /// Reads the next entry of the open folder.
  virtual bool next_file() = 0;
  /// Opens the next waiting folder that has an entry, and reads its first one.
  virtual bool next_directory() = 0;

  unsigned directories_scanned = 0;  ///< those that could not be opened included
  unsigned files_scanned = 0;        ///< entries read, but for the first one of each folder
  unsigned files_found = 0;          ///< files that passed

 protected:
  PathName current_path_;
  std::vector<dentry> pending_;
  std::optional<str_list> filter_;
};

/// A walker for this system.
std::unique_ptr<filescan> make_filescan();

/// Whether a name and its permission bits pass. `filter` and `ignore` may be null.
bool match_filters(const char* name, int permissions, str_list* filter, str_list* ignore, int mask,
                   int check);

/// Scans, and writes the section "FILESCAN". Texts may be null when not given; mask and check are
/// octal; date, size and version choose columns. Returns 1.
int get_filescan_info(FILE* out, const char* path, const char* filter, const char* ignore,
                      const char* mask, const char* check, const char* version, bool date,
                      bool size);
/// Writes the machine identity that heads a separate result.
void get_vpd(FILE* out);

/// An octal number as scanf's "%o" reads it, clamped; -1 for null and for a text without one.
int parse_octal(const char* text);

}  // namespace kestrel
