// See report_text.h.
#include "tools/ks2/report_text.h"

#include "tools/ks2/report.h"
#include "tools/ks2/shown_text.h"

namespace kestrel::ks2 {

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
