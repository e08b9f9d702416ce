// Option words, ids and names compared without the case of their letters, those of ASCII in every
// locale: the C library asks the language of the machine, where "I" may not be the capital of "i".
#pragma once

#include <algorithm>
#include <string_view>

namespace kestrel {

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
