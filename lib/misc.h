// Whole files in and out of memory.
#pragma once

#include <cstddef>
#include <cstdio>
#include <optional>
#include <string_view>
#include <vector>

namespace kestrel {

/// The longest file that is loaded; longer ones fail with errno EFBIG.
inline constexpr size_t k_max_file = 64u << 20;

/// Reads a regular file whole; nothing on failure, with errno. The second takes a wide path.
std::optional<std::vector<unsigned char>> LoadFile(const char* path);
std::optional<std::vector<unsigned char>> LoadFileW(const wchar_t* path);
/// Replaces a file (see `create_output_file`). False on failure, with errno; a file that could not
/// be written whole is removed.
bool SaveFile(const char* path, std::string_view data);
bool SaveFileW(const wchar_t* path, std::string_view data);
/// Reads or writes exactly `size` bytes of an open stream.
bool LoadData(FILE* in, void* data, size_t size);
bool SaveData(FILE* out, const void* data, size_t size);
/// Copies a regular file of any length, or the rest of a stream; `target` is replaced as by
/// `SaveFile`.
bool CopyFile(const char* source, const char* target);
bool CopyFile(FILE* in, const char* target);
/// New bytes are zero.
void ResizeByteBuffer(std::vector<unsigned char>& buffer, size_t size);

/// Appends the rest of `in` to `buffer`, to `k_max_file` bytes; false on a read error or a longer
/// file, with errno.
bool read_rest(FILE* in, std::vector<unsigned char>& buffer);

}  // namespace kestrel
