// Text from a file on its way to the user: nothing that a terminal would act on is passed on, and
// nothing that makes text look other than it is.
#pragma once

#include <cstddef>
#include <cstdio>
#include <string>
#include <string_view>

namespace kestrel::ks2 {

/// What stands for a character that is not shown, or for bytes that are none.
inline constexpr wchar_t k_unshown = 0xFFFD;

/// Control characters (C0, DEL, C1), characters that reorder or hide text, lone surrogates and what
/// is no character.
bool is_unsafe(wchar_t c);

/// The text on one line: line ends and tabs become blanks, other unsafe characters and bytes that
/// are no UTF-8 become U+FFFD.
std::string shown(std::string_view text);
/// The same, cut to `most` characters, with "..." where something was cut.
std::string shown(std::string_view text, size_t most);

/// UTF-8 in the locale's encoding; what that lacks becomes '?'. Whatever goes to people passes
/// here: in an encoding of single bytes, parts of UTF-8 may be control characters.
std::string local_text(std::string_view utf8);
/// Writes a text for people.
void print_text(FILE* out, std::string_view utf8);

/// "1 row", "2 rows".
std::string counted(size_t count, const char* one);

/// Appends the character in UTF-8.
void append_character(std::string& out, wchar_t c);
/// Takes the first character of a text that is not empty and returns its length; a byte that is no
/// UTF-8 is U+FFFD.
size_t take_character(std::string_view text, wchar_t& c);

/// Calls `take(wchar_t)` for every character; a byte that is no UTF-8 comes as U+FFFD.
template <class Take>
void for_each_character(std::string_view text, Take take);

/// Columns that a character takes on a terminal: 0, 1 or 2.
int columns_of(wchar_t c);
size_t columns_of(std::string_view text);

}  // namespace kestrel::ks2

template <class Take>
void kestrel::ks2::for_each_character(std::string_view text, Take take) {
  while (!text.empty()) {
    wchar_t c;
    const size_t length = take_character(text, c);
    take(c);
    text.remove_prefix(length);
  }
}
