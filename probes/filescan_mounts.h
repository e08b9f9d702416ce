// Mounted file systems that a walk must not touch.
#pragma once

#include <sys/stat.h>
#include <sys/types.h>

#include <map>
#include <string>
#include <tuple>

namespace kestrel {

/// The mounts whose server does not answer: who looks at one hangs, and no signal ends that. Those
/// that may be so are asked in a child, when they are met. When a few did not answer, the others
/// are taken for silent without being asked, so that the walk goes on.
class silent_mounts {
 public:
  /// Whether `name` in the folder of that device and inode is the mount point of one.
  bool hold(dev_t device, ino_t inode, const std::string& name);
  /// `fstatat`, links followed, that does not hang where a link leads to one: false with errno
  /// ETIMEDOUT then.
  bool look_at(int folder, const char* name, struct stat& status);

 private:
  static constexpr int k_most_silent = 4;
  struct mount {
    std::string path;
    bool is_asked = false;
    bool is_silent = false;
  };
  template <class Answer, class Read>
  bool ask(Read&& read, Answer& answer, int kept = -1);
  void load();

  bool is_loaded_ = false;
  int silent_ = 0;                                                 ///< that did not answer so far
  std::map<std::tuple<dev_t, ino_t, std::string>, mount> mounts_;  ///< that may be silent
};

}  // namespace kestrel
