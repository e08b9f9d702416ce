// The parts of which html_page.cc puts a page together: each writes itself from the same source,
// and all share the writer, the marks of faults and the small pieces of html_parts.cc.
#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

#include "tools/ks2/html_source.h"
#include "tools/ks2/html_text.h"

namespace kestrel::ks2 {

/// The faults that a page tells, by number: all but notes.
std::vector<size_t> told_faults(const fault_list& faults);

/// The faults and warnings by the element that bears their mark.
class fault_marks {
 public:
  explicit fault_marks(const fault_list& faults);

  /// Of the section, its table or its file, without what lies below; -1: not one of these.
  const std::vector<size_t>& at(size_t section, int table, int file, int row = -1) const;
  /// Of the rows of the table there are some.
  bool has_rows(size_t section, size_t table) const;

 private:
  using key = std::tuple<int, int, int, int>;  // section, table, file, row
  std::map<key, std::vector<size_t>> marks_;
};

/// What the parts share.
struct page {
  html_writer out;
  const page_source& source;
  fault_marks marks;

  page(const page_source& shown, FILE* to) : out(to), source(shown), marks(shown.found.faults) {}
};

void write_identity(page& to);
void write_faults(page& to);
void write_table(page& to, size_t section, size_t table);
void write_embedded_file(page& to, size_t section, size_t file);

/// The marks of one element, a paragraph each.
void write_marks(page& to, const std::vector<size_t>& faults);
/// The mark of one fault, for inside an element; `tag` is the element's name.
void write_mark(page& to, size_t fault, std::string_view tag);

/// Of an embedded file.
size_t line_count(std::string_view text);
/// "12 rows", "1 row".
void write_count(html_writer& out, size_t count, std::string_view one, std::string_view many);
/// A title as it stands in the report; an empty one is shown as such.
void write_title(html_writer& out, std::string_view raw);
/// The names of elements: "s1", "s1t2", "s1f2".
void write_section_id(html_writer& out, size_t section);
void write_part_id(html_writer& out, size_t section, const section_part& part);

}  // namespace kestrel::ks2
