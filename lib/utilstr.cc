// See utilstr.h. Letters and white space are those of ASCII whatever the locale is: ids, file names
// and reports must not change with the language of the machine.
#include "lib/utilstr.h"

#include <algorithm>
#include <charconv>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <limits>

#include "lib/ascii.h"
#include "lib/interface.h"

namespace kestrel {

namespace {

bool is_continuation(char c) { return (static_cast<unsigned char>(c) & 0xC0) == 0x80; }

std::string_view skip_white_space(std::string_view text) {
  text.remove_prefix(std::min(text.find_first_not_of(k_white_space), text.size()));
  return text;
}

int64_t with_sign(uint64_t magnitude, bool negative) {
  constexpr uint64_t k_largest = std::numeric_limits<int64_t>::max();
  if (!negative) return static_cast<int64_t>(std::min(magnitude, k_largest));
  if (magnitude > k_largest) return std::numeric_limits<int64_t>::min();
  return -static_cast<int64_t>(magnitude);
}

/// Base 0 lets the text choose: 0x for 16, 0 for 8, else 10.
bool scan_number(std::string_view& text, int64_t& value, int base) {
  std::string_view rest = skip_white_space(text);
  const bool negative = !rest.empty() && rest[0] == '-';
  if (!rest.empty() && (negative || rest[0] == '+')) rest.remove_prefix(1);
  if (base == 0) {
    base = !rest.empty() && rest[0] == '0' ? 8 : 10;
    if (rest.size() > 2 && rest[0] == '0' && ascii_capital(rest[1]) == 'X' &&
        is_ascii_hex_digit(rest[2])) {
      base = 16;
      rest.remove_prefix(2);
    }
  }
  uint64_t magnitude = std::numeric_limits<uint64_t>::max();  // when it does not fit
  const auto read = std::from_chars(rest.data(), rest.data() + rest.size(), magnitude, base);
  if (read.ec == std::errc::invalid_argument) return false;
  value = with_sign(magnitude, negative);
  text = rest.substr(static_cast<size_t>(read.ptr - rest.data()));
  return true;
}

}  // namespace

void convert_to_uppercase(char* text) {
  for (; *text != '\0'; ++text) *text = ascii_capital(*text);
}

void convert_to_uppercase(std::string& text) {
  for (char& c : text) c = ascii_capital(c);
}

void filter_alphanumeric(std::string& text, char replacement) {
  for (char& c : text) {
    if (!is_ascii_letter(c) && !is_ascii_digit(c)) c = replacement;
  }
}

void filter_filename(std::wstring& text, wchar_t replacement) {
  for (wchar_t& c : text) {
    const bool is_control = static_cast<uint32_t>(c) < 32;
    if (is_control || std::wstring_view(L"\"*/<>?\\|").find(c) != std::wstring_view::npos) {
      c = replacement;
    }
  }
}

void filter_printable_ascii(std::string& text, char replacement) {
  for (char& c : text) {
    if (c < 32 || c > 126) c = replacement;
  }
}

void trim_string(std::string& text, const char* extra) {
  const std::string unwanted = std::string(k_white_space) + extra;
  text.erase(text.find_last_not_of(unwanted) + 1);
  text.erase(0, std::min(text.find_first_not_of(unwanted), text.size()));
}

std::string_view trim_whitespace(std::string_view text) {
  text = text.substr(0, text.find_last_not_of(k_white_space) + 1);
  return skip_white_space(text);
}

void trim_whitespace(std::string& text) { trim_string(text, ""); }

std::string_view skip_blanks(std::string_view text) {
  text.remove_prefix(std::min(text.find_first_not_of(" \t"), text.size()));
  return text;
}

std::string_view next_word(std::string_view& text) {
  text = skip_white_space(text);
  const std::string_view word = text.substr(0, text.find_first_of(k_white_space));
  text = skip_white_space(text.substr(word.size()));
  return word;
}

std::string_view next_field(std::string_view& text, char separator) {
  const std::string_view field = text.substr(0, text.find(separator));
  text.remove_prefix(std::min(field.size() + 1, text.size()));
  return field;
}

std::string cut(std::string_view text, size_t count) {
  if (text.size() <= count) return std::string(text);
  size_t end = count;
  while (end > 0 && count - end < 3 && is_continuation(text[end])) --end;
  if (is_continuation(text[end])) end = count;  // not UTF-8: nothing to keep whole
  return std::string(text.substr(0, end));
}

bool scan_integer(std::string_view& text, int64_t& value) { return scan_number(text, value, 0); }

bool scan_decimal(std::string_view& text, int64_t& value) { return scan_number(text, value, 10); }

int to_int(int64_t value) {
  using limits = std::numeric_limits<int>;
  return static_cast<int>(std::clamp<int64_t>(value, limits::min(), limits::max()));
}

char* append_string(char* destination, size_t size, const char* source) {
  const size_t used = strnlen(destination, size);
  if (used < size) format_string(destination + used, size - used, "%s", source);
  return destination;
}

char* format_string(char* destination, size_t size, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(destination, size, format, arguments);
  va_end(arguments);
  return destination;
}

std::string format_text(const char* format, ...) {
  va_list arguments, again;
  va_start(arguments, format);
  va_copy(again, arguments);
  const int length = std::vsnprintf(nullptr, 0, format, arguments);
  std::string text(length > 0 ? static_cast<size_t>(length) : 0, '\0');
  if (length > 0) std::vsnprintf(text.data(), text.size() + 1, format, again);
  va_end(again);
  va_end(arguments);
  return text;
}

void remove_filename_from_path(char* path, size_t size) {
  const std::string_view whole(path, strnlen(path, size));
  const size_t separator = whole.rfind('/');
  if (separator == std::string_view::npos) return;
  if (separator + 1 < whole.size()) path[separator + 1] = '\0';
}

uint16_t string_checksum(std::string_view text) {
  unsigned sum = 0;
  for (char c : text) sum += static_cast<unsigned>(static_cast<signed char>(c));
  return static_cast<uint16_t>(sum);
}

uint16_t wide_string_checksum(std::wstring_view text) {
  unsigned sum = 0;
  for (wchar_t c : text) sum += static_cast<unsigned>(c);
  return static_cast<uint16_t>(sum);
}

const unsigned char* FindSequence(const void* buffer, int length, const void* pattern,
                                  int pattern_length) {
  if (buffer == nullptr || pattern == nullptr) return nullptr;
  if (pattern_length < 1 || length < pattern_length) return nullptr;
  const auto* bytes = static_cast<const unsigned char*>(buffer);
  const auto* wanted = static_cast<const unsigned char*>(pattern);
  int matched = 0;
  for (int i = 0; i < length; ++i) {
    matched = bytes[i] == wanted[matched] ? matched + 1 : 0;
    if (matched == pattern_length) return bytes + i + 1 - pattern_length;
  }
  return nullptr;
}

}  // namespace kestrel
