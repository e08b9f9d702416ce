// Finds the sections and tables that a word names: the same title before one that begins with it,
// the case of letters aside.
#include "tools/ks2/selection.h"

#include <wctype.h>

#include <algorithm>
#include <string>

#include "lib/ascii.h"
#include "lib/mbcs.h"

namespace kestrel::ks2 {

namespace {

std::wstring folded(std::string_view text) {
  std::wstring wide = utf8_to_wide(text);
  for (wchar_t& c : wide) {
    c = c < 0x80 ? ascii_capital(c) : static_cast<wchar_t>(towlower(static_cast<wint_t>(c)));
  }
  return wide;
}

enum match { none, begins, same };

match match_of(std::string_view raw_title, const std::wstring& wanted) {
  const std::wstring title = folded(plain_text(raw_title));
  return title == wanted ? same : title.starts_with(wanted) ? begins : none;
}

/// Keeps those that match best.
template <class Element, class Match>
std::vector<Element> best(std::vector<Element> elements, Match match_of_element) {
  match most = none;
  for (const Element& e : elements) most = std::max(most, match_of_element(e));
  std::erase_if(elements,
                [&](const Element& e) { return most == none || match_of_element(e) != most; });
  return elements;
}

std::vector<selected_section> sections_named(const report& from, const std::wstring& wanted) {
  return best(select_all(from), [&wanted](const selected_section& selected) {
    return match_of(selected.section->title, wanted);
  });
}

}  // namespace

std::vector<selected_section> select_all(const report& from) {
  std::vector<selected_section> all;
  for (const report_section& section : from.sections) all.push_back({&section, section.parts});
  return all;
}

std::vector<selected_section> select_parts(const report& from, std::string_view wanted) {
  std::vector<selected_section> sections = sections_named(from, folded(wanted));
  // A title may hold a '/' itself.
  for (size_t slash = 0; sections.empty();) {
    slash = wanted.find('/', slash);
    if (slash == std::string_view::npos) break;
    const std::wstring table = folded(wanted.substr(slash + 1));
    sections = sections_named(from, folded(wanted.substr(0, slash)));
    for (selected_section& selected : sections) {
      selected.parts = best(std::move(selected.parts), [&](const section_part& part) {
        return match_of(title_of(*selected.section, part), table);
      });
    }
    std::erase_if(sections, [](const selected_section& s) { return s.parts.empty(); });
    ++slash;
  }
  return sections;
}

}  // namespace kestrel::ks2
