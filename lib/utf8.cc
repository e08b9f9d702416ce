// UTF-8 by the standard: shortest forms only, no surrogates, nothing above U+10FFFF. Every byte
// outside such a form is kept as one escaped character, so that the text can be written back.
#include <cstdint>
#include <cstring>

#include "lib/mbcs.h"

namespace kestrel {

namespace {

constexpr wchar_t k_replacement = 0xFFFD;

/// What may follow a lead byte: the range of the second byte is where overlong forms, surrogates
/// and values past the last plane are told apart.
struct sequence {
  size_t length = 0;  // 0: no lead byte
  unsigned char low = 0x80, high = 0xBF;
};

sequence sequence_of(unsigned char lead) {
  if (lead < 0xC2 || lead > 0xF4) return {};
  if (lead < 0xE0) return {2};
  if (lead == 0xE0) return {3, 0xA0, 0xBF};
  if (lead == 0xED) return {3, 0x80, 0x9F};
  if (lead < 0xF0) return {3};
  if (lead == 0xF0) return {4, 0x90, 0xBF};
  if (lead == 0xF4) return {4, 0x80, 0x8F};
  return {4};
}

uint32_t code_point(wchar_t c) { return static_cast<uint32_t>(c); }

bool is_control(wchar_t c) {
  const uint32_t value = code_point(c);
  return value < 0x20 || (value >= 0x7F && value < 0xA0);
}

}  // namespace

size_t ascii_prefix(std::string_view text) {
  constexpr uint64_t k_high_bits = 0x8080808080808080u;
  size_t i = 0;
  for (uint64_t eight; text.size() - i >= sizeof eight; i += sizeof eight) {
    std::memcpy(&eight, text.data() + i, sizeof eight);
    if ((eight & k_high_bits) != 0) break;
  }
  while (i < text.size() && static_cast<unsigned char>(text[i]) < 0x80) ++i;
  return i;
}

size_t decode_utf8_character(std::string_view text, wchar_t& c) {
  const auto byte = [text](size_t i) { return static_cast<unsigned char>(text[i]); };
  const sequence form = sequence_of(byte(0));
  c = escaped_byte(text[0]);
  if (form.length == 0) return 1;
  uint32_t value = byte(0) & (0x7Fu >> form.length);
  for (size_t i = 1; i < form.length; ++i) {
    if (i == text.size()) return 0;
    const unsigned char low = i == 1 ? form.low : 0x80;
    const unsigned char high = i == 1 ? form.high : 0xBF;
    if (byte(i) < low || byte(i) > high) return 1;
    value = value << 6 | (byte(i) & 0x3Fu);
  }
  c = static_cast<wchar_t>(value);
  return form.length;
}

size_t append_utf8(std::string_view text, std::wstring& out) {
  while (!text.empty()) {
    const size_t plain = ascii_prefix(text);
    out.append(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(plain));
    text.remove_prefix(plain);
    while (!text.empty() && static_cast<unsigned char>(text[0]) >= 0x80) {
      wchar_t c;
      const size_t length = decode_utf8_character(text, c);
      if (length == 0) return text.size();
      out.push_back(c);
      text.remove_prefix(length);
    }
  }
  return 0;
}

std::wstring utf8_to_wide(std::string_view text) {
  std::wstring out;
  out.reserve(text.size());
  const size_t unfinished = append_utf8(text, out);
  for (char byte : text.substr(text.size() - unfinished)) {
    out.push_back(escaped_byte(byte));
  }
  return out;
}

int widechar_to_utf8bytes(wchar_t c, char out[4]) {
  const auto put = [out](int i, uint32_t byte) { out[i] = static_cast<char>(byte); };
  uint32_t value = code_point(c);
  if (is_escaped_byte(c)) {
    put(0, value - 0xDC00);
    return 1;
  }
  if ((value >= 0xD800 && value <= 0xDFFF) || value > 0x10FFFF) value = k_replacement;
  if (value < 0x80) {
    put(0, value);
    return 1;
  }
  const int length = value < 0x800 ? 2 : value < 0x10000 ? 3 : 4;
  for (int i = length - 1; i > 0; --i, value >>= 6) put(i, 0x80 | (value & 0x3F));
  put(0, (0xF00u >> length & 0xFF) | value);
  return length;
}

std::string wide_to_utf8(std::wstring_view text) {
  std::string out;
  out.reserve(text.size());
  for (wchar_t c : text) {
    if (code_point(c) < 0x80) {
      out.push_back(static_cast<char>(c));
    } else {
      char bytes[4];
      out.append(bytes, static_cast<size_t>(widechar_to_utf8bytes(c, bytes)));
    }
  }
  return out;
}

wchar_t markup_character(wchar_t c) {
  const uint32_t value = code_point(c);
  if (value < 0x20) return c == L'\t' || c == L'\n' || c == L'\r' ? c : k_replacement;
  if (value >= 0xD800 && value <= 0xDFFF) return k_replacement;
  if (value == 0xFFFE || value == 0xFFFF || value > 0x10FFFF) return k_replacement;
  return c;
}

wchar_t report_character(wchar_t c) {
  const bool is_replaced = is_control(c) && c != L'\t' && c != L'\n';
  return is_replaced ? k_replacement : markup_character(c);
}

std::string one_utf8_line(std::wstring_view text) {
  std::wstring line(text);
  for (wchar_t& c : line) c = is_control(c) ? L'?' : markup_character(c);
  return wide_to_utf8(line);
}

std::wstring markup_text(std::wstring_view text) {
  std::wstring out(text);
  for (wchar_t& c : out) c = markup_character(c);
  return out;
}

}  // namespace kestrel
