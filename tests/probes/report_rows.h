// What a probe writes, in a form that tests can compare whole, and stand-ins for the commands that
// it runs.
#pragma once

#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <string_view>

#include "lib/table.h"

namespace kestrel {

/// The titles and the rows of what `write(FILE*)` reports, the values of a row joined by '|'.
template <class Writer>
std::string report_of(Writer&& write) {
  char* text = nullptr;
  size_t size = 0;
  const output_format_type format = Table::get_output_format();
  Table::set_output_format(OUTPUT_LIST);
  FILE* out = open_memstream(&text, &size);
  write(out);
  fclose(out);
  Table::set_output_format(format);
  std::istringstream lines(std::string(text, size));
  free(text);
  std::string report;
  for (std::string line; std::getline(lines, line);) {
    const size_t value = line.find(": ");
    if (value != std::string::npos) report += line.substr(value + 2) + '|';
    if (value == std::string::npos && !line.starts_with('-')) report += line + '\n';
  }
  return report;
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
  command_stand_ins() : path_(getenv("PATH") != nullptr ? getenv("PATH") : "") {
    char folder[] = "/tmp/kestrel_commands_XXXXXX";
    folder_ = mkdtemp(folder);
    setenv("PATH", (folder_ + ":" + path_).c_str(), 1);
  }
  command_stand_ins(const command_stand_ins&) = delete;
  command_stand_ins& operator=(const command_stand_ins&) = delete;
  ~command_stand_ins() {
    setenv("PATH", path_.c_str(), 1);
    std::filesystem::remove_all(folder_);
  }
  void add(const std::string& name, std::string_view script) {
    const std::string file = folder_ + "/" + name;
    std::ofstream(file) << "#!/bin/sh\n" << script;
    chmod(file.c_str(), 0755);
  }
  const std::string& folder() const { return folder_; }

 private:
  std::string path_;
  std::string folder_;
};

}  // namespace kestrel
