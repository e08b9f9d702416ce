// ks2 show FILE [SECTION[/TABLE]]
#include <algorithm>
#include <optional>

#include "tools/ks2/command.h"
#include "tools/ks2/judge.h"
#include "tools/ks2/show_formats.h"

namespace kestrel::ks2 {

namespace {

constexpr const show_format* k_formats[] = {&k_text_output, &k_csv_output, &k_json_output};

const show_format& format_named(std::string_view name) {
  for (const show_format* known : k_formats) {
    if (name == known->name) return *known;
  }
  return k_text_output;
}

}  // namespace

int run_show(const arguments& given) {
  if (given.all && given.operands.size() > 1) {
    complain("show", "either all sections (-a) or those that are named");
    return exit_usage;
  }
  const input_file file(given.operands[0], given.max_size);
  if (file.status() != exit_whole) return refuse(file);
  judgement found;
  int status = exit_whole;
  const std::optional<opened_report> opened = open_or_complain(file, found, status);
  if (!opened) return status;
  const show_format& format = format_named(given.format);
  const bool is_list = given.operands.size() == 1 && !given.all;
  std::vector<selected_section> sections;
  if (!is_list) {
    sections =
        given.all ? select_all(opened->content) : select_parts(opened->content, given.operands[1]);
    if (sections.empty() && !given.all) {
      complain(given.operands[1], "no section or table has a name that begins so");
      return exit_usage;
    }
  }
  {
    paged_output out(format.readers);
    if (is_list) {
      format.list(opened->content, out);
    } else {
      format.show(sections, out);
    }
  }
  return finish_output(status);
}

}  // namespace kestrel::ks2
