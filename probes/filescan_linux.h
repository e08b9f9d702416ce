// The walker of the file scan on Linux: directory streams, and stat relative to them.
#pragma once

#include <dirent.h>
#include <sys/types.h>

#include <cstdint>
#include <ctime>
#include <map>
#include <memory>
#include <set>

#include "lib/remote_files.h"
#include "probes/filescan.h"

namespace kestrel {

/// What `stat` tells of an entry, links followed.
struct file_attributes {
  time_t change_time = 0;  ///< of the inode
  time_t access_time = 0;
  time_t modification_time = 0;
  uint64_t size = 0;  ///< bytes
  bool is_directory = false;
  int permissions = 0;  ///< the lower 12 bits of `mode`
  dev_t device = 0;
  ino_t inode = 0;
  mode_t mode = 0;
  uid_t user = 0;
  gid_t group = 0;
};

/// What makes a file or folder the same under any name.
struct inode_key {
  dev_t device;
  ino_t inode;
};
/// Device first, then inode, both as signed 32-bit values.
struct inode_cmp {
  bool operator()(const inode_key& a, const inode_key& b) const;
};

/// Names of numeric ids, each looked up once.
class id_names {
 public:
  using lookup = std::string (*)(id_t id);
  explicit id_names(lookup function) : lookup_(function) {}
  /// "" for an unknown id. Valid until another id is looked up.
  const std::string& operator[](id_t id);

 private:
  lookup lookup_;
  std::map<id_t, std::string> known_;
};

/// The text of a time; the files of a folder often share one.
class time_text {
 public:
  /// Local time, "2006-08-15 14:42:24"; lives until the next call.
  const char* operator()(time_t when);

 private:
  std::optional<time_t> when_;
  std::string text_;
};

/// See `filescan`. What the kernel makes (proc, sysfs) is not walked into from another file system,
/// nor is a folder in which the walk is already. What
/// stands on a mount that may hang is read by a worker; a mount that does not answer is left out.
class filescan_linux : public filescan {
 public:
  void add_directory_to_scan(const char* path) override;
  void add_path_to_scan(const char* list) override;
  void set_filter(const char* list) override;
  void set_ignore_filter(const char* list) override;
  void set_perm_mask(int mask) override;
  void set_perm_check(int check) override;
  bool next() override;

  char* get_filename(char* buffer, int size) override;
  char* get_path(char* buffer, int size) override;
  char* get_full_pathname(char* buffer, int size) override;
  char* get_create_time(char* buffer, int size) override;
  char* get_last_access_time(char* buffer, int size) override;
  char* get_last_write_time(char* buffer, int size) override;
  char* get_file_size(char* buffer, int size) override;
  bool file_exists(const char* directory, const char* pattern) override;
  char* get_permissions(char* buffer, int size) override;
  char* get_user_id(char* buffer, int size) override;
  char* get_group_id(char* buffer, int size) override;

  bool add_if_directory() override;
  bool next_file() override;
  bool next_directory() override;

 private:
  static constexpr int k_all_permissions = 07777;
  struct stream_closer {
    void operator()(DIR* stream) const { closedir(stream); }
  };
  using directory_stream = std::unique_ptr<DIR, stream_closer>;
  /// A folder on the path that is being walked; one a component of `current_path_`.
  struct ancestor {
    inode_key key;
    bool named;
  };

  bool enter(const dentry& folder);
  int open_folder(const dentry& folder) const;
  bool open_local(const dentry& folder);
  bool open_remote(remote_mount& on);
  bool has_open_folder() const { return stream_ != nullptr || remote_ != nullptr; }
  bool read_entry(unsigned char& type);
  void close_folder();
  void add_folder();
  bool next_entry();
  bool read_file_data();
  bool read_attributes(unsigned char type);
  bool stat_entry(const char* name, unsigned char type);
  bool take_remote_entry();
  void take_attributes(const struct stat& status);
  remote_mount* leads_over(const char* name, unsigned char type) const;
  void settle_attributes();
  bool needs_attributes(const std::string& name, unsigned char type);
  bool name_passes(const std::string& name);
  bool is_restricted() const;
  bool is_on_own_path() const;
  bool is_kernel_tree() const;
  void trace_silent() const;
  std::string full_pathname() const;

  directory_stream stream_;
  directory_stream finished_;  ///< the folder read last: its subfolders are opened relative to it
  size_t finished_depth_ = 0;
  std::vector<ancestor> ancestors_;
  std::string name_;
  file_attributes attributes_;
  bool ruled_out_ = false;  ///< the name fails the filters, so `attributes_` were not read
  std::string unread_;      ///< the latest entry whose attributes were not read
  std::string folder_;      ///< path of the open local one, where mounts may hang
  std::set<std::string, std::less<>> remote_names_;  ///< entries of it at which they are
  std::string place_;               ///< of the current folder without links, when a worker found it
  std::string entry_place_;         ///< the same of the current entry, if it is a folder
  remote_mount* remote_ = nullptr;  ///< that the open folder stands on, when a worker reads it
  remote_mount* entry_on_ = nullptr;  ///< that the way to the current entry leads over
  remote_entry entry_;
  remote_files asked_{
      [this](const std::string& name, unsigned char type) { return needs_attributes(name, type); }};
  std::set<inode_key, inode_cmp> scanned_;  // Never filled, on purpose.
  int permission_mask_ = k_all_permissions;
  int permission_check_ = 0;
  std::optional<str_list> ignore_;
  time_text create_time_, access_time_, write_time_;
  id_names user_names_{&user_name};
  id_names group_names_{&group_name};

  static std::string user_name(id_t id);
  static std::string group_name(id_t id);
};

}  // namespace kestrel
