// Creates a file under the first free one of its names, notes it for removal on a signal, hands out
// what was written through a copy of the descriptor, and moves or removes it.
#include "lib/temporary.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

#include "lib/misc.h"
#include "lib/private_folder.h"

namespace kestrel {

namespace {

constexpr int k_attempts = 1000;

/// The attempt's name: its number stands before the extension.
std::string numbered(const std::string& name, int attempt) {
  if (attempt == 0) return name;
  const size_t dot = name.rfind('.');
  const std::string number = "-" + std::to_string(attempt);
  return dot == std::string::npos ? name + number : name.substr(0, dot) + number + name.substr(dot);
}

/// A stream of its own on the open file.
file_ptr stream_on_copy(int descriptor, const char* mode) {
  const int copy = fcntl(descriptor, F_DUPFD_CLOEXEC, 0);
  if (copy < 0) return nullptr;
  FILE* stream = fdopen(copy, mode);
  if (stream == nullptr) close(copy);
  return file_ptr(stream);
}

}  // namespace

int create_under_free_name(noted_file& note, const std::string& first_name) {
  const bool is_bare = first_name.find('/') == std::string::npos;
  const std::string name = is_bare ? staged(first_name) : first_name;
  int descriptor = -1;
  for (int attempt = 0; attempt < k_attempts; ++attempt) {
    descriptor = note.create(numbered(name, attempt).c_str());
    if (descriptor >= 0 || errno != EEXIST) break;
  }
  return descriptor;
}

file_ptr temporary_file::create(const std::string& first_name) {
  remove();
  descriptor_ = create_under_free_name(note_, first_name);
  if (descriptor_ < 0) return nullptr;
  file_ptr stream = stream_on_copy(descriptor_, "wb");
  if (stream == nullptr) remove();
  return stream;
}

file_ptr temporary_file::read() const {
  if (lseek(descriptor_, 0, SEEK_SET) < 0) return nullptr;
  return stream_on_copy(descriptor_, "rb");
}

bool temporary_file::move_to(const char* path) {
  if (note_.is_there()) {
    if (rename(name(), path) == 0) {
      keep();
      return true;
    }
    if (errno != EXDEV) return false;
  }
  const file_ptr content = read();
  if (content == nullptr || !CopyFile(content.get(), path)) return false;
  remove();
  return true;
}

void temporary_file::keep() {
  note_.forget();
  close_descriptor();
}

void temporary_file::remove() {
  note_.remove();
  close_descriptor();
}

void temporary_file::close_descriptor() {
  const int errnum = errno;
  if (descriptor_ >= 0) close(descriptor_);
  descriptor_ = -1;
  errno = errnum;
}

}  // namespace kestrel
