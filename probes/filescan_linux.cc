// The walk of the file scan on Linux: reads folders by directory streams or, where they may hang,
// through lib/remote_files.h. The attributes of files are in filescan_attributes.cc.
#include "probes/filescan_linux.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "lib/ascii.h"
#include "lib/debug.h"
#include "lib/filelst.h"
#include "lib/stop.h"

namespace kestrel {
namespace {

constexpr size_t k_max_path = 4096;

bool is_dot_or_dotdot(std::string_view name) { return name == "." || name == ".."; }

void trace_scanned_already(const std::string& name) {
  printd("filescan: not scanning %s, as it has been scanned already\n", name.c_str());
}

}  // namespace

std::unique_ptr<filescan> make_filescan() { return std::make_unique<filescan_linux>(); }

bool inode_cmp::operator()(const inode_key& a, const inode_key& b) const {
  const auto device_a = static_cast<int32_t>(a.device), device_b = static_cast<int32_t>(b.device);
  if (device_a != device_b) return device_a < device_b;
  return static_cast<int32_t>(a.inode) < static_cast<int32_t>(b.inode);
}

// --- what to scan ---------------------------------------------------------------------------

void filescan_linux::add_directory_to_scan(const char* path) {
  printd("filescan: add %s\n", path);
  if (scanned_.count({attributes_.device, attributes_.inode}) != 0) {
    trace_scanned_already(path);
    return;
  }
  if (same_word(path, "%LocalDrives%")) {
    add_directory_to_scan("/");
    return;
  }
  add_dentry({std::string(path, strnlen(path, k_max_path)), current_path_.depth(), true});
}

void filescan_linux::add_path_to_scan(const char* list) {
  printd("filescan: scanpath = '%s'\n", list);
  str_list paths(list, ';');
  for (const char* path = paths.get_first(); path != nullptr; path = paths.get_next()) {
    add_directory_to_scan(path);
  }
  printd("filescan: done adding paths\n");
}

void filescan_linux::set_filter(const char* list) {
  if (list != nullptr) filter_.emplace(list, ';');
}

void filescan_linux::set_ignore_filter(const char* list) {
  if (list != nullptr) ignore_.emplace(list, ';');
}

void filescan_linux::set_perm_mask(int mask) {
  permission_mask_ = mask < 0 ? k_all_permissions : mask;
}

void filescan_linux::set_perm_check(int check) { permission_check_ = check < 0 ? 0 : check; }

// --- the walk -------------------------------------------------------------------------------

bool filescan_linux::next() {
  while (!is_stopping() && next_entry()) {
    if (ruled_out_ || add_if_directory()) continue;
    if (is_restricted() &&
        !match_filters(name_.c_str(), attributes_.permissions, filter_ ? &*filter_ : nullptr,
                       ignore_ ? &*ignore_ : nullptr, permission_mask_, permission_check_)) {
      continue;
    }
    ++files_found;
    return true;
  }
  return false;
}

bool filescan_linux::next_entry() {
  if (has_open_folder() && next_file()) return true;
  return next_directory();
}

bool filescan_linux::is_restricted() const {
  return filter_ || ignore_ || permission_mask_ != k_all_permissions || permission_check_ != 0;
}

bool filescan_linux::next_file() {
  printd("filescan: next_file\n");
  if (read_file_data()) {
    ++files_scanned;
    if (is_logging()) printd("filescan: got file: %s\n", full_pathname().c_str());
    return true;
  }
  if (errno != 0) print_error("filescan: read_file_data", errno);
  close_folder();
  return false;
}

void filescan_linux::close_folder() {
  if (remote_ == nullptr) settle_attributes();
  remote_ = nullptr;
  finished_ = std::move(stream_);
  finished_depth_ = current_path_.depth();
}

bool filescan_linux::next_directory() {
  printd("filescan: next_directory\n");
  bool found = false;
  while (!found && !pending_.empty()) {
    const dentry folder = std::move(pending_.back());
    pending_.pop_back();
    found = enter(folder);
  }
  finished_.reset();
  if (!found) {
    current_path_.up_to(0);
    ancestors_.clear();
  }
  printd("filescan: returning from next_directory with %s\n", found ? "success" : "failure");
  return found;
}

// Makes the folder the current one; false when it cannot be opened or has no entry.
bool filescan_linux::enter(const dentry& folder) {
  current_path_.up_to(folder.depth);
  ancestors_.resize(folder.depth);
  if (folder.named) {
    current_path_.start(folder.name);
  } else {
    current_path_.down(folder.name);
  }
  ancestors_.push_back({{}, folder.named});
  printd("filescan: scanning %s (%d)\n", current_path_.c_str(),
         static_cast<int>(directories_scanned));
  ++directories_scanned;

  place_ = folder.place;
  remote_mount* on = folder.named ? remote_on_way(current_path_.text()) : folder.on;
  const bool is_open = on != nullptr && (is_silent(*on) || asked_.has_worker())
                           ? open_remote(*on)
                           : open_local(folder);
  if (!is_open) {
    if (errno != 0) print_error(current_path_.c_str(), errno);
    return false;
  }
  if (read_file_data()) return true;
  printd("empty directory %s 0x%x\n", current_path_.c_str(),
         stream_ == nullptr ? 0u : static_cast<unsigned>(dirfd(stream_.get())));
  stream_.reset();
  remote_ = nullptr;
  return false;
}

bool filescan_linux::open_local(const dentry& folder) {
  errno = 0;
  const int opened = open_folder(folder);
  stream_.reset(opened < 0 ? nullptr : fdopendir(opened));
  if (stream_ == nullptr) {
    if (opened >= 0) close(opened);
    return false;
  }
  struct stat status;
  if (fstat(opened, &status) == 0) ancestors_.back().key = {status.st_dev, status.st_ino};
  if (has_remote_mounts()) {
    folder_ = path_of_folder(opened);
    remote_names_ = remote_names_in(folder_);
  }
  return true;
}

bool filescan_linux::open_remote(remote_mount& on) {
  struct stat status;
  const std::string path = place_.empty() ? std::string(current_path_.text()) : place_;
  if (!asked_.list(path, on, status, place_)) return false;
  ancestors_.back().key = {status.st_dev, status.st_ino};
  remote_ = &on;
  return true;
}

int filescan_linux::open_folder(const dentry& folder) const {
  if (finished_ == nullptr || folder.named || folder.depth != finished_depth_) {
    if (folder.place.empty()) return current_path_.open_directory();
    PathName place;
    place.start(folder.place);
    return place.open_directory();
  }
  return openat(dirfd(finished_.get()), folder.name.c_str(),
                O_RDONLY | O_DIRECTORY | O_NONBLOCK | O_CLOEXEC);
}

// Reads the next entry but "." and ".."; false with errno 0 at the end of the folder.
bool filescan_linux::read_file_data() {
  unsigned char type = DT_UNKNOWN;
  while (read_entry(type)) {
    printd("filescan: fdata.filename: %s\n", name_.c_str());
    if (!is_dot_or_dotdot(name_)) {
      if (!read_attributes(type)) {
        trace_silent();
        continue;
      }
      printd("I'm fine with: %s (%d)\n", name_.c_str(), attributes_.is_directory);
      return true;
    }
    printd("filescan: got . or ..\n");
    printd("filescan: read_file_data again\n");
  }
  return false;
}

bool filescan_linux::read_entry(unsigned char& type) {
  errno = 0;
  if (remote_ != nullptr) {
    entry_ = {};
    const bool is_read = asked_.next(entry_);
    entry_place_ = entry_.place;
    if (!entry_.is_read && entry_.has_status) take_attributes(entry_.status);
    name_ = entry_.name;
    type = entry_.type;
    return is_read;
  }
  const dirent* entry = readdir(stream_.get());
  if (entry == nullptr) return false;
  name_ = entry->d_name;
  type = entry->d_type;
  return true;
}

bool filescan_linux::add_if_directory() {
  if (scanned_.count({attributes_.device, attributes_.inode}) != 0) {
    trace_scanned_already(name_);
    return false;
  }
  if (!attributes_.is_directory) return false;
  if (is_on_own_path()) {
    trace_scanned_already(name_);
  } else if (is_kernel_tree()) {
    printd("filescan: not scanning %s, as it is made by the kernel\n", name_.c_str());
  } else {
    add_folder();
  }
  return true;
}

// Below a link over a mount that may hang, folders are known by their place: once they are found,
// they are there whether or not that mount still answers.
void filescan_linux::add_folder() {
  remote_mount* on = has_remote_mounts() ? remote_of_device(attributes_.device) : nullptr;
  std::string place = entry_place_;
  if (place.empty() && !place_.empty()) append_name(place = place_, name_);
  if (on == nullptr) on = place.empty() ? entry_on_ : remote_holding(place);
  add_dentry({name_, current_path_.depth(), false, on, std::move(place)});
}

// Two links to "." in one folder would otherwise lead through 2^40 folders.
bool filescan_linux::is_on_own_path() const {
  for (size_t i = ancestors_.size(); i-- > 0;) {
    const ancestor& above = ancestors_[i];
    if (above.key.device == attributes_.device && above.key.inode == attributes_.inode) return true;
    if (above.named) break;
  }
  return false;
}

// Whether the current entry leads from another file system into proc or sysfs, which have no end.
bool filescan_linux::is_kernel_tree() const {
  if (remote_ != nullptr) return entry_.is_kernel_made;
  if (attributes_.device == ancestors_.back().key.device) return false;
  if (entry_on_ == nullptr) return is_made_by_kernel(dirfd(stream_.get()), name_.c_str());
  return !entry_place_.empty() && remote_holding(entry_place_) == nullptr &&
         is_made_by_kernel(AT_FDCWD, entry_place_.c_str());
}

void filescan_linux::trace_silent() const {
  printd("filescan: not scanning %s, as its server does not answer\n", name_.c_str());
}

bool filescan_linux::file_exists(const char* directory, const char* pattern) {
  std::string wanted = directory;
  wanted.append("/").append(pattern);
  return ask_path(directory, [&wanted](const char*) {
           const FileList found(wanted.c_str());
           printd("filescan: glob returned %i, with gl_pathc: %i\n", found.result(),
                  static_cast<int>(found.size()));
           return found.size() != 0 ? 0 : ENOENT;
         }) == 0;
}

}  // namespace kestrel
