// What is found wrong with a file, and where. Every reader appends to one list; `verify` prints it,
// the other commands warn with it.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace kestrel::ks2 {

/// The program's exit statuses; of several files the highest counts.
enum exit_status : int {
  exit_whole = 0,
  exit_damaged = 1,  ///< also: suspect, holds no report, could not be written
  exit_usage = 2,
  exit_not_gather_file = 3,
  exit_unreadable = 4,
};

enum class severity {
  note,       ///< worth knowing, nothing is wrong
  warning,    ///< odd, but nothing that the writer vouched for was changed
  suspicion,  ///< it is not what the gatherer leaves: changed, or made by another program
  fault,      ///< the file is damaged
};

/// A place in a file. Indices are those of the report model, -1 where they do not apply.
struct place {
  int item = 0;  ///< number of the item, counted from 1; 0: the container, or a loose report
  int section = -1;
  int table = -1;         ///< of the section's tables
  int file = -1;          ///< of the section's embedded files
  int row = -1;           ///< of the table
  std::string name = {};  ///< "SECTION/TABLE" for people, printable; empty: neither
  size_t offset = 0;      ///< byte in the decoded item; for the container, in its plain form
};

struct fault {
  severity level;
  std::string text;  ///< printable as it is
  place where;
};

/// The faults of one file in the order found. A hostile file may hold millions; the first ones are
/// kept, the rest is only counted.
class fault_list {
 public:
  static constexpr size_t k_most = 1000;

  void add(severity level, size_t offset, std::string text);
  /// Places that are added later belong to this item.
  void set_item(int item) { item_ = item; }
  /// Takes what another list holds; with `is_excused` its faults are only warnings.
  void append(const fault_list& other, bool is_excused);

  const std::vector<fault>& all() const { return all_; }
  std::vector<fault>& all() { return all_; }
  /// Of severity::fault, those not kept included.
  size_t fault_count() const { return fault_count_; }
  /// Entries that were found but not kept.
  size_t dropped() const { return dropped_; }
  bool is_damaged() const { return fault_count_ > 0; }
  /// Not damaged, but there are suspicions.
  bool is_suspect() const { return !is_damaged() && suspicion_count_ > 0; }
  bool is_whole() const { return !is_damaged() && !is_suspect(); }

 private:
  std::vector<fault> all_;
  size_t fault_count_ = 0;
  size_t suspicion_count_ = 0;
  size_t dropped_ = 0;
  int item_ = 0;
};

}  // namespace kestrel::ks2
