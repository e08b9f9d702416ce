// Streams that close themselves, and the opening of a file by this process itself, for files on the
// machine's own disks and for the workers that ask mounts which may hang. All else opens through
// lib/file.h.
#pragma once

#include <cstddef>
#include <cstdio>
#include <memory>

namespace kestrel {

/// Closes a stream and drops the result: what was written is closed by `close_checked`.
struct file_closer {
  void operator()(FILE* file) const { std::fclose(file); }
};
/// A stream that is closed when its owner goes.
using file_ptr = std::unique_ptr<FILE, file_closer>;

/// The longest file that is loaded or copied whole; longer ones fail with errno EFBIG.
inline constexpr size_t k_max_file = 64u << 20;

/// Opens `path` for reading, "rb", regular files only: a directory, FIFO, socket or device is
/// refused (errno EISDIR or EINVAL) without blocking. Null on failure, with errno.
file_ptr open_local_file(const char* path);

/// The stream takes the descriptor over; on failure the descriptor is closed. Null with errno.
file_ptr stream_on(int descriptor, const char* mode);

}  // namespace kestrel
