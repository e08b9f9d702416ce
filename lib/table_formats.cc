// What several output formats have in common: the report's own state, the texts of numbers, names
// and padding by characters.
#include "lib/table_formats.h"

#include <algorithm>
#include <charconv>

#include "lib/interface.h"
#include "lib/mbcs.h"
#include "lib/utilstr.h"

namespace kestrel {

namespace {

char* copy(std::string_view text, char* to) { return std::copy(text.begin(), text.end(), to); }

bool is_plain(char c) { return (c >= ' ' && c <= '~') || c == '\t' || c == '\n'; }

void append_padded_view(text_buffer& line, auto text, int width) {
  const auto wanted = static_cast<size_t>(std::max(width, 0));
  line.append(wanted - append_report_text(line, text, wanted), ' ');
}

}  // namespace

report_state& current_report() {
  static report_state report;
  return report;
}

std::string sanitised_ascii(const char* text) {
  std::string ascii = text_or_empty(text);
  filter_printable_ascii(ascii, '?');
  return ascii;
}

std::wstring wide_sanitised_ascii(const wchar_t* text) {
  std::wstring ascii = text == nullptr ? L"" : text;
  for (wchar_t& c : ascii) {
    if (c < 32 || c > 126) c = L'?';
  }
  return ascii;
}

std::string make_eDepot_name(const char* text) {
  std::string name = text_or_empty(text);
  convert_to_uppercase(name);
  filter_alphanumeric(name, '_');
  return name;
}

char* cell_number::write_decimal(char* to) const {
  return is_signed_ ? std::to_chars(to, to + k_longest, signed_).ptr
                    : std::to_chars(to, to + k_longest, bits_).ptr;
}

char* cell_number::write(char* to, datatype type, std::string_view prefix,
                         std::string_view suffix) const {
  if (type == DT_INTEGER) return write_decimal(to);
  if (type == DT_BOOL) return is_true() ? copy("true", to) : copy("false", to);
  if (type != DT_HEX) return to;
  to = copy(prefix, to);
  char* end = std::to_chars(to, to + 2 * sizeof bits_, bits_, 16).ptr;
  for (; to != end; ++to) {
    if (*to >= 'a') *to = static_cast<char>(*to - 'a' + 'A');
  }
  return copy(suffix, end);
}

uint16_t append_number(text_buffer& line, const table_column& column, const cell_number& value,
                       std::string_view prefix, std::string_view suffix) {
  line += column.frame.before;
  char* const start = line.room(cell_number::k_longest);
  const char* const end = value.write(start, column.type, prefix, suffix);
  unsigned sum = 0;
  for (const char* c = start; c != end; ++c) sum += static_cast<unsigned char>(*c);
  line.end_at(end);
  line += column.frame.after;
  return static_cast<uint16_t>(sum);
}

size_t append_report_text(text_buffer& line, std::wstring_view text, size_t most) {
  text = text.substr(0, most);
  for (wchar_t c : text) {
    char bytes[4];
    const int length = widechar_to_utf8bytes(report_character(c), bytes);
    line += std::string_view(bytes, static_cast<size_t>(length));
  }
  return text.size();
}

size_t append_report_text(text_buffer& line, std::string_view text, size_t most) {
  // Plain ASCII, which nearly all text is, needs nothing.
  const size_t longest = std::min(text.size(), most);
  size_t plain = 0;
  while (plain < longest && is_plain(text[plain])) ++plain;
  line += text.substr(0, plain);
  if (plain == longest) return plain;
  return plain + append_report_text(line, mbcs_to_wide(text.substr(plain)), most - plain);
}

std::string report_text(std::string_view text) {
  text_buffer line;
  append_report_text(line, text);
  return std::string(line.view());
}

void append_padded(text_buffer& line, std::string_view text, int width) {
  append_padded_view(line, text, width);
}

void append_padded(text_buffer& line, std::wstring_view text, int width) {
  append_padded_view(line, text, width);
}

}  // namespace kestrel
