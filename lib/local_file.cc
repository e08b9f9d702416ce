// Opening a regular file so that nothing blocks and no device is touched: what cannot be one is
// refused by its attributes.
#include "lib/local_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

namespace kestrel {

namespace {

file_ptr refuse(int descriptor, int error) {
  close(descriptor);
  errno = error;
  return nullptr;
}

/// Why such a file is not read, as errno; 0 for a regular one.
int refusal(const struct stat& status) {
  if (S_ISREG(status.st_mode)) return 0;
  return S_ISDIR(status.st_mode) ? EISDIR : EINVAL;
}

}  // namespace

file_ptr open_local_file(const char* path) {
  // Asked before opening, because some devices (tapes, watchdogs) act on being opened, and after,
  // because the name may have changed hands. O_NONBLOCK stays on: it means nothing to a file on a
  // disk, and some files of /proc would block for ever.
  struct stat status;
  if (stat(path, &status) != 0) return nullptr;
  if (errno = refusal(status); errno != 0) return nullptr;
  const int descriptor = open(path, O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
  if (descriptor < 0) return nullptr;
  if (fstat(descriptor, &status) != 0) return refuse(descriptor, errno);
  if (const int error = refusal(status); error != 0) return refuse(descriptor, error);
  return stream_on(descriptor, "rb");
}

file_ptr stream_on(int descriptor, const char* mode) {
  FILE* stream = fdopen(descriptor, mode);
  if (stream == nullptr) return refuse(descriptor, errno);
  return file_ptr(stream);
}

}  // namespace kestrel
