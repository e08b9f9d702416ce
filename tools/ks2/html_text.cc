// Escaping, by runs: what needs none goes on as it is, and every other character is looked at, with
// its entity or in its UTF-8, and replaced where a browser would act on it or hide it.
#include "tools/ks2/html_text.h"

#include <array>

#include "lib/mbcs.h"
#include "lib/utilstr.h"
#include "tools/ks2/report_text.h"
#include "tools/ks2/shown_text.h"

namespace kestrel::ks2 {

namespace {

constexpr std::string_view k_replacement = "\xEF\xBF\xBD";

/// Bytes that pass as they are: printable ASCII but for the characters of markup.
constexpr std::array<bool, 256> k_is_plain = [] {
  std::array<bool, 256> plain = {};
  for (size_t c = 0x20; c < 0x7F; ++c) plain[c] = true;
  for (const char c : std::string_view("&<>\"'")) plain[static_cast<unsigned char>(c)] = false;
  return plain;
}();

size_t plain_prefix(std::string_view text) {
  size_t length = 0;
  while (length < text.size() && k_is_plain[static_cast<unsigned char>(text[length])]) ++length;
  return length;
}

struct escape_row {
  char character;
  std::string_view markup;
};
constexpr escape_row k_escapes[] = {
    {'&',  "&amp;" },
    {'<',  "&lt;"  },
    {'>',  "&gt;"  },
    {'"',  "&quot;"},
    {'\'', "&#39;" },
};

/// One character below 0x80.
std::string_view escaped(const char& c, bool keeps_lines) {
  for (const escape_row& known : k_escapes) {
    if (known.character == c) return known.markup;
  }
  if (c == '\n' || c == '\t') return keeps_lines ? std::string_view(&c, 1) : " ";
  if (c == '\r' && !keeps_lines) return " ";
  return k_replacement;
}

}  // namespace

void html_writer::put(std::string_view text) {
  if (buffer_.size() + text.size() > k_buffer_size) flush();
  if (text.size() > k_buffer_size) {
    std::fwrite(text.data(), 1, text.size(), out_);
  } else {
    buffer_ += text;
  }
}

void html_writer::flush() {
  std::fwrite(buffer_.data(), 1, buffer_.size(), out_);
  buffer_.clear();
}

void html_writer::number(uint64_t number) {
  std::string digits = std::to_string(number);
  for (size_t i = digits.size(); i > 3;) digits.insert(i -= 3, 1, ',');
  put(digits);
}

void html_writer::escape(std::string_view text, bool has_entities, bool keeps_lines) {
  while (!text.empty()) {
    const size_t plain = plain_prefix(text);
    put(text.substr(0, plain));
    text.remove_prefix(plain);
    if (!text.empty()) text.remove_prefix(put_special(text, has_entities, keeps_lines));
  }
}

/// Returns the bytes taken.
size_t html_writer::put_special(std::string_view text, bool has_entities, bool keeps_lines) {
  if (static_cast<unsigned char>(text[0]) >= 0x80) {
    wchar_t c = 0;
    const size_t length = decode_utf8_character(text, c);
    put(length == 0 || is_unsafe(c) ? k_replacement : text.substr(0, length));
    return length == 0 ? 1 : length;
  }
  if (has_entities && text[0] == '&') {
    const raw_character next = next_character(text);
    put(next.utf8.size() == 1 && !k_is_plain[static_cast<unsigned char>(next.utf8[0])]
            ? escaped(next.utf8[0], keeps_lines)
            : next.utf8);
    return next.length;
  }
  if (keeps_lines && text.starts_with("\r\n")) return 1;
  put(escaped(text[0], keeps_lines));
  return 1;
}

std::string human_bytes(uint64_t bytes) {
  constexpr const char* k_units[] = {"KiB", "MiB", "GiB", "TiB", "PiB", "EiB"};
  if (bytes < 1024) return format_text("%u bytes", static_cast<unsigned>(bytes));
  double value = static_cast<double>(bytes) / 1024;
  size_t unit = 0;
  // From here on a value would be rounded to 1024.0.
  for (; value >= 1023.95; value /= 1024) ++unit;
  return format_text("%.1f %s", value, k_units[unit]);
}

}  // namespace kestrel::ks2
