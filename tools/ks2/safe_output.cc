// See safe_output.h.
#include "tools/ks2/safe_output.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "lib/mbcs.h"
#include "lib/utilstr.h"
#include "tools/ks2/shown_text.h"

namespace kestrel::ks2 {

namespace {

constexpr int k_most_numbers = 10'000;

std::string numbered(const std::string& name, int number) {
  const std::string suffix = "." + std::to_string(number);
  return cut(name, k_longest_file_name - suffix.size()) + suffix;
}

/// A file, or a link, which goes without what it points to; no device, pipe or folder.
bool is_replaceable(int folder, const char* name) {
  struct stat status;
  return fstatat(folder, name, &status, AT_SYMLINK_NOFOLLOW) == 0 &&
         (S_ISREG(status.st_mode) || S_ISLNK(status.st_mode));
}

file_ptr create_at(int folder, const char* name, bool force) {
  if (force && is_replaceable(folder, name) && unlinkat(folder, name, 0) != 0) return nullptr;
  const int descriptor =
      openat(folder, name, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
  if (descriptor < 0) return nullptr;
  FILE* const file = fdopen(descriptor, "wb");
  if (file == nullptr) close(descriptor);
  return file_ptr(file);
}

}  // namespace

std::string safe_file_name(std::string_view path) {
  path.remove_prefix(path.find_last_of("/\\") + 1);  // npos + 1 is 0
  std::string name;
  for_each_character(path, [&name](wchar_t c) {
    const bool is_bad = is_unsafe(c) || c == 0xFFFD || c == L':' || c == L'*' || c == L'?' ||
                        c == L'"' || c == L'<' || c == L'>' || c == L'|';
    char bytes[4];
    name.append(bytes, static_cast<size_t>(widechar_to_utf8bytes(is_bad ? L'_' : c, bytes)));
  });
  name = cut(name, k_longest_file_name);
  if (!name.empty() && (name[0] == '.' || name[0] == '-' || name[0] == '~')) name[0] = '_';
  return name;
}

std::string name_giver::unused_name(const std::string& wanted, bool may_be_reserved) {
  std::string name = wanted;
  for (int number = 2;; ++number) {
    const bool is_free = may_be_reserved || reserved_.count(name) == 0;
    if (is_free && used_.insert(name).second) return name;
    name = numbered(wanted, number);
  }
}

output_folder::~output_folder() {
  if (descriptor_ >= 0) close(descriptor_);
}

bool output_folder::open(const std::string& path) {
  if (mkdir(path.c_str(), 0700) != 0 && errno != EEXIST) return false;
  descriptor_ = ::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  path_ = path;
  return descriptor_ >= 0;
}

bool output_folder::create_new(const std::string& name) {
  path_ = name;
  for (int number = 2; mkdir(path_.c_str(), 0700) != 0; ++number) {
    if (errno != EEXIST || number > k_most_numbers) return false;
    path_ = numbered(name, number);
  }
  descriptor_ = ::open(path_.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
  return descriptor_ >= 0;
}

file_ptr output_folder::create(const std::string& name, bool force) const {
  return create_at(descriptor_, name.c_str(), force);
}

void output_folder::remove(const std::string& name) const {
  unlinkat(descriptor_, name.c_str(), 0);
}

bool output_folder::is_file(const std::string& name, const char* path) const {
  return is_same_file(descriptor_, name.c_str(), path);
}

file_ptr create_safely(const char* path, bool force) { return create_at(AT_FDCWD, path, force); }

bool is_same_file(int folder, const char* name, const char* path) {
  struct stat a, b;
  return fstatat(folder, name, &a, 0) == 0 && stat(path, &b) == 0 && a.st_dev == b.st_dev &&
         a.st_ino == b.st_ino;
}

const char* creation_trouble(int error, bool force) {
  if (error != EEXIST) return std::strerror(error);
  return force ? "is no regular file" : "exists; --force replaces it";
}

}  // namespace kestrel::ks2
