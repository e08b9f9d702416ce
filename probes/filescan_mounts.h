// Mount points that a walk must not touch.
#pragma once

#include <sys/types.h>

#include <map>
#include <string>
#include <tuple>

namespace kestrel {

/// The mount points whose server does not answer: who looks at one hangs, and no signal ends that.
class silent_mounts {
 public:
  /// Whether `name` in the folder of that device and inode is one. The mount table is read at the
  /// first call; every server is asked once.
  bool hold(dev_t device, ino_t inode, const std::string& name);

 private:
  struct mount {
    std::string path;
    bool is_asked = false;
    bool is_silent = false;
  };
  void load();

  bool is_loaded_ = false;
  std::map<std::tuple<dev_t, ino_t, std::string>, mount> mounts_;  ///< that may be silent
};

}  // namespace kestrel
