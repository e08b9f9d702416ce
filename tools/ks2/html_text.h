// Text on its way into a page: the one place where something that came from outside becomes markup.
// Everything but `markup` escapes what markup would act on, and shows control characters, hidden
// characters and bytes that are no UTF-8 as U+FFFD.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>

namespace kestrel::ks2 {

class html_writer {
 public:
  /// `out` is not owned; errors stay in it.
  explicit html_writer(FILE* out) : out_(out) { buffer_.reserve(k_buffer_size); }
  html_writer(const html_writer&) = delete;
  html_writer& operator=(const html_writer&) = delete;
  ~html_writer() { flush(); }

  /// As it is; only for texts of this program.
  void markup(std::string_view text) { put(text); }
  /// Digits in groups of three: "50,000".
  void number(uint64_t number);
  /// Without groups, for names of elements.
  void index(size_t index) { put(std::to_string(index)); }
  /// Characters on one line.
  void text(std::string_view characters) { escape(characters, false, false); }
  /// Text as it stands in a report, its entities resolved; on one line.
  void raw(std::string_view text) { escape(text, true, false); }
  /// The same, with its line ends and tabs.
  void raw_lines(std::string_view text) { escape(text, true, true); }
  /// Characters with line ends and tabs.
  void lines(std::string_view characters) { escape(characters, false, true); }

 private:
  static constexpr size_t k_buffer_size = 64 * 1024;

  void put(std::string_view text);
  void flush();
  void escape(std::string_view text, bool has_entities, bool keeps_lines);
  size_t put_special(std::string_view text, bool has_entities, bool keeps_lines);

  FILE* out_;
  std::string buffer_;
};

/// "117.7 MiB"; "512 bytes" below 1024.
std::string human_bytes(uint64_t bytes);

}  // namespace kestrel::ks2
