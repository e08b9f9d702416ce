// Reads a folder once and answers from its names. One that cannot be read, or shows nothing, rules
// no name out; one that does not exist rules out all.
#include "lib/folder_listing.h"

#include <dirent.h>

#include <cerrno>
#include <memory>

#include "lib/debug.h"

namespace kestrel {

folder_listing::folder_listing(const char* path) {
  struct closer {
    void operator()(DIR* folder) const { closedir(folder); }
  };
  const std::unique_ptr<DIR, closer> folder(opendir(path));
  if (folder == nullptr) {
    is_known_ = errno == ENOENT;
    if (!is_known_) print_error(path, errno);
    return;
  }
  errno = 0;
  while (const dirent* entry = readdir(folder.get())) {
    const std::string_view name = entry->d_name;
    if (name != "." && name != "..") names_.emplace(name);
  }
  is_known_ = errno == 0 && !names_.empty();
}

bool folder_listing::may_have(std::string_view name) const {
  return !is_known_ || names_.find(name) != names_.end();
}

}  // namespace kestrel
