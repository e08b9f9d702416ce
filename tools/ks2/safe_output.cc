// See safe_output.h.
#include "tools/ks2/safe_output.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

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

file_ptr create_at(int folder, const char* name, bool force) {
  if (force && unlinkat(folder, name, 0) != 0 && errno != ENOENT) return nullptr;
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

file_ptr create_safely(const char* path, bool force) { return create_at(AT_FDCWD, path, force); }

}  // namespace kestrel::ks2
