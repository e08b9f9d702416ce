// The attributes of the file scan's current entry, and their texts.
#include <fcntl.h>
#include <fnmatch.h>
#include <grp.h>
#include <pwd.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cinttypes>
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
// before. False for a link to a server that does not answer.
bool filescan_linux::read_attributes(unsigned char type) {
  ruled_out_ = !needs_attributes(type);
  if (ruled_out_) {
    unread_ = name_;
  } else if (stat_entry(name_.c_str())) {
    unread_.clear();
  } else {
    const bool is_silent = errno == ETIMEDOUT;
    print_error("stat", errno);
    settle_attributes();
    return !is_silent;
  }
  return true;
}

bool filescan_linux::stat_entry(const char* name) {
  struct stat status;
  if (!silent_mounts_.look_at(dirfd(stream_.get()), name, status)) return false;
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
  return true;
}

// Makes `attributes_` those of the latest entry, had all been read.
void filescan_linux::settle_attributes() {
  if (unread_.empty()) return;
  stat_entry(unread_.c_str());
  unread_.clear();
}

// A file whose name fails the filters needs none. The debug log shows the permissions of all.
bool filescan_linux::needs_attributes(unsigned char type) {
  if (type == DT_UNKNOWN || type == DT_DIR || type == DT_LNK || is_logging()) return true;
  return name_passes();
}

bool filescan_linux::name_passes() {
  const auto matches = [this](std::optional<str_list>& patterns) {
    const char* pattern = patterns->get_first();
    while (pattern != nullptr && fnmatch(pattern, name_.c_str(), 0) != 0) {
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
