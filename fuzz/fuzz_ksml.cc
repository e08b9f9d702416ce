// A ksml report as ks2 reads it: nothing of the model may lie outside of the bytes, and a report
// without a fault is complete and says the same when its own model is asked.
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "tools/ks2/ksml_check.h"
#include "tools/ks2/ksml_reader.h"
#include "tools/ks2/selection.h"

namespace {

using namespace kestrel::ks2;

void check_inside(const report& content, std::string_view part) {
  if (part.data() == nullptr) return;
  if (part.data() < content.bytes.data()) std::abort();
  if (part.data() + part.size() > content.bytes.data() + content.bytes.size()) std::abort();
}

void check_section(const report& content, const report_section& section) {
  check_inside(content, section.title);
  if (section.parts.size() != section.tables.size() + section.files.size()) std::abort();
  if (section.end < section.offset || section.end > content.bytes.size() + 1) std::abort();
  for (const report_table& table : section.tables) {
    for (const report_row& row : table.rows) {
      if (row.first_cell + row.cell_count > table.cells.size()) std::abort();
    }
    for (const report_cell& cell : table.cells) {
      check_inside(content, cell.value);
      if (plain_text(cell.value).size() > cell.value.size()) std::abort();
    }
    column_names(table);
  }
  for (const embedded_file& file : section.files) {
    check_inside(content, file.content);
    size_t count = 0;
    character_reader text(text_of(file));
    for (wchar_t c; text.next(c);) ++count;
    if (count > file.content.size()) std::abort();
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  is_ksml(bytes);
  fault_list faults;
  const report content = read_ksml(bytes, 1 << 20, faults);
  check_report(content, faults);
  for (fault& found : faults.all()) {
    if (found.where.offset > size) std::abort();
    content.locate(found.where);
  }
  for (const report_section& section : content.sections) check_section(content, section);
  if (select_all(content).size() != content.sections.size()) std::abort();
  select_parts(content, bytes.substr(0, 20));
  if (faults.is_whole() && !content.is_complete) std::abort();
  return 0;
}
