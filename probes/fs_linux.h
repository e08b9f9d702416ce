// The mounted file systems and their sizes.
#pragma once

#include <cstdint>
#include <functional>
#include <string_view>

#include "gatherer/probe.h"

namespace kestrel {

/// What `statvfs` tells, in blocks of `block_size` bytes. Blocks reserved for the superuser count
/// as free.
struct filesystem_usage {
  uint64_t block_size = 0;
  uint64_t total = 0;
  uint64_t free = 0;
};

/// True for the types that are not reported.
bool is_excluded(std::string_view type);
/// True for the types whose answer may wait for another machine or another process.
bool may_hang(std::string_view type);

/// Calls `read` in a child process that gets `milliseconds` and is then killed. False, and `usage`
/// unchanged, when `read` says so or did not answer in time.
bool read_in_child(const std::function<bool(filesystem_usage& usage)>& read, int milliseconds,
                   filesystem_usage& usage);

/// Writes the table from a mount table, read to its end. True when that had an entry.
bool get_mounted_filesystems(FILE* fp, FILE* mounts);
/// The same from the machine's own mount table; nothing is written when there is none.
bool get_filesystem_information(FILE* fp);

class disk_probe : public probe {
 public:
  using probe::probe;
  bool run(FILE* fp) override;
};

}  // namespace kestrel
