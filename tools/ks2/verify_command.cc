// ks2 verify FILE...
#include <algorithm>
#include <cstdio>

#include "lib/utilstr.h"
#include "tools/ks2/command.h"
#include "tools/ks2/shown_text.h"
#include "tools/ks2/verify.h"

namespace kestrel::ks2 {

namespace {

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
  const std::string verdict = !faults.is_whole()
                                  ? "damaged, " + counted(faults.fault_count(), "fault")
                              : !parts.is_refused ? "whole"
                                                  : "not all of it could be checked";
  print_text(stdout, shown(file.path()) + ": " + verdict + ": " + summary(file, parts) + "\n");
  for (const fault& found : faults.all()) {
    const char* level = found.level == severity::fault     ? ""
                        : found.level == severity::warning ? "warning: "
                                                           : "note: ";
    print_text(stdout,
               "  " + describe_place(found.where) + ": " + level + shown(found.text) + "\n");
  }
  if (faults.dropped() > 0) std::printf("  and %zu more\n", faults.dropped());
}

int verify_file(const char* path, const arguments& given) {
  const input_file file(path, given.max_size);
  if (file.status() != exit_whole) {
    print_text(stdout, shown(path) + ": " + shown(file.message()) + "\n");
    return file.status();
  }
  fault_list faults;
  const verified_parts parts = verify(file, given.thorough, faults);
  print_verdict(file, parts, faults);
  if (parts.is_refused) return exit_unreadable;
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
