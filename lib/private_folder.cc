// The name of the folder is this process's own, set at its start and cleared at its end.
#include "lib/private_folder.h"

#include "lib/pathname.h"

namespace kestrel {

namespace {

std::string folder;

}  // namespace

const std::string& private_folder() { return folder; }

void set_private_folder(const std::string& path) { folder = path; }

bool is_staging() { return !folder.empty(); }

std::string folder_of(const std::string& path) { return path.substr(0, path.rfind('/') + 1); }

std::string staged(const std::string& path) {
  if (!is_staging()) return path;
  std::string made = folder;
  append_name(made, path.substr(folder_of(path).size()));
  return made;
}

}  // namespace kestrel
