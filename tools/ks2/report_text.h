// The characters of a text, one by one, whatever form it stands in: a text of any length goes from
// a report to where it is shown without a copy.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace kestrel::ks2 {

/// The next character of a raw text, one with entities, as UTF-8 bytes (a view of the text or of a
/// constant) and its length in the raw text. `raw` must not be empty.
struct raw_character {
  std::string_view utf8;
  size_t length;
};
raw_character next_character(std::string_view raw);
/// The characters of a raw text: entities resolved, an unknown one left as it stands.
std::string plain_text(std::string_view raw);

/// A CDATA end mark inside a file is written so, as the end of one section and the start of another
/// in the middle of it.
inline constexpr std::string_view k_joint = "]]><![CDATA[";

enum class text_form : uint8_t {
  characters,  ///< as they are
  raw,         ///< with entities
  sections,    ///< CDATA sections, one behind the other, the first mark and the last one taken off
};

struct report_text {
  std::string_view bytes;
  text_form form = text_form::characters;
};

/// Hands out the characters; a byte that is no UTF-8 comes as U+FFFD. A copy goes on from where the
/// original is.
class character_reader {
 public:
  explicit character_reader(report_text text) : rest_(text.bytes), form_(text.form) {}

  /// False at the end.
  bool next(wchar_t& c) {
    if (rest_.empty()) return false;
    const auto byte = static_cast<unsigned char>(rest_[0]);
    if (byte >= 0x80 || byte == '&' || byte == ']') return next_special(c);
    rest_.remove_prefix(1);
    c = byte;
    return true;
  }

 private:
  bool next_special(wchar_t& c);

  std::string_view rest_;
  text_form form_;
};

/// The characters as `shown` would give them or, when lines are kept, with line ends and tabs as
/// they are, CR LF as LF, and any other CR as U+FFFD.
class shown_reader {
 public:
  explicit shown_reader(report_text text, bool keeps_lines = false)
      : characters_(text), keeps_lines_(keeps_lines) {}

  bool next(wchar_t& c);

 private:
  character_reader characters_;
  bool keeps_lines_;
};

}  // namespace kestrel::ks2
