// Whole files, in and out of memory and from one to another, in blocks. Inputs are regular files
// only, an output that could not be written whole is removed.
#include "lib/misc.h"

#include <cerrno>

#include "lib/file.h"
#include "lib/interface.h"
#include "lib/mbcs.h"

namespace kestrel {

namespace {

bool remove_unfinished(const char* path) {
  const int error = errno;
  std::remove(path);
  errno = error;
  return false;
}

bool copy_stream(FILE* in, FILE* out) {
  char block[16384];
  for (size_t count; (count = std::fread(block, 1, sizeof block, in)) > 0;) {
    if (!SaveData(out, block, count)) return false;
  }
  return std::ferror(in) == 0;
}

}  // namespace

bool read_rest(FILE* in, std::vector<unsigned char>& buffer) {
  unsigned char block[16384];
  for (size_t count; (count = std::fread(block, 1, sizeof block, in)) > 0;) {
    if (count > k_max_file - buffer.size()) {
      errno = EFBIG;
      return false;
    }
    buffer.insert(buffer.end(), block, block + count);
  }
  return std::ferror(in) == 0;
}

std::optional<std::vector<unsigned char>> LoadFile(const char* path) {
  const file_ptr in = open_regular_file(path);
  std::vector<unsigned char> buffer;
  if (!in || !read_rest(in.get(), buffer)) return std::nullopt;
  return buffer;
}

std::optional<std::vector<unsigned char>> LoadFileW(const wchar_t* path) {
  return LoadFile(wide_to_mbcs(path).c_str());
}

bool SaveFile(const char* path, std::string_view data) {
  file_ptr out = create_output_file(path, "wb");
  if (!out) return false;
  const bool written = SaveData(out.get(), data.data(), data.size());
  return (close_checked(std::move(out)) && written) || remove_unfinished(path);
}

bool SaveFileW(const wchar_t* path, std::string_view data) {
  return SaveFile(wide_to_mbcs(path).c_str(), data);
}

bool LoadData(FILE* in, void* data, size_t size) { return std::fread(data, 1, size, in) == size; }

bool SaveData(FILE* out, const void* data, size_t size) {
  return std::fwrite(data, 1, size, out) == size;
}

bool CopyFile(const char* source, const char* target) {
  const file_ptr in = open_regular_file(source);
  return in && CopyFile(in.get(), target);
}

bool CopyFile(FILE* in, const char* target) {
  file_ptr out = create_output_file(target, "wb");
  if (!out) return false;
  const bool copied = copy_stream(in, out.get());
  return (close_checked(std::move(out)) && copied) || remove_unfinished(target);
}

void ResizeByteBuffer(std::vector<unsigned char>& buffer, size_t size) { buffer.resize(size); }

}  // namespace kestrel
