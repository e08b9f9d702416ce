// Files as this program opens them: inputs so that nothing hangs, wherever they stand, and outputs
// exclusively, never through a link, readable by their owner only.
#pragma once

#include <cstdio>

#include "lib/local_file.h"

namespace kestrel {

/// Opens `path` for reading, "rb". Null on failure, with errno.
file_ptr open_for_reading(const char* path);
/// The same, for regular files only: a directory, FIFO, socket or device is refused (errno EISDIR
/// or EINVAL) without blocking. One on a mount that may hang is read by a worker, see
/// copy_remote_file: the stream is then that of a copy.
file_ptr open_regular_file(const char* path);
/// access(2) that does not hang: false with errno ETIMEDOUT for what stands on a silent mount.
bool is_accessible(const char* path, int mode);
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
