// A report stream in memory.
#pragma once

#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

#include "tests/lib/scratch.h"

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

/// What `write(FILE*)` puts into a report.
template <class Writer>
std::string written_by(Writer&& write) {
  report_capture report;
  write(report.stream());
  return report.text();
}

/// Markup lines end in CR LF.
inline std::string with_cr(std::string_view text) {
  std::string out;
  for (char c : text) out += c == '\n' ? std::string("\r\n") : std::string(1, c);
  return out;
}

}  // namespace kestrel
