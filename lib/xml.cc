// See xml.h. Every line is made in memory and handed to the stream whole. Plain ASCII, which nearly
// all text is, goes through byte by byte; the rest takes the way over wide characters.
#include "lib/xml.h"

#include <array>

#include "lib/ascii.h"
#include "lib/interface.h"
#include "lib/mbcs.h"
#include "lib/utilstr.h"

namespace kestrel {

namespace {

struct markup_options {
  bool tag_prefix = true;
  const char* attribute_id = "ID";
  bool uppercase = true;
  bool lowercase = false;
};

/// What each ASCII character becomes in an element name.
using tag_alphabet = std::array<char, 128>;

constexpr tag_alphabet make_tag_alphabet(const markup_options& chosen) {
  tag_alphabet alphabet{};
  for (size_t i = 0; i < alphabet.size(); ++i) {
    const char c = static_cast<char>(i);
    const bool is_kept = is_ascii_digit(c) || c == '.' || c == '-';
    alphabet[i] = is_kept ? c : '_';
    if (c >= 'a' && c <= 'z') alphabet[i] = static_cast<char>(chosen.uppercase ? c - 'a' + 'A' : c);
    if (c >= 'A' && c <= 'Z') alphabet[i] = static_cast<char>(chosen.lowercase ? c - 'A' + 'a' : c);
  }
  return alphabet;
}

markup_options options;
constinit tag_alphabet tag_characters = make_tag_alphabet(markup_options());

/// What a byte of a narrow value asks for.
enum byte_kind : unsigned char { as_it_is, escaped, decoded };

constexpr std::array<byte_kind, 256> k_byte_kinds = [] {
  std::array<byte_kind, 256> kinds{};
  for (size_t i = 0; i < kinds.size(); ++i) kinds[i] = i < 0x20 || i >= 0x80 ? decoded : as_it_is;
  for (char8_t c : {u8'\t', u8'\n', u8'\r'}) kinds[c] = as_it_is;
  for (char8_t c : {u8'&', u8'<', u8'>', u8'"', u8'\''}) kinds[c] = escaped;
  return kinds;
}();

/// Empty when the character needs no escape.
std::string_view escape_of(wchar_t c) {
  switch (c) {
    case L'&':
      return "&amp;";
    case L'<':
      return "&lt;";
    case L'>':
      return "&gt;";
    case L'"':
      return "&quot;";
    case L'\'':
      return "&apos;";
    default:
      return {};
  }
}

char tag_character(wchar_t c) {
  return static_cast<uint32_t>(c) < 0x80 ? tag_characters[static_cast<size_t>(c)] : '_';
}

/// Appends one character that markup can carry; `bytes` takes its UTF-8 form, whose length is
/// returned.
size_t append_character(text_buffer& out, wchar_t c, char (&bytes)[4]) {
  const auto length = static_cast<size_t>(widechar_to_utf8bytes(c, bytes));
  const std::string_view escape = escape_of(c);
  out += escape.empty() ? std::string_view(bytes, length) : escape;
  return length;
}

/// Copies the start of a value that needs nothing, adds it to the sum and returns its length.
size_t copy_plain(std::string_view value, char* out, unsigned& sum) {
  unsigned added = 0;
  size_t i = 0;
  for (; i < value.size(); ++i) {
    const auto byte = static_cast<unsigned char>(value[i]);
    if (k_byte_kinds[byte] != as_it_is) break;
    out[i] = value[i];
    added += byte;
  }
  sum += added;
  return i;
}

uint16_t append_decoded_value(text_buffer& out, std::string_view value) {
  uint16_t sum = 0;
  for (wchar_t c : mbcs_to_wide(value)) {
    char bytes[4];
    const size_t length = append_character(out, markup_character(c), bytes);
    sum = static_cast<uint16_t>(sum + string_checksum(std::string_view(bytes, length)));
  }
  return sum;
}

std::string_view text_of(const char* text) { return text == nullptr ? "" : text; }
std::wstring_view text_of(const wchar_t* text) { return text == nullptr ? L"" : text; }

void append_any_attribute(text_buffer& out, std::string_view attribute, auto value) {
  out += ' ';
  out += attribute;
  out += "=\"";
  append_xml_value(out, value);
  out += '"';
}

template <class Char>
void append_opening(text_buffer& out, std::string_view name, const Char* value) {
  out += '<';
  append_xml_tag(out, name);
  if (value != nullptr && options.attribute_id != nullptr) {
    append_any_attribute(out, options.attribute_id, text_of(value));
  }
  out += ">\r\n";
}

void append_named_start(text_buffer& out, std::string_view kind, auto name, int width) {
  out += '<';
  append_xml_tag(out, kind);
  if (options.attribute_id != nullptr) append_any_attribute(out, options.attribute_id, name);
  if (width != 0) append_any_attribute(out, "W", std::string_view(std::to_string(width)));
  out += '>';
}

void append_element(text_buffer& out, std::string_view name, auto value) {
  out += '<';
  append_xml_tag(out, name);
  out += '>';
  append_xml_value(out, value);
  append_xml_close_tag(out, name);
}

template <class Char>
void write_named_value(FILE* out, const char* kind, const Char* name, int width,
                       const Char* value) {
  text_buffer line;
  append_named_start(line, text_of(kind), text_of(name), width);
  append_xml_value(line, text_of(value));
  append_xml_close_tag(line, text_of(kind));
  write_text(out, line.view());
}

}  // namespace

void xml_set_tag_prefix(bool on) { options.tag_prefix = on; }
void xml_set_attribute_id(const char* name) { options.attribute_id = name; }
void xml_set_tag_uppercase(bool on) {
  options.uppercase = on;
  tag_characters = make_tag_alphabet(options);
}
void xml_set_tag_lowercase(bool on) {
  options.lowercase = on;
  tag_characters = make_tag_alphabet(options);
}
bool xml_has_tag_prefix() { return options.tag_prefix; }
const char* xml_attribute_id() { return options.attribute_id; }

std::wstring wide_make_xml_tag(const wchar_t* name) {
  if (name == nullptr) return {};
  std::wstring tag = options.tag_prefix ? L"KS_" : L"";
  for (wchar_t c : text_of(name)) tag += static_cast<wchar_t>(tag_character(c));
  return tag;
}

std::wstring wide_make_xml_value(const wchar_t* value) {
  text_buffer escaped_value;
  append_xml_value(escaped_value, text_of(value));
  return utf8_to_wide(escaped_value.view());
}

uint16_t append_xml_value(text_buffer& out, std::string_view value) {
  unsigned sum = 0;
  for (;;) {
    char* const start = out.room(value.size());
    const size_t plain = copy_plain(value, start, sum);
    out.end_at(start + plain);
    value.remove_prefix(plain);
    if (value.empty()) return static_cast<uint16_t>(sum);
    const auto byte = static_cast<unsigned char>(value[0]);
    if (k_byte_kinds[byte] == decoded) break;
    out += escape_of(byte);
    sum += byte;
    value.remove_prefix(1);
  }
  return static_cast<uint16_t>(sum + append_decoded_value(out, value));
}

uint16_t append_xml_value(text_buffer& out, std::wstring_view value) {
  unsigned sum = 0;
  for (wchar_t c : value) {
    char bytes[4];
    const wchar_t carried = markup_character(c);
    append_character(out, carried, bytes);
    sum += static_cast<unsigned>(carried);
  }
  return static_cast<uint16_t>(sum);
}

void append_xml_tag(text_buffer& out, std::string_view name) {
  if (options.tag_prefix) out += "KS_";
  if (ascii_prefix(name) == name.size()) {
    char* end = out.room(name.size());
    for (char c : name) *end++ = tag_characters[static_cast<size_t>(c)];
    out.end_at(end);
  } else {
    for (wchar_t c : mbcs_to_wide(name)) out += tag_character(c);
  }
}

void append_xml_attribute(text_buffer& out, std::string_view attribute, std::string_view value) {
  append_any_attribute(out, attribute, value);
}

void append_xml_open_tag(text_buffer& out, std::string_view name, const char* value) {
  append_opening(out, name, value);
}

void append_xml_close_tag(text_buffer& out, std::string_view name) {
  out += "</";
  append_xml_tag(out, name);
  out += ">\r\n";
}

void append_xml_tag_value(text_buffer& out, std::string_view name, std::string_view value) {
  append_element(out, name, value);
}

void append_xml_named_start(text_buffer& out, std::string_view kind, std::string_view name,
                            int width) {
  append_named_start(out, kind, name, width);
}

void xml_file_heading(FILE* out) {
  write_text(out, "<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"yes\"?>\r\n");
}

void xml_open_tag(FILE* out, const char* name, const char* value) {
  text_buffer line;
  append_opening(line, text_of(name), value);
  write_text(out, line.view());
}

void xml_open_wide_tag(FILE* out, const char* name, const wchar_t* value) {
  text_buffer line;
  append_opening(line, text_of(name), value);
  write_text(out, line.view());
}

void xml_close_tag(FILE* out, const char* name) {
  text_buffer line;
  append_xml_close_tag(line, text_of(name));
  write_text(out, line.view());
}

void xml_close_wide_tag(FILE* out, const wchar_t* name) {
  write_text(out, "</" + wide_to_utf8(wide_make_xml_tag(name)) + ">\r\n");
}

void xml_tag_value(FILE* out, const char* name, const char* value) {
  text_buffer line;
  append_element(line, text_of(name), text_of(value));
  write_text(out, line.view());
}

void xml_wide_tag_value(FILE* out, const char* name, const wchar_t* value) {
  text_buffer line;
  append_element(line, text_of(name), text_of(value));
  write_text(out, line.view());
}

void xml_named_value(FILE* out, const char* kind, const char* name, int width, const char* value) {
  write_named_value(out, kind, name, width, value);
}

void xml_wide_named_value(FILE* out, const char* kind, const wchar_t* name, int width,
                          const wchar_t* value) {
  write_named_value(out, kind, name, width, value);
}

}  // namespace kestrel
