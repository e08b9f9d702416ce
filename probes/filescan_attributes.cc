// The attributes of the file scan's current entry, and their texts.
#include <dirent.h>
#include <fcntl.h>
#include <fnmatch.h>
#include <grp.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cinttypes>
#include <climits>
#include <cstring>

#include "lib/date.h"
#include "lib/debug.h"
#include "probes/filescan_linux.h"

namespace kestrel {
namespace {

constexpr size_t k_max_known_names = 4096;

char* copy_text(char* buffer, int size, std::string_view text) {
  if (size <= 0) return buffer;
  const auto room = static_cast<size_t>(size) - 1;
  if (text.size() > room) return copy_text(buffer, size, cut(text, room));
  memcpy(buffer, text.data(), text.size());
  buffer[text.size()] = '\0';
  return buffer;
}

}  // namespace

// --- reading --------------------------------------------------------------------------------

// An entry that cannot be examined, such as a broken link, keeps the attributes of the entry
// before. False for one on a mount that does not answer.
bool filescan_linux::read_attributes(unsigned char type) {
  if (remote_ != nullptr) return take_remote_entry();
  ruled_out_ = !needs_attributes(name_, type);
  if (ruled_out_) {
    unread_ = name_;
  } else if (stat_entry(name_.c_str(), type)) {
    unread_.clear();
  } else {
    const bool hung = errno == ETIMEDOUT;
    print_error("stat", errno);
    settle_attributes();
    return !hung;
  }
  return true;
}

bool filescan_linux::take_remote_entry() {
  entry_on_ = remote_;
  ruled_out_ = !entry_.is_read;
  if (entry_.is_read && entry_.reason != 0) print_error("stat", entry_.reason);
  if (entry_.has_status) take_attributes(entry_.status);
  return entry_.reason != ETIMEDOUT;
}

// The mount that may hang and that has to be asked for an entry of a local folder: what is mounted
// there, or what a link leads to.
remote_mount* filescan_linux::leads_over(const char* name, unsigned char type) const {
  if (folder_.empty()) return nullptr;
  if (remote_names_.count(std::string_view(name)) != 0) {
    std::string path = folder_;
    append_name(path, name);
    return remote_mounted_at(path);
  }
  if (type != DT_LNK && type != DT_UNKNOWN) return nullptr;
  char target[PATH_MAX];
  const ssize_t length = readlinkat(dirfd(stream_.get()), name, target, sizeof target);
  if (length <= 0) return nullptr;
  return remote_on_way({target, static_cast<size_t>(length)}, folder_);
}

bool filescan_linux::stat_entry(const char* name, unsigned char type) {
  struct stat status;
  entry_place_.clear();
  entry_on_ = leads_over(name, type);
  if (entry_on_ == nullptr) {
    if (fstatat(dirfd(stream_.get()), name, &status, 0) != 0) return false;
  } else {
    std::string path = folder_;
    append_name(path, name);
    if (!asked_.look_at(path, *entry_on_, status, entry_place_)) return false;
  }
  take_attributes(status);
  return true;
}

void filescan_linux::take_attributes(const struct stat& status) {
  attributes_ = {.change_time = status.st_ctime,
                 .access_time = status.st_atime,
                 .modification_time = status.st_mtime,
                 .size = static_cast<uint64_t>(status.st_size),
                 .is_directory = S_ISDIR(status.st_mode),
                 .permissions = static_cast<int>(status.st_mode & k_all_permissions),
                 .device = status.st_dev,
                 .inode = status.st_ino,
                 .mode = status.st_mode,
                 .user = status.st_uid,
                 .group = status.st_gid};
}

// Makes `attributes_` those of the latest entry, had all been read.
void filescan_linux::settle_attributes() {
  if (unread_.empty()) return;
  stat_entry(unread_.c_str(), DT_REG);
  unread_.clear();
}

// A file whose name fails the filters needs none. The debug log shows the permissions of all.
bool filescan_linux::needs_attributes(const std::string& name, unsigned char type) {
  if (type == DT_UNKNOWN || type == DT_DIR || type == DT_LNK || is_logging()) return true;
  return name_passes(name);
}

bool filescan_linux::name_passes(const std::string& name) {
  const auto matches = [&name](std::optional<str_list>& patterns) {
    const char* pattern = patterns->get_first();
    while (pattern != nullptr && fnmatch(pattern, name.c_str(), 0) != 0) {
      pattern = patterns->get_next();
    }
    return pattern != nullptr;
  };
  return (!filter_ || matches(filter_)) && !(ignore_ && matches(ignore_));
}

// --- names and times ------------------------------------------------------------------------

const std::string& id_names::operator[](id_t id) {
  auto place = known_.find(id);
  if (place != known_.end()) return place->second;
  if (known_.size() >= k_max_known_names) known_.clear();
  return known_.emplace(id, lookup_(id)).first->second;
}

std::string filescan_linux::user_name(id_t id) {
  const passwd* entry = getpwuid(id);
  return entry == nullptr ? "" : entry->pw_name;
}

std::string filescan_linux::group_name(id_t id) {
  const group* entry = getgrgid(id);
  return entry == nullptr ? "" : entry->gr_name;
}

const char* time_text::operator()(time_t when) {
  if (when_ == when) return text_.c_str();
  gathered_datetime value;
  std::tm local = {};
  if (localtime_r(&when, &local) != nullptr) value.setDate(&local);
  when_ = when;
  text_ = value.format();
  return text_.c_str();
}

// --- getters --------------------------------------------------------------------------------

std::string filescan_linux::full_pathname() const {
  std::string path(current_path_.text());
  append_name(path, name_);
  return path;
}

char* filescan_linux::get_filename(char* buffer, int size) {
  return copy_text(buffer, size, name_);
}

char* filescan_linux::get_path(char* buffer, int size) {
  return copy_text(buffer, size, current_path_.text());
}

char* filescan_linux::get_full_pathname(char* buffer, int size) {
  return copy_text(buffer, size, full_pathname());
}

char* filescan_linux::get_create_time(char* buffer, int size) {
  return copy_text(buffer, size, create_time_(attributes_.change_time));
}

char* filescan_linux::get_last_access_time(char* buffer, int size) {
  return copy_text(buffer, size, access_time_(attributes_.access_time));
}

char* filescan_linux::get_last_write_time(char* buffer, int size) {
  return copy_text(buffer, size, write_time_(attributes_.modification_time));
}

char* filescan_linux::get_file_size(char* buffer, int size) {
  return format_string(buffer, static_cast<size_t>(size), "%" PRIu64, attributes_.size);
}

char* filescan_linux::get_permissions(char* buffer, int size) {
  return format_string(buffer, static_cast<size_t>(size), "%04o",
                       static_cast<unsigned>(attributes_.permissions));
}

// The user's name is looked up with the group's id on purpose.
char* filescan_linux::get_user_id(char* buffer, int size) {
  return format_string(buffer, static_cast<size_t>(size), "%s (%d)",
                       user_names_[attributes_.group].c_str(), static_cast<int>(attributes_.user));
}

char* filescan_linux::get_group_id(char* buffer, int size) {
  return format_string(buffer, static_cast<size_t>(size), "%s (%d)",
                       group_names_[attributes_.group].c_str(),
                       static_cast<int>(attributes_.group));
}

}  // namespace kestrel
