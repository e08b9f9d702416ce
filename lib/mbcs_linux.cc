// The locale's encoding, which on Linux is nearly always UTF-8: that case, and the "C" locale, go
// through the decoder of utf8.cc; every other encoding goes through the C library.
#include <langinfo.h>

#include <climits>
#include <cstdint>
#include <cstring>
#include <cwchar>

#include "lib/mbcs.h"

namespace kestrel {

namespace {

/// Looked up anew for each text: a probe switches the locale for a while.
bool locale_is_utf8() {
  const char* codeset = nl_langinfo(CODESET);
  return std::strcmp(codeset, "UTF-8") == 0 || std::strcmp(codeset, "ANSI_X3.4-1968") == 0;
}

void append_local_character(std::string& out, wchar_t c) {
  if (is_escaped_byte(c)) {
    out.push_back(static_cast<char>(c - 0xDC00));
    return;
  }
  char bytes[MB_LEN_MAX];
  std::mbstate_t state{};
  const size_t length = std::wcrtomb(bytes, c, &state);
  if (length != static_cast<size_t>(-1)) {
    out.append(bytes, length);
  } else {
    out.push_back(static_cast<uint32_t>(c) < 0x80 ? static_cast<char>(c) : '?');
  }
}

/// As `decode_utf8_character`, in the locale's encoding. A form that would not be written back as
/// the same bytes (some encodings have two for one character) counts as undecodable.
size_t decode_local_character(std::string_view text, wchar_t& c) {
  std::mbstate_t state{};
  size_t length = std::mbrtowc(&c, text.data(), text.size(), &state);
  if (length == static_cast<size_t>(-2)) return 0;
  if (length == 0) length = 1;  // a NUL
  if (length != static_cast<size_t>(-1)) {
    std::string again;
    append_local_character(again, c);
    if (again == text.substr(0, length)) return length;
  }
  c = escaped_byte(text[0]);
  return 1;
}

size_t append_local(std::string_view text, std::wstring& out) {
  while (!text.empty()) {
    wchar_t c;
    const size_t length = decode_local_character(text, c);
    if (length == 0) break;
    out.push_back(c);
    text.remove_prefix(length);
  }
  return text.size();
}

void append_escaped(std::string_view bytes, std::wstring& out) {
  for (char byte : bytes) out.push_back(escaped_byte(byte));
}

}  // namespace

std::wstring mbcs_to_wide(std::string_view text) {
  if (locale_is_utf8()) {
    if (ascii_prefix(text) == text.size()) return std::wstring(text.begin(), text.end());
    return utf8_to_wide(text);
  }
  std::wstring out;
  out.reserve(text.size());
  const size_t unfinished = append_local(text, out);
  append_escaped(text.substr(text.size() - unfinished), out);
  return out;
}

std::string wide_to_mbcs(std::wstring_view text) {
  if (locale_is_utf8()) return wide_to_utf8(text);
  std::string out;
  out.reserve(text.size());
  for (wchar_t c : text) append_local_character(out, c);
  return out;
}

void block_decoder::decode(std::string_view block, std::wstring& out) {
  pending_.append(block);
  const size_t unfinished =
      locale_is_utf8() ? append_utf8(pending_, out) : append_local(pending_, out);
  pending_.erase(0, pending_.size() - unfinished);
}

void block_decoder::finish(std::wstring& out) {
  append_escaped(pending_, out);
  pending_.clear();
}

size_t character_count(std::string_view text) {
  const size_t plain = locale_is_utf8() ? ascii_prefix(text) : 0;
  return plain == text.size() ? plain : plain + mbcs_to_wide(text.substr(plain)).size();
}

std::string_view first_characters(std::string_view text, size_t count) {
  if (text.size() <= count) return text;
  const bool utf8 = locale_is_utf8();
  size_t end = utf8 ? ascii_prefix(text.substr(0, count)) : 0;
  for (size_t taken = end; taken < count && end < text.size(); ++taken) {
    wchar_t c;
    const std::string_view rest = text.substr(end);
    const bool plain = utf8 && static_cast<unsigned char>(rest[0]) < 0x80;
    const size_t length = plain  ? 1
                          : utf8 ? decode_utf8_character(rest, c)
                                 : decode_local_character(rest, c);
    end += length == 0 ? 1 : length;  // the bytes of an unfinished character count one by one
  }
  return text.substr(0, end);
}

}  // namespace kestrel
