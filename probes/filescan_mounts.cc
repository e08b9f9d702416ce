// See filescan_mounts.h.
#include "probes/filescan_mounts.h"

#include <mntent.h>
#include <sys/stat.h>

#include "lib/file.h"
#include "lib/in_child.h"

namespace kestrel {

namespace {

constexpr const char* k_mount_table = "/proc/self/mounts";
constexpr size_t k_longest_entry = 65536;  // overlays have thousands of characters of options

struct folder_key {
  dev_t device;
  ino_t inode;
};

// In a child: the way to a mount point may itself lead over a server that is silent.
bool read_folder_key(const std::string& path, folder_key& key) {
  const auto read = [&path](folder_key& found) {
    struct stat status;
    if (stat(path.c_str(), &status) != 0) return false;
    found = {status.st_dev, status.st_ino};
    return true;
  };
  return read_in_child(read, k_server_patience, key);
}

}  // namespace

void silent_mounts::load() {
  is_loaded_ = true;
  const file_ptr table = open_regular_file(k_mount_table);
  if (table == nullptr) return;
  std::string text(k_longest_entry, '\0');
  mntent entry;
  while (getmntent_r(table.get(), &entry, text.data(), static_cast<int>(text.size())) != nullptr) {
    const std::string path = entry.mnt_dir;
    const size_t slash = path.rfind('/');
    if (!may_hang(entry.mnt_type) || slash == std::string::npos || slash + 1 == path.size()) {
      continue;
    }
    folder_key above;
    if (!read_folder_key(slash == 0 ? "/" : path.substr(0, slash), above)) continue;
    mounts_[{above.device, above.inode, path.substr(slash + 1)}].path = path;
  }
}

bool silent_mounts::hold(dev_t device, ino_t inode, const std::string& name) {
  if (!is_loaded_) load();
  if (mounts_.empty()) return false;
  const auto found = mounts_.find({device, inode, name});
  if (found == mounts_.end()) return false;
  mount& asked = found->second;
  if (!asked.is_asked) asked.is_silent = !is_answering(asked.path.c_str());
  asked.is_asked = true;
  return asked.is_silent;
}

}  // namespace kestrel
