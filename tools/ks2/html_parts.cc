// What several parts of a page write: the marks of faults, titles, counts, and the names by which
// links find elements.
#include "tools/ks2/html_parts.h"

#include <algorithm>

namespace kestrel::ks2 {

std::vector<size_t> told_faults(const fault_list& faults) {
  std::vector<size_t> told;
  for (size_t i = 0; i < faults.all().size(); ++i) {
    if (faults.all()[i].level != severity::note) told.push_back(i);
  }
  return told;
}

fault_marks::fault_marks(const fault_list& faults) {
  for (const size_t i : told_faults(faults)) {
    const place& where = faults.all()[i].where;
    if (where.section < 0) continue;
    marks_[{where.section, where.table, where.file, where.row}].push_back(i);
  }
}

const std::vector<size_t>& fault_marks::at(size_t section, int table, int file, int row) const {
  static const std::vector<size_t> none;
  const auto found = marks_.find({static_cast<int>(section), table, file, row});
  return found == marks_.end() ? none : found->second;
}

bool fault_marks::has_rows(size_t section, size_t table) const {
  const key first = {static_cast<int>(section), static_cast<int>(table), -1, 0};
  const auto found = marks_.lower_bound(first);
  return found != marks_.end() && std::get<0>(found->first) == std::get<0>(first) &&
         std::get<1>(found->first) == std::get<1>(first);
}

void write_mark(page& to, size_t fault, std::string_view tag) {
  html_writer& out = to.out;
  out.markup("<");
  out.markup(tag);
  out.markup(" class=\"mark\" id=\"x");
  out.index(fault + 1);
  out.markup("\">");
  out.text(to.source.found.faults.all()[fault].text);
  out.markup("</");
  out.markup(tag);
  out.markup(">");
}

void write_marks(page& to, const std::vector<size_t>& faults) {
  for (const size_t fault : faults) {
    write_mark(to, fault, "p");
    to.out.markup("\n");
  }
}

size_t line_count(std::string_view text) {
  const auto ends = static_cast<size_t>(std::count(text.begin(), text.end(), '\n'));
  return ends + (!text.empty() && text.back() != '\n' ? 1 : 0);
}

void write_section_id(html_writer& out, size_t section) {
  out.markup("s");
  out.index(section + 1);
}

void write_part_id(html_writer& out, size_t section, const section_part& part) {
  write_section_id(out, section);
  out.markup(part.is_file ? "f" : "t");
  out.index(part.index + 1);
}

void write_count(html_writer& out, size_t count, std::string_view one, std::string_view many) {
  out.number(count);
  out.markup(" ");
  out.markup(count == 1 ? one : many);
}

void write_title(html_writer& out, std::string_view raw) {
  if (raw.empty()) {
    out.markup("<i>(without a name)</i>");
  } else {
    out.raw(raw);
  }
}

}  // namespace kestrel::ks2
