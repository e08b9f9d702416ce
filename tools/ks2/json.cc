// Writes texts as JSON strings, a character at a time and in pieces, so that a value of any length
// needs little memory; and tells which digits JSON takes as a number.
#include "tools/ks2/json.h"

#include "lib/utilstr.h"
#include "tools/ks2/shown_text.h"

namespace kestrel::ks2 {

namespace {

void append_escape(std::string& out, uint32_t value) {
  if (value >= 0x10000) {
    append_escape(out, 0xD800 + ((value - 0x10000) >> 10));
    value = 0xDC00 + ((value - 0x10000) & 0x3FF);
  }
  out += format_text("\\u%04x", value);
}

void append_json(std::string& out, wchar_t c) {
  if (c == L'\n') {
    out += "\\n";
  } else if (is_unsafe(c)) {
    append_escape(out, static_cast<uint32_t>(c));
  } else {
    if (c == L'"' || c == L'\\') out += '\\';
    append_character(out, c);
  }
}

}  // namespace

std::string json_string(std::string_view text) {
  std::string out = "\"";
  for_each_character(text, [&out](wchar_t c) { append_json(out, c); });
  return out + '"';
}

void write_json_string(report_text text, text_output& out) {
  constexpr size_t k_piece = 4096;
  character_reader characters(text);
  std::string piece = "\"";
  for (wchar_t c; characters.next(c);) {
    append_json(piece, c);
    if (piece.size() < k_piece) continue;
    out.write(piece);
    piece.clear();
    if (!out.is_wanted()) return;
  }
  out.write(piece + '"');
}

bool is_json_integer(std::string_view digits) {
  constexpr size_t k_most_digits = 15;
  if (digits.starts_with('-')) digits.remove_prefix(1);
  if (digits.empty() || digits.size() > k_most_digits) return false;
  if (digits[0] == '0' && digits.size() > 1) return false;
  return digits.find_first_not_of("0123456789") == std::string_view::npos;
}

}  // namespace kestrel::ks2
