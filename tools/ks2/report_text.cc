// Characters of a report: entities and the joints of CDATA sections are taken apart here and
// nowhere else, and what cannot be shown is replaced.
#include "tools/ks2/report_text.h"

#include <algorithm>

#include "lib/mbcs.h"
#include "tools/ks2/shown_text.h"

namespace kestrel::ks2 {

namespace {

struct entity {
  std::string_view name;
  std::string_view utf8;
};
constexpr entity k_entities[] = {
    {"&amp;",  "&" },
    {"&lt;",   "<" },
    {"&gt;",   ">" },
    {"&quot;", "\""},
    {"&apos;", "'" },
};

}  // namespace

raw_character next_character(std::string_view raw) {
  if (raw[0] == '&') {
    for (const entity& known : k_entities) {
      if (raw.starts_with(known.name)) return {known.utf8, known.name.size()};
    }
  }
  wchar_t c;
  size_t length = decode_utf8_character(raw, c);
  if (length == 0) length = 1;
  return {raw.substr(0, length), length};
}

std::string plain_text(std::string_view raw) {
  std::string text;
  text.reserve(raw.size());
  while (!raw.empty()) {
    const size_t special = std::min(raw.find('&'), raw.size());
    text.append(raw, 0, special);
    raw.remove_prefix(special);
    if (raw.empty()) break;
    const raw_character next = next_character(raw);
    text += next.utf8;
    raw.remove_prefix(next.length);
  }
  return text;
}

bool character_reader::next_special(wchar_t& c) {
  while (form_ == text_form::sections && rest_.starts_with(k_joint)) {
    rest_.remove_prefix(k_joint.size());
  }
  if (rest_.empty()) return false;
  std::string_view utf8 = rest_;
  if (form_ == text_form::raw) {
    const raw_character next = next_character(rest_);
    utf8 = next.utf8;
    rest_.remove_prefix(next.length);
    take_character(utf8, c);
  } else {
    rest_.remove_prefix(take_character(utf8, c));
  }
  return true;
}

bool shown_reader::next(wchar_t& c) {
  if (!characters_.next(c)) return false;
  if (c >= L' ' && c <= L'~') return true;
  const bool is_end = c == L'\n' || c == L'\t';
  if (keeps_lines_ && is_end) return true;
  if (keeps_lines_ && c == L'\r') {
    character_reader ahead = characters_;
    wchar_t behind;
    c = k_unshown;
    if (!ahead.next(behind) || behind != L'\n') return true;
    characters_ = ahead;
    c = L'\n';
    return true;
  }
  if (is_end || c == L'\r') {
    c = L' ';
  } else if (is_unsafe(c)) {
    c = k_unshown;
  }
  return true;
}

}  // namespace kestrel::ks2
