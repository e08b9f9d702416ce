// The disk partitions that the kernel knows, with what the superblocks of ext2 and its successors
// tell.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "gatherer/probe.h"
#include "lib/record_members.h"

namespace kestrel {

/// A line of /proc/partitions and what `tune2fs -l` tells about it.
struct partition {
  kept_text<63> name;
  int major_number = 0;
  int minor_number = 0;
  int64_t blocks = 0;  ///< of 1 KB
  /// The superblock's; empty and 0 where there is none.
  fitted_text<128> features;
  fitted_text<16> state;
  fitted_text<64> error_behaviour, last_mount;
  int mount_count = 0;
  int maximum_mounts = 0;
  int block_size = 0;  ///< bytes, as the next
  int inode_size = 0;
};
/// Takes a line of /proc/partitions. Nothing unless it has all four fields.
std::optional<partition> parse_partition_line(std::string_view line);
/// Takes a line of the superblock's listing without its newline; one with another key changes
/// nothing.
void parse_superblock_line(std::string_view line, partition& details);

/// Writes the table from `in`, a list like /proc/partitions, read to its end. A command is run for
/// every partition, unless a shell would find more in its name than a name.
/// A null list gives no rows.
void write_partitions(FILE* fp, FILE* in);

/// The table of the machine's own partitions.
class partition_probe : public probe {
 public:
  using probe::probe;
  /// Always true.
  bool run(FILE* fp) override;
};

}  // namespace kestrel
