// Blocks in and out of the gather file, and how its file is made and opened: created anew under its
// name, never through a link, opened only when it is a regular file.
#include "gatherer/gthfile_io.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "lib/debug.h"

namespace kestrel::gth_io {

namespace {
constexpr int k_attempts = 8;
}

int fail(int code, int errnum) {
  errno = errnum;
  return code;
}

int report(const char* what, int code) {
  const int errnum = errno;
  print_error(what, errnum);
  return fail(code, errnum);
}

bool read_at(FILE* file, int64_t offset, std::span<unsigned char> bytes) {
  return fseeko(file, offset, SEEK_SET) == 0 &&
         std::fread(bytes.data(), bytes.size(), 1, file) == 1;
}

bool write_at(FILE* file, int64_t offset, byte_span bytes) {
  return fseeko(file, offset, SEEK_SET) == 0 &&
         std::fwrite(bytes.data(), bytes.size(), 1, file) == 1 && std::fflush(file) == 0;
}

int64_t size_of(FILE* file) {
  struct stat status;
  return fstat(fileno(file), &status) == 0 ? status.st_size : -1;
}

int64_t length_of(FILE* stream) {
  if (fseeko(stream, 0, SEEK_END) != 0) return -1;
  const int64_t length = ftello(stream);
  return fseeko(stream, 0, SEEK_SET) == 0 ? length : -1;
}

int write_block(FILE* file, byte_span bytes) {
  return std::fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size() ? gth_ok
                                                                          : gth_cannot_write;
}

int copy_bytes(FILE* from, FILE* to, uint64_t size) {
  return read_blocks(from, size, [to](byte_span bytes) { return write_block(to, bytes); });
}

file_ptr unbuffered_stream(int descriptor) {
  FILE* file = fdopen(descriptor, "rb+");
  if (file != nullptr) std::setvbuf(file, nullptr, _IONBF, 0);
  return file_ptr(file);
}

file_ptr open_container(const char* path) {
  const int descriptor = open(path, O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
  if (descriptor < 0) return nullptr;
  struct stat status;
  int errnum = fstat(descriptor, &status) != 0 ? errno : S_ISREG(status.st_mode) ? 0 : EINVAL;
  file_ptr file = errnum == 0 ? unbuffered_stream(descriptor) : nullptr;
  if (file == nullptr) {
    if (errnum == 0) errnum = errno;
    close(descriptor);
    errno = errnum;
  }
  return file;
}

int create_container(const char* path, noted_file& note) {
  for (int attempt = 1;; ++attempt) {
    if (unlink(path) != 0 && errno != ENOENT) return -1;
    const int descriptor = note.create(path);
    // Another run may have created it in between: the last one has the name.
    if (descriptor >= 0 || errno != EEXIST || attempt == k_attempts) return descriptor;
  }
}

}  // namespace kestrel::gth_io
