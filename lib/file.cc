// Opening and closing. What stands on a mount that may hang is read by a worker; the rest, and all
// that is written, by this process. Every descriptor is close-on-exec: the commands that probes run
// inherit none.
#include "lib/file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "lib/mounts.h"
#include "lib/remote_files.h"

namespace kestrel {

namespace {

constexpr int k_attempts = 8;

}  // namespace

file_ptr open_for_reading(const char* path) { return file_ptr(std::fopen(path, "rbe")); }

file_ptr open_regular_file(const char* path) {
  remote_mount* on = remote_on_way(path);
  return on == nullptr ? open_local_file(path) : copy_remote_file(path, *on);
}

bool is_accessible(const char* path, int mode) {
  errno = ask_path(path, [mode](const char* at) { return access(at, mode) == 0 ? 0 : errno; });
  return errno == 0;
}

file_ptr create_output_file(const char* path, const char* mode) {
  const int access = std::strchr(mode, '+') != nullptr ? O_RDWR : O_WRONLY;
  int descriptor = -1;
  // Another run may create the file between the two calls: the last one has the name.
  for (int attempt = 0; descriptor < 0 && attempt < k_attempts; ++attempt) {
    if (unlink(path) != 0 && errno != ENOENT) return nullptr;
    descriptor = open(path, access | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
    if (descriptor < 0 && errno != EEXIST) break;
  }
  if (descriptor < 0) return nullptr;
  return stream_on(descriptor, mode);
}

namespace {

// Why an earlier write on the stream failed: the C library does not keep the reason, but what was
// in the way (a full disk, a quota) usually still is, and tells it to one more write.
int reason_of_failure(FILE* file) {
  std::clearerr(file);
  errno = 0;
  if (std::fflush(file) == 0 && std::fputc('\n', file) != EOF) std::fflush(file);
  return errno != 0 ? errno : EIO;
}

}  // namespace

int write_failure(FILE* file) {
  if (std::fflush(file) != 0) return errno;
  return std::ferror(file) != 0 ? reason_of_failure(file) : 0;
}

bool close_checked(FILE* file) {
  if (file == nullptr) {
    errno = EBADF;
    return false;
  }
  int error = write_failure(file);
  if (std::fclose(file) != 0 && error == 0) error = errno;
  if (error != 0) errno = error;
  return error == 0;
}

bool close_checked(file_ptr file) { return close_checked(file.release()); }

}  // namespace kestrel
