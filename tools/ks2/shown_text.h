// Text from a file on its way to the user: nothing that a terminal would act on is passed on, and
// nothing that makes text look other than it is.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace kestrel::ks2 {

/// Control characters (C0, DEL, C1), characters that reorder or hide text, lone surrogates and what
/// is no character.
bool is_unsafe(wchar_t c);

/// The text on one line: line ends and tabs become blanks, other unsafe characters and bytes that
/// are no UTF-8 become U+FFFD.
std::string shown(std::string_view text);
/// The same, cut to `most` characters, with "..." where something was cut.
std::string shown(std::string_view text, size_t most);
/// The same with line ends and tabs left as they are, CR LF as LF.
std::string shown_lines(std::string_view text);

/// Calls `take(wchar_t)` for every character; a byte that is no UTF-8 comes as U+FFFD.
template <class Take>
void for_each_character(std::string_view text, Take take);

/// Columns that a character takes on a terminal: 0, 1 or 2.
int columns_of(wchar_t c);
size_t columns_of(std::string_view text);

}  // namespace kestrel::ks2

#include "lib/mbcs.h"

template <class Take>
void kestrel::ks2::for_each_character(std::string_view text, Take take) {
  while (!text.empty()) {
    wchar_t c;
    size_t length = decode_utf8_character(text, c);
    if (length == 0) {
      c = escaped_byte(text[0]);
      length = 1;
    }
    take(is_escaped_byte(c) ? wchar_t{0xFFFD} : c);
    text.remove_prefix(length);
  }
}
