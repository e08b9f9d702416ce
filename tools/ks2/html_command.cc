// ks2 html FILE [-o OUT]
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <optional>

#include "tools/ks2/command.h"
#include "tools/ks2/html_page.h"
#include "tools/ks2/open_report.h"
#include "tools/ks2/progress.h"
#include "tools/ks2/safe_output.h"
#include "tools/ks2/shown_text.h"

namespace kestrel::ks2 {

namespace {

bool is_same_file(const char* one, const char* other) {
  struct stat a, b;
  return stat(one, &a) == 0 && stat(other, &b) == 0 && a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

/// --force replaces files (and links, never what they point to), nothing else.
bool is_no_file(const char* path) {
  struct stat status;
  return lstat(path, &status) == 0 && !S_ISREG(status.st_mode) && !S_ISLNK(status.st_mode);
}

/// In the current folder, named after the file.
std::string default_output(const char* path) {
  std::string name = safe_file_name(path);
  const size_t dot = name.rfind('.');
  if (dot != std::string::npos && dot > 0) name.resize(dot);
  return (name.empty() ? "report" : name) + ".html";
}

int write_to_file(const page_source& source, const std::string& path, const arguments& given) {
  if (is_same_file(given.operands[0], path.c_str())) {
    complain(path, "is the input itself");
    return exit_usage;
  }
  if (is_no_file(path.c_str())) {
    complain(path, "is no regular file");
    return exit_damaged;
  }
  file_ptr out = create_safely(path.c_str(), given.force);
  if (out == nullptr) {
    complain(path, errno == EEXIST ? "exists; --force replaces it" : std::strerror(errno));
    return exit_damaged;
  }
  {
    progress_stage stage(path + ": writing the page");
    write_page(source, out.get());
  }
  if (!close_checked(std::move(out))) {
    complain(path, std::strerror(errno));
    unlink(path.c_str());
    return exit_damaged;
  }
  if (given.output == nullptr) std::printf("%s\n", shown(path).c_str());
  return exit_whole;
}

}  // namespace

int run_html(const arguments& given) {
  const input_file file(given.operands[0], given.max_size);
  if (file.status() != exit_whole) return refuse(file);
  fault_list faults;
  std::optional<opened_report> opened;
  {
    progress_stage stage(std::string(file.path()) + ": reading the report");
    opened = open_report(file, faults);
  }
  const int status = warn(file, faults);
  if (!opened) {
    complain(file.path(), "holds no ksml report; it holds: " + describe_contents(file));
    return exit_damaged;
  }
  std::string_view name = file.path();
  name.remove_prefix(name.rfind('/') + 1);  // npos + 1 is 0
  const page_source source = {std::string(name), file.bytes().size(), read_identity(file),
                              opened->content, faults};
  if (given.output != nullptr && std::strcmp(given.output, "-") == 0) {
    write_page(source, stdout);
    return finish_output(status);
  }
  const std::string path = given.output != nullptr ? given.output : default_output(file.path());
  return finish_output(std::max(status, write_to_file(source, path, given)));
}

}  // namespace kestrel::ks2
