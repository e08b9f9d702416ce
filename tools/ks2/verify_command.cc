// ks2 verify FILE...
#include <algorithm>
#include <cstdio>

#include "lib/utilstr.h"
#include "tools/ks2/command.h"
#include "tools/ks2/shown_text.h"
#include "tools/ks2/verify.h"

namespace kestrel::ks2 {

namespace {

std::string counted(size_t count, const char* one) {
  return format_text("%zu %s%s", count, one, count == 1 ? "" : "s");
}

std::string summary(const input_file& file, const verified_parts& parts) {
  std::string words = file.is_gather_file() ? counted(parts.items, "item") : "a loose report";
  if (parts.sections > 0) {
    words += ", " + counted(parts.sections, "section") + ", " + counted(parts.tables, "table") +
             ", " + counted(parts.rows, "row");
  }
  if (parts.embedded_files > 0) words += ", " + counted(parts.embedded_files, "embedded file");
  if (!parts.without_sums.empty()) words += "; without sums: " + parts.without_sums;
  return words;
}

void print_verdict(const input_file& file, const verified_parts& parts, const fault_list& faults) {
  const std::string verdict =
      faults.is_whole() ? "whole" : "damaged, " + counted(faults.fault_count(), "fault");
  std::printf("%s: %s: %s\n", shown(file.path()).c_str(), verdict.c_str(),
              summary(file, parts).c_str());
  for (const fault& found : faults.all()) {
    const char* level = found.level == severity::fault     ? ""
                        : found.level == severity::warning ? "warning: "
                                                           : "note: ";
    std::printf("  %s: %s%s\n", describe_place(found.where).c_str(), level,
                shown(found.text).c_str());
  }
  if (faults.dropped() > 0) std::printf("  and %zu more\n", faults.dropped());
}

int verify_file(const char* path, const arguments& given) {
  const input_file file(path, given.max_size);
  if (file.status() != exit_whole) {
    std::printf("%s: %s\n", shown(path).c_str(), shown(file.message()).c_str());
    return file.status();
  }
  fault_list faults;
  const verified_parts parts = verify(file, given.thorough, faults);
  print_verdict(file, parts, faults);
  return faults.is_whole() ? exit_whole : exit_damaged;
}

}  // namespace

int run_verify(const arguments& given) {
  int status = exit_whole;
  for (const char* path : given.operands) {
    status = std::max(status, verify_file(path, given));
  }
  return finish_output(status);
}

}  // namespace kestrel::ks2
