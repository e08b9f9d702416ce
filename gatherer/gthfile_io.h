// What the container's code reads and writes through: whole blocks at offsets, and containers as
// unbuffered streams. Failures leave the reason in errno.
#pragma once

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <span>

#include "gatherer/gthfile_code.h"
#include "gatherer/gthformat.h"
#include "lib/cleanup.h"
#include "lib/file.h"

namespace kestrel::gth_io {

/// Answers `code`, with `errnum` in errno; the second with errno as it is, and logs it with `what`.
int fail(int code, int errnum);
int report(const char* what, int code);

/// All of `bytes`, or false.
bool read_at(FILE* file, int64_t offset, std::span<unsigned char> bytes);
bool write_at(FILE* file, int64_t offset, byte_span bytes);
int write_block(FILE* file, byte_span bytes);  ///< where the stream stands; a gthfile_code
/// The next `size` bytes; a gthfile_code, gth_cannot_read when there are fewer.
int copy_bytes(FILE* from, FILE* to, uint64_t size);

int64_t size_of(FILE* file);  ///< -1 on failure
/// The same of a stream that need not be a file; it stands at its start then.
int64_t length_of(FILE* stream);

/// "rb+". The stream takes the descriptor over, but for a failure.
file_ptr unbuffered_stream(int descriptor);
/// "rb+", regular files only, no links. Null on failure.
file_ptr open_container(const char* path);
/// Creates the file anew and notes it. The descriptor, or -1. For the container that has its name
/// from the start, which no program calls for.
int create_container(const char* path, noted_file& note);

/// Hands the next `size` bytes, block by block, to `take`, which answers a code. Fewer bytes end as
/// gth_cannot_read.
template <typename taker>
int read_blocks(FILE* file, uint64_t size, taker take) {
  std::array<unsigned char, 16384> bytes;
  while (size > 0) {
    const size_t wanted = static_cast<size_t>(std::min<uint64_t>(size, bytes.size()));
    const size_t count = std::fread(bytes.data(), 1, wanted, file);
    if (count > 0) {
      const int code = take(byte_span(bytes.data(), count));
      if (code != gth_ok) return code;
    }
    if (count < wanted) return fail(gth_cannot_read, std::ferror(file) != 0 ? errno : 0);
    size -= count;
  }
  return gth_ok;
}

}  // namespace kestrel::gth_io
