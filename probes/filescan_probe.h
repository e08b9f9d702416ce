// The task that runs a file scan which the user asked for with "-p FILESCAN path=... filter=...".
#pragma once

#include <optional>
#include <string>

#include "gatherer/probe.h"

namespace kestrel {

/// Scans into a separate file that goes into the gather file; with the report on standard output,
/// into the report.
class filescan_probe : public legacy_probe {
 public:
  filescan_probe(const char* name, int order, int detail, unsigned platforms, unsigned customers);

  /// True once a path and a filter are given.
  bool test() override;
  /// False, with the reason as status text, when the separate file could not be written; that
  /// fails the run, too.
  bool run(FILE* fp) override;
  /// False for a value or a name that is told to the user as wrong.
  bool set_parameter(const char* key, const char* value) override;

 private:
  using text = std::optional<std::string>;
  struct text_parameter {
    const char* name;
    text filescan_probe::*place;
  };
  struct flag_parameter {
    const char* name;
    bool filescan_probe::*place;
  };
  static const text_parameter k_texts[];
  static const flag_parameter k_flags[];

  bool set_flag(const flag_parameter& flag, const char* value);
  int scan(FILE* out) const;
  bool run_into_file();

  text path_, filter_, ignore_, mask_, check_, version_;
  bool date_ = true;
  bool size_ = true;
};

}  // namespace kestrel
