// What a probe writes, in two forms that tests can compare whole, and stand-ins for the commands
// that it runs.
#pragma once

#include <sys/stat.h>

#include <cstdio>
#include <cstdlib>
#include <regex>
#include <sstream>
#include <string>
#include <string_view>

#include "lib/table.h"
#include "tests/lib/report_capture.h"

namespace kestrel {

/// The titles and the rows of what `write(FILE*)` reports, the values of a row joined by '|'.
template <class Writer>
std::string report_of(Writer&& write) {
  const output_format_type format = Table::get_output_format();
  Table::set_output_format(OUTPUT_LIST);
  std::istringstream lines(written_by(write));
  Table::set_output_format(format);
  std::string report;
  for (std::string line; std::getline(lines, line);) {
    const size_t value = line.find(": ");
    if (value != std::string::npos) report += line.substr(value + 2) + '|';
    if (value == std::string::npos && !line.starts_with('-')) report += line + '\n';
  }
  return report;
}

/// The same of ksml, each row as "name: cell|cell|", escapes as they stand.
template <class Writer>
std::string ksml_rows_of(Writer&& write) {
  static const std::regex k_element(
      "<(TABLE|ROW) ID=\"([^\"]*)\">\r\n|<[A-Z]+ ID=\"[^\"]*\"(?: W=\"\\d+\")?>([^<]*)</|(</ROW>)");
  Table::set_output_format(OUTPUT_KSML);
  const std::string text = written_by(write);
  std::string rows;
  for (std::sregex_iterator at(text.begin(), text.end(), k_element), end; at != end; ++at) {
    if ((*at)[1].matched) {
      rows += (*at)[2].str() + ((*at)[1] == "TABLE" ? "\n" : ": ");
    } else {
      rows += (*at)[4].matched ? "\n" : (*at)[3].str() + "|";
    }
  }
  return rows;
}

/// The report that `write(FILE* out, FILE* in)` makes of a file with that content.
template <class Writer>
std::string report_of_file(Writer&& write, std::string content) {
  FILE* in =
      content.empty() ? fopen("/dev/null", "r") : fmemopen(content.data(), content.size(), "r");
  const std::string report = report_of([&](FILE* out) { write(out, in); });
  fclose(in);
  return report;
}

/// Commands of a folder of its own, found before those of the machine.
class command_stand_ins {
 public:
  command_stand_ins() { setenv("PATH", (folder() + ":" + path_).c_str(), 1); }
  ~command_stand_ins() { setenv("PATH", path_.c_str(), 1); }
  void add(const std::string& name, std::string_view script) {
    put_file(folder_ / name, "#!/bin/sh\n" + std::string(script));
    chmod((folder_ / name).c_str(), 0755);
  }
  const std::string& folder() const { return folder_.path(); }

 private:
  scratch_folder folder_;
  const std::string path_ = getenv("PATH") != nullptr ? getenv("PATH") : "";
};

}  // namespace kestrel
