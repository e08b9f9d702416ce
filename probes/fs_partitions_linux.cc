// Partitions as /proc/partitions lists them, each with what tune2fs tells about its file system.
#include "probes/fs_partitions_linux.h"

#include <algorithm>
#include <cerrno>
#include <climits>

#include "lib/command.h"
#include "lib/debug.h"
#include "lib/file.h"
#include "lib/getline.h"
#include "lib/record_lines.h"
#include "lib/table_rows.h"
#include "lib/utilstr.h"

namespace kestrel {
namespace {

constexpr const char* k_partitions_file = "/proc/partitions";
constexpr std::string_view k_heading = "major minor  #blocks  name";
constexpr const char* k_superblock_command = "tune2fs -l /dev/%s 2>/dev/null | grep -v 'tune2fs'";
// It reads one block; behind a dead controller it does not return.
constexpr int k_superblock_seconds = 10;
constexpr std::string_view k_name_characters =
    "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789/_-.:+,@!";

constexpr cell_of<partition> k_partition_cells[] = {
    {"Name",            show<&partition::name>           },
    {"No. Blocks",      show<&partition::blocks>         },
    {"Major Number",    show<&partition::major_number>   },
    {"Minor Number",    show<&partition::minor_number>   },
    {"Features",        show<&partition::features>       },
    {"State",           show<&partition::state>          },
    {"Error Behaviour", show<&partition::error_behaviour>},
    {"Last Mount Date", show<&partition::last_mount>     },
    {"Mount Count",     show<&partition::mount_count>    },
    {"Maximum Mounts",  show<&partition::maximum_mounts> },
    {"Block Size",      show<&partition::block_size>     },
    {"Inode Size",      show<&partition::inode_size>     },
};

constexpr line_of<partition> k_superblock_lines[] = {
    {"Filesystem features:", keep<&partition::features>       },
    {"Filesystem state:",    keep<&partition::state>          },
    {"Errors behavior:",     keep<&partition::error_behaviour>},
    {"Last mount time:",     keep<&partition::last_mount>     },
    {"Mount count:",         keep<&partition::mount_count>    },
    {"Maximum mount count:", keep<&partition::maximum_mounts> },
    {"Block size:",          keep<&partition::block_size>     },
    {"Inode size:",          keep<&partition::inode_size>     },
};

command_result read_superblock(partition& details) {
  if (details.name.find_first_not_of(k_name_characters) != std::string::npos) return {};
  static char command[256];
  format_string(command, sizeof command, k_superblock_command, details.name.c_str());
  printd("partitions: '%s'\n", command);
  command_stream running(command, k_superblock_seconds);
  if (!running.is_open()) {
    print_error("partitions: popen", errno);
    return {};
  }
  for_each_line(running.stream(), "partitions",
                [&details](const std::string& line) { parse_superblock_line(line, details); });
  return running.close();
}

}  // namespace

std::optional<partition> parse_partition_line(std::string_view line) {
  int64_t major_number = 0, minor_number = 0, blocks = 0;
  if (!scan_integer(line, major_number) || !scan_integer(line, minor_number) ||
      !scan_integer(line, blocks)) {
    return {};
  }
  partition found;
  found.name = next_word(line);
  if (found.name.empty()) return {};
  found.major_number = to_int(major_number);
  found.minor_number = to_int(minor_number);
  found.blocks = blocks;
  return found;
}

void parse_superblock_line(std::string_view line, partition& details) {
  const line_of<partition>* row = take_key<partition>(k_superblock_lines, line);
  if (row != nullptr) row->keep(details, skip_blanks(line));
}

void write_partitions(FILE* fp, FILE* in) {
  constexpr const char* k_table = "Partition Details";
  record_table table(fp, k_table, k_partition_cells);
  if (in == nullptr) return;
  command_result first_cut;
  std::string line;
  read_line(in, line);
  errno = 0;
  while (read_line(in, line)) {
    printd("partitions: %s\n", std::string(without_newline(line)).c_str());
    const std::string_view text = trim_whitespace(until_nul(line));
    std::optional<partition> found = parse_partition_line(text);
    if (text != k_heading && found) {
      const command_result read = read_superblock(*found);
      if (!first_cut.was_cut()) first_cut = read;
      table.add(found->name, *found);
    }
    errno = 0;
  }
  print_error("partitions: getline", errno);
  tell_cut(first_cut, k_table, table.rows());
}

bool partition_probe::run(FILE* fp) {
  const file_ptr in = open_regular_file(k_partitions_file);
  if (in == nullptr) print_error("partitions: popen", errno);  // Called so on purpose.
  write_partitions(fp, in.get());
  return true;
}

}  // namespace kestrel
