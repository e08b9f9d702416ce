// See filescan_mounts.h.
#include "probes/filescan_mounts.h"

#include <fcntl.h>
#include <linux/openat2.h>
#include <mntent.h>
#include <sys/statvfs.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>

#include "lib/file.h"
#include "lib/in_child.h"

namespace kestrel {

namespace {

constexpr const char* k_mount_table = "/proc/self/mounts";
constexpr size_t k_longest_entry = 65536;  // overlays have thousands of characters of options

/// Whether the way from `folder` to what `name` names may lead into another file system. Kernels
/// before 5.6 cannot tell.
bool may_lead_elsewhere(int folder, const char* name) {
  open_how how = {};
  how.flags = O_PATH | O_CLOEXEC;
  how.resolve = RESOLVE_NO_XDEV;
  const long opened = syscall(SYS_openat2, folder, name, &how, sizeof how);
  if (opened >= 0) close(static_cast<int>(opened));
  return opened < 0 && (errno == EXDEV || errno == ENOSYS || errno == EPERM);
}

}  // namespace

/// Of a server that was silent, errno is ETIMEDOUT.
template <class Answer, class Read>
bool silent_mounts::ask(Read&& read, Answer& answer, int kept) {
  errno = ETIMEDOUT;
  if (silent_ == k_most_silent) return false;
  const bool is_answered = read_in_child(read, k_server_patience, answer, kept);
  if (!is_answered && errno == ETIMEDOUT) ++silent_;
  return is_answered;
}

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
    // The way to a mount point may itself lead over a server that is silent.
    const std::string above = slash == 0 ? "/" : path.substr(0, slash);
    struct stat folder;
    const auto read = [&above](struct stat& found) { return stat(above.c_str(), &found) == 0; };
    if (!ask(read, folder)) continue;
    mounts_[{folder.st_dev, folder.st_ino, path.substr(slash + 1)}].path = path;
  }
}

bool silent_mounts::hold(dev_t device, ino_t inode, const std::string& name) {
  if (!is_loaded_) load();
  if (mounts_.empty()) return false;
  const auto found = mounts_.find({device, inode, name});
  if (found == mounts_.end()) return false;
  mount& asked = found->second;
  if (!asked.is_asked) {
    bool is_there;
    const auto look = [&asked](bool& answer) {
      struct stat status;
      struct statvfs usage;
      answer = stat(asked.path.c_str(), &status) == 0 && statvfs(asked.path.c_str(), &usage) == 0;
      return true;
    };
    asked.is_silent = !ask(look, is_there) && errno == ETIMEDOUT;
    asked.is_asked = true;
  }
  return asked.is_silent;
}

bool silent_mounts::look_at(int folder, const char* name, struct stat& status) {
  if (mounts_.empty() || !may_lead_elsewhere(folder, name)) {
    return fstatat(folder, name, &status, 0) == 0;
  }
  struct answer {
    struct stat status;
    int reason;  ///< errno
  } found;
  const auto look = [folder, name](answer& seen) {
    seen.reason = fstatat(folder, name, &seen.status, 0) == 0 ? 0 : errno;
    return true;
  };
  if (!ask(look, found, folder)) {
    // Without a process to ask, the walk goes on as on a machine without servers.
    return errno != ETIMEDOUT && fstatat(folder, name, &status, 0) == 0;
  }
  status = found.status;
  errno = found.reason;
  return found.reason == 0;
}

}  // namespace kestrel
