// Paths of folders and files: see pathname.h.
#include "lib/pathname.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <climits>

namespace kestrel {

void append_name(std::string& path, std::string_view name) {
  if (path.empty() || path.back() != '/') path += '/';
  path += name;
}

void PathName::up_to(size_t depth) {
  if (depth >= parts_.size()) return;
  parts_.resize(depth);
  text_.resize(parts_.empty() ? 0 : parts_.back().end);
}

void PathName::down(std::string_view name) {
  const size_t start = parts_.empty() ? 0 : parts_.back().start;
  append_name(text_, name);
  parts_.push_back({start, text_.size()});
}

void PathName::start(std::string_view path) {
  const size_t start = text_.size();
  text_ += path;
  parts_.push_back({start, text_.size()});
}

std::string_view PathName::text() const {
  return std::string_view(text_).substr(parts_.empty() ? text_.size() : parts_.back().start);
}

int PathName::open_directory() const {
  constexpr int k_read = O_RDONLY | O_DIRECTORY | O_NONBLOCK | O_CLOEXEC;
  std::string_view rest = text();
  int folder = AT_FDCWD;
  while (rest.size() >= PATH_MAX) {
    const size_t slash = rest.rfind('/', PATH_MAX - 2);
    const std::string piece(rest.substr(0, slash == std::string_view::npos ? 0 : slash + 1));
    rest.remove_prefix(piece.size());
    const int next = openat(folder, piece.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC);
    const int reason = errno;
    if (folder != AT_FDCWD) close(folder);
    errno = reason;
    if (next < 0) return -1;
    folder = next;
  }
  const int opened = openat(folder, std::string(rest).c_str(), k_read);
  const int reason = errno;
  if (folder != AT_FDCWD) close(folder);
  errno = reason;
  return opened;
}

}  // namespace kestrel
