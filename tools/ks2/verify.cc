// ks2 verify FILE...
#include <algorithm>
#include <cstdio>

#include "lib/utilstr.h"
#include "tools/ks2/command.h"
#include "tools/ks2/judge.h"
#include "tools/ks2/shown_text.h"

namespace kestrel::ks2 {

namespace {

std::string summary(const input_file& file, const judgement& found) {
  std::string words = file.is_gather_file() ? counted(found.items, "item") : "a loose report";
  if (found.sections > 0) {
    words += ", " + counted(found.sections, "section") + ", " + counted(found.tables, "table") +
             ", " + counted(found.rows, "row");
  }
  if (found.embedded_files > 0) words += ", " + counted(found.embedded_files, "embedded file");
  if (!found.without_sums.empty()) words += "; without sums: " + found.without_sums;
  return words;
}

/// The first words are for scripts, too.
std::string verdict(const judgement& found) {
  if (found.faults.is_damaged()) return "damaged, " + counted(found.faults.fault_count(), "fault");
  if (found.faults.is_suspect()) return "suspect";
  return found.is_refused ? "not all of it could be checked" : "whole";
}

const char* level_word(severity level) {
  switch (level) {
    case severity::fault:
      return "";
    case severity::suspicion:
      return "suspect: ";
    case severity::warning:
      return "warning: ";
    default:
      return "note: ";
  }
}

void print_judgement(const input_file& file, const judgement& found) {
  print_text(stdout,
             shown(file.path()) + ": " + verdict(found) + ": " + summary(file, found) + "\n");
  for (const fault& told : found.faults.all()) {
    print_text(stdout, "  " + describe_place(told.where) + ": " + level_word(told.level) +
                           shown(told.text) + "\n");
  }
  if (found.faults.dropped() > 0) std::printf("  and %zu more\n", found.faults.dropped());
}

int verify_file(const char* path, const arguments& given) {
  const input_file file(path, given.max_size);
  if (file.status() != exit_whole) {
    print_text(stdout, shown(file.path()) + ": " + shown(file.message()) + "\n");
    return file.status();
  }
  const judgement found = judge(file, given.thorough ? judging::thorough : judging::quick);
  print_judgement(file, found);
  return found.status();
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
