// The mounted file systems and their sizes.
#pragma once

#include <cstdint>
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

/// Writes the table from a mount table, read to its end. True when that had an entry.
bool get_mounted_filesystems(FILE* fp, FILE* mounts);
/// The same from the machine's own mount table, /etc/mtab; false, and nothing is written when there
/// is none.
bool get_filesystem_information(FILE* fp);

/// The table of the mounted file systems.
class disk_probe : public probe {
 public:
  using probe::probe;
  /// See get_filesystem_information.
  bool run(FILE* fp) override;
};

}  // namespace kestrel
