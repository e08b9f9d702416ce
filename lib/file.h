// Files as this program opens them: streams that close themselves, and outputs that are created
// exclusively, never through a link, readable by their owner only.
#pragma once

#include <cstdio>
#include <memory>

namespace kestrel {

/// Closes a stream and drops the result: what was written is closed by `close_checked`.
struct file_closer {
  void operator()(FILE* file) const { std::fclose(file); }
};
/// A stream that is closed when its owner goes.
using file_ptr = std::unique_ptr<FILE, file_closer>;

/// Opens `path` for reading, "rb". Null on failure, with errno.
file_ptr open_for_reading(const char* path);
/// The same, for regular files only: a directory, FIFO, socket or device is refused (errno EISDIR
/// or EINVAL) without blocking. One on a mount that may hang is read by a worker, see
/// copy_remote_file: the stream is then that of a copy.
file_ptr open_regular_file(const char* path);
/// The same, asked by this process wherever the file stands.
file_ptr open_local_file(const char* path);
/// Removes what `path` names (never what a link points to), then creates it exclusively with mode
/// 0600. `mode` is "wb" or "wb+". Null on failure, with errno.
file_ptr create_output_file(const char* path, const char* mode);

/// Flushes; 0, or the reason for which a write on the stream failed now or earlier.
int write_failure(FILE* file);
/// Flushes and closes; true only when no write on the stream ever failed. False for null, too.
/// errno tells why not.
bool close_checked(file_ptr file);
bool close_checked(FILE* file);

}  // namespace kestrel
