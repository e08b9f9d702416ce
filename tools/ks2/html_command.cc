// ks2 html FILE [-o OUT]: the report as a page, into a file that takes its name when it is whole,
// or to standard output.
#include <algorithm>
#include <cstdio>
#include <optional>

#include "tools/ks2/command.h"
#include "tools/ks2/command_output.h"
#include "tools/ks2/html_page.h"
#include "tools/ks2/progress.h"
#include "tools/ks2/safe_output.h"
#include "tools/ks2/shown_text.h"

namespace kestrel::ks2 {

namespace {

/// In the current folder, named after the file.
std::string default_output(const char* path) {
  std::string name = safe_file_name(path);
  const size_t dot = name.rfind('.');
  if (dot != std::string::npos && dot > 0) name.resize(dot);
  return (name.empty() ? "report" : name) + ".html";
}

int write_to_file(const page_source& source, const input_file& file, const std::string& path,
                  const arguments& given) {
  command_output out(file.path(), path, given.force);
  if (out.status() != exit_whole) return out.status();
  {
    progress_stage stage(path + ": writing the page");
    write_page(source, out.get());
  }
  const int status = out.finish();
  if (status == exit_whole && given.output == nullptr) print_text(stdout, shown(path) + "\n");
  return status;
}

}  // namespace

int run_html(const arguments& given) {
  const input_file file(given.operands[0], given.max_size);
  if (file.status() != exit_whole) return refuse(file);
  judgement found;
  int status = exit_whole;
  const std::optional<opened_report> opened = open_or_complain(file, found, status);
  if (!opened) return status;
  std::string_view name = file.path();
  name.remove_prefix(name.rfind('/') + 1);  // npos + 1 is 0
  const page_source source = {std::string(name), file.bytes().size(), read_identity(file),
                              opened->content, found};
  const std::string path = given.output != nullptr ? given.output : default_output(file.path());
  return finish_output(std::max(status, write_to_file(source, file, path, given)));
}

}  // namespace kestrel::ks2
