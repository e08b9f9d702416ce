// Between the locale's multibyte encoding, wide characters and UTF-8.
// Conversion never loses a byte: a byte that does not decode in the locale becomes a lone low
// surrogate (U+DC00 + byte) and converting back gives the same byte, so that file names still open.
// In the plain "C" locale the bytes are taken as UTF-8.
#pragma once

#include <cstdio>
#include <string>
#include <string_view>

namespace kestrel {

/// True for the wide characters that stand for bytes which did not decode.
constexpr bool is_escaped_byte(wchar_t c) { return c >= 0xDC80 && c <= 0xDCFF; }

/// The character that keeps an undecodable byte. One below 0x80 stays itself.
constexpr wchar_t escaped_byte(char byte) {
  const auto value = static_cast<unsigned char>(byte);
  return static_cast<wchar_t>(value < 0x80 ? value : 0xDC00 + value);
}

/// Locale multibyte to wide.
std::wstring mbcs_to_wide(std::string_view text);
/// Wide to locale multibyte; a character that the locale lacks becomes '?'.
std::string wide_to_mbcs(std::wstring_view text);
/// UTF-8 to wide by the UTF-8 standard; undecodable bytes are kept as above.
std::wstring utf8_to_wide(std::string_view text);
/// Wide to UTF-8; escaped bytes come out as the bytes they stand for.
std::string wide_to_utf8(std::wstring_view text);
/// Writes the UTF-8 form of one character (1 to 4 bytes) into `out`, returns its length. An escaped
/// byte comes out as itself, what is no character as U+FFFD.
int widechar_to_utf8bytes(wchar_t c, char out[4]);

/// Takes the first character of a text that is not empty and returns its length in bytes. A byte
/// that does not decode is one escaped character; 0 when the text ends inside a character.
size_t decode_utf8_character(std::string_view text, wchar_t& c);
/// Appends the characters of `text` and returns the bytes of an unfinished last one, which stay
/// out.
size_t append_utf8(std::string_view text, std::wstring& out);
/// Length of the text's ASCII start.
size_t ascii_prefix(std::string_view text);

/// The character as markup can carry it: undecodable bytes, surrogates, U+FFFE, U+FFFF and control
/// characters but TAB, LF and CR become U+FFFD.
wchar_t markup_character(wchar_t c);
/// `markup_character` over a whole text.
std::wstring markup_text(std::wstring_view text);
/// The character as a report that is read on a terminal can carry it: as `markup_character`, and
/// all control characters but TAB and LF become U+FFFD.
wchar_t report_character(wchar_t c);

/// UTF-8 for a line of a header: control characters, which would forge another line, become '?',
/// what does not decode U+FFFD.
std::string one_utf8_line(std::wstring_view text);

/// Decodes a byte stream that arrives in blocks; a character cut by the end of a block is completed
/// by the next one.
class block_decoder {
 public:
  /// Appends the characters that `block` completes to `out`.
  void decode(std::string_view block, std::wstring& out);
  /// Appends what an unfinished character left behind, as escaped bytes.
  void finish(std::wstring& out);

 private:
  std::string pending_;
};

/// Characters (not bytes) of a multibyte text, and its first `count` characters.
size_t character_count(std::string_view text);
std::string_view first_characters(std::string_view text, size_t count);

}  // namespace kestrel
