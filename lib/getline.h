// Lines of text files, of /proc and of command output, read one way everywhere.
#pragma once

#include <cerrno>
#include <cstdio>
#include <string>
#include <string_view>

#include "lib/debug.h"

namespace kestrel {

/// The longest line that is kept; the rest of a longer one is read and dropped.
inline constexpr size_t k_max_line = 1u << 20;

/// Reads one line, its newline included when it has one. False at the end of the stream.
bool read_line(FILE* in, std::string& line);

/// Reads one line as the parsers take it: without its last character, which is the newline, and
/// without what follows a NUL. A last line without a newline loses a character of its text, on
/// purpose. False at the end of the stream, with errno, which is 0 when nothing failed.
bool read_cut_line(FILE* in, std::string& line);

/// Reads one line as wide text, undecodable bytes kept (see mbcs.h), what follows a NUL left out.
/// False at the end. For properties; no program calls it.
bool get_wide_line(FILE* in, std::wstring& line);

/// Cuts the newline that ends a line, if it has one.
inline std::string_view without_newline(std::string_view line) {
  if (!line.empty() && line.back() == '\n') line.remove_suffix(1);
  return line;
}

/// Hands every line of `in`, cut as by read_cut_line, to `handle(std::string&)` after tracing it as
/// "module: line". The end of the stream is reported as `reader` ("module: getline" when null) with
/// errno.
template <class Handler>
void for_each_line(FILE* in, const char* module, Handler&& handle, const char* reader = nullptr) {
  std::string line;
  while (read_cut_line(in, line)) {
    printd("%s: %s\n", module, line.c_str());
    handle(line);
  }
  print_error(reader != nullptr ? reader : (std::string(module) + ": getline").c_str(), errno);
}

}  // namespace kestrel
