// What kind of character one is, and words compared without the case of their letters: those of
// ASCII in every locale. The C library asks the language of the machine, where "I" may not be the
// capital of "i", and other bytes may be letters or blanks.
#pragma once

#include <algorithm>
#include <string_view>

namespace kestrel {

template <class Char>
constexpr bool is_ascii_digit(Char c) {
  return c >= '0' && c <= '9';
}
template <class Char>
constexpr bool is_ascii_letter(Char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}
template <class Char>
constexpr bool is_ascii_hex_digit(Char c) {
  return is_ascii_digit(c) || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
}
/// The six characters of k_white_space (utilstr.h).
template <class Char>
constexpr bool is_ascii_space(Char c) {
  return c == ' ' || (c >= '\t' && c <= '\r');
}

/// The capital of a to z; any other character itself.
template <class Char>
constexpr Char ascii_capital(Char c) {
  return c >= 'a' && c <= 'z' ? static_cast<Char>(c - ('a' - 'A')) : c;
}

/// Whether two words are the same but for the case of ASCII letters.
template <class Char>
constexpr bool same_letters(std::basic_string_view<Char> a, std::basic_string_view<Char> b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [](Char x, Char y) { return ascii_capital(x) == ascii_capital(y); });
}
constexpr bool same_word(std::string_view a, std::string_view b) { return same_letters(a, b); }
constexpr bool same_word(std::wstring_view a, std::wstring_view b) { return same_letters(a, b); }

/// Whether `text` begins with `word`, in the same way.
constexpr bool begins_with_word(std::string_view text, std::string_view word) {
  return same_word(text.substr(0, word.size()), word);
}
constexpr bool begins_with_word(std::wstring_view text, std::wstring_view word) {
  return same_word(text.substr(0, word.size()), word);
}

}  // namespace kestrel
