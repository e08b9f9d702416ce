// Copying what a stream still holds into a file. (Whole files in and out of memory: see
// interface.h.)
#pragma once

#include <cstddef>
#include <cstdio>

namespace kestrel {

/// Writes exactly `size` bytes to an open stream.
bool SaveData(FILE* out, const void* data, size_t size);
/// Copies the rest of a stream; `target` is replaced (see `create_output_file`). False on failure,
/// with errno; a file that could not be written whole is removed.
bool CopyFile(FILE* in, const char* target);

}  // namespace kestrel
