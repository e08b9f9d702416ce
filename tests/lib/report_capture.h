// A report stream in memory, and files to feed a report from.
#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

namespace kestrel {

/// Takes what a report writes.
class report_capture {
 public:
  report_capture() : stream_(open_memstream(&bytes_, &size_)) {}
  report_capture(const report_capture&) = delete;
  report_capture& operator=(const report_capture&) = delete;
  ~report_capture() {
    std::fclose(stream_);
    std::free(bytes_);
  }
  FILE* stream() { return stream_; }
  std::string text() {
    std::fflush(stream_);
    return {bytes_, size_};
  }

 private:
  char* bytes_ = nullptr;
  size_t size_ = 0;
  FILE* stream_;
};

/// A file in the temporary folder, gone with its owner.
class sample_file {
 public:
  explicit sample_file(std::string_view content) {
    const int descriptor = mkstemp(path_.data());
    EXPECT_EQ(write(descriptor, content.data(), content.size()),
              static_cast<ssize_t>(content.size()));
    close(descriptor);
  }
  sample_file(const sample_file&) = delete;
  sample_file& operator=(const sample_file&) = delete;
  ~sample_file() { unlink(path_.c_str()); }
  const char* path() const { return path_.c_str(); }

 private:
  std::string path_ = testing::TempDir() + "kestrel-sample-XXXXXX";
};

/// Markup lines end in CR LF.
inline std::string with_cr(std::string_view text) {
  std::string out;
  for (char c : text) out += c == '\n' ? std::string("\r\n") : std::string(1, c);
  return out;
}

}  // namespace kestrel
