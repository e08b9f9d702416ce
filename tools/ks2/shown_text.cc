// Turns text into what a terminal may get: controls, hidden and reordering characters become
// visible, and characters are counted in columns.
#include "tools/ks2/shown_text.h"

#include <wchar.h>

#include <algorithm>

#include "lib/mbcs.h"
#include "lib/utilstr.h"

namespace kestrel::ks2 {

namespace {

struct range {
  uint32_t first, last;
};
constexpr range k_unsafe[] = {
    {0x00,    0x1F   },
    {0x7F,    0x9F   },
    {0xAD,    0xAD   }, // soft hyphen
    {0x61C,   0x61C  }, // Arabic letter mark
    {0x180E,  0x180E }, // Mongolian vowel separator
    {0x200B,  0x200F }, // zero width, direction marks
    {0x2028,  0x202E }, // line and paragraph separators, direction overrides
    {0x2060,  0x206F }, // invisible operators, direction isolates
    {0xD800,  0xDFFF }, // surrogates
    {0xFEFF,  0xFEFF }, // zero width, byte order mark
    {0xFFF9,  0xFFFB }, // interlinear annotation
    {0xFFFE,  0xFFFF },
    {0xE0000, 0xE007F}, // tags
};

bool is_plain(std::string_view text) {
  for (const char c : text) {
    if (c < ' ' || c > '~') return false;
  }
  return true;
}

}  // namespace

bool is_unsafe(wchar_t c) {
  const auto value = static_cast<char32_t>(c);
  if (value > 0x10FFFF) return true;
  for (const range& unsafe : k_unsafe) {
    if (value <= unsafe.last) return value >= unsafe.first;
  }
  return false;
}

std::string shown(std::string_view text) {
  if (is_plain(text)) return std::string(text);
  std::string out;
  out.reserve(text.size());
  for_each_character(text, [&out](wchar_t c) {
    const bool is_blank = c == L'\n' || c == L'\t' || c == L'\r';
    append_character(out, is_blank ? L' ' : is_unsafe(c) ? k_unshown : c);
  });
  return out;
}

std::string shown(std::string_view text, size_t most) {
  size_t count = 0, end = 0;
  for (; end < text.size() && count < most; ++count) {
    wchar_t c;
    const size_t length = decode_utf8_character(text.substr(end), c);
    end += length == 0 ? 1 : length;
  }
  std::string out = shown(text.substr(0, end));
  if (end < text.size()) out += "...";
  return out;
}

std::string local_text(std::string_view utf8) {
  if (ascii_prefix(utf8) == utf8.size()) return std::string(utf8);
  return wide_to_mbcs(utf8_to_wide(utf8));
}

void print_text(FILE* out, std::string_view utf8) {
  const std::string local = local_text(utf8);
  std::fwrite(local.data(), 1, local.size(), out);
}

std::string counted(size_t count, const char* one) {
  return format_text("%zu %s%s", count, one, count == 1 ? "" : "s");
}

void append_character(std::string& out, wchar_t c) {
  char bytes[4];
  out.append(bytes, static_cast<size_t>(widechar_to_utf8bytes(c, bytes)));
}

size_t take_character(std::string_view text, wchar_t& c) {
  const size_t length = decode_utf8_character(text, c);
  if (length == 0 || is_escaped_byte(c)) c = k_unshown;
  return std::max<size_t>(length, 1);
}

int columns_of(wchar_t c) {
  if (c >= L' ' && c <= L'~') return 1;
  const int width = wcwidth(c);
  return width < 0 ? 1 : width;
}

size_t columns_of(std::string_view text) {
  size_t columns = 0;
  for_each_character(text, [&](wchar_t c) { columns += static_cast<size_t>(columns_of(c)); });
  return columns;
}

}  // namespace kestrel::ks2
