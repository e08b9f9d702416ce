// The table of the mounted file systems: reads the mount table, /etc/mtab, then asks all of them
// for their sizes, those of servers at once, and writes the rows in the table's order.
#include "probes/fs_linux.h"

#include <mntent.h>
#include <sys/statvfs.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <string>
#include <vector>

#include "lib/debug.h"
#include "lib/file.h"
#include "lib/mounts.h"
#include "lib/table_rows.h"
#include "lib/utilstr.h"

namespace kestrel {
namespace {

constexpr const char* k_mount_table = "/etc/mtab";
constexpr size_t k_longest_entry = 65536;  // overlays have thousands of characters of options
constexpr unsigned k_kilo = 1024;
constexpr std::string_view k_automount = "autofs";

// A mounted file system as the report shows it.
struct filesystem {
  std::string point, device, type;
  filesystem_usage usage;
};

using block_count = uint64_t (*)(const filesystem& row);
uint64_t total_of(const filesystem& row) { return row.usage.total; }
uint64_t free_of(const filesystem& row) { return row.usage.free; }
uint64_t used_of(const filesystem& row) {
  return row.usage.total - std::min(row.usage.free, row.usage.total);
}

uint64_t size_in_bytes(uint64_t count, uint64_t block_size) { return count * block_size; }

template <block_count Count>
std::string capacity(const filesystem& row) {
  char text[32];
  const auto unit = static_cast<unsigned>(std::min<uint64_t>(row.usage.block_size, UINT_MAX));
  return calculate_storage_capacity(Count(row), unit, text, sizeof text, k_kilo);
}

template <block_count Count>
std::string bytes(const filesystem& row) {
  return std::to_string(size_in_bytes(Count(row), row.usage.block_size));
}

constexpr cell_of<filesystem> k_filesystem_cells[] = {
    {"Mount Point",        show<&filesystem::point>.wide(256)  },
    {"Device",             show<&filesystem::device>.wide(256) },
    {"Capacity",           show<capacity<total_of>>.wide(16)   },
    {"Capacity (bytes)",   show_ascii<bytes<total_of>>.wide(20)},
    {"Free Space",         show<capacity<free_of>>.wide(16)    },
    {"Free Space (bytes)", show_ascii<bytes<free_of>>.wide(20) },
    {"Used Space",         show<capacity<used_of>>.wide(16)    },
    {"Used Space (bytes)", show_ascii<bytes<used_of>>.wide(20) },
    {"File System",        show<&filesystem::type>.wide(16)    },
};

constexpr std::string_view k_excluded_types[] = {"devfs",  "tmpfs",    "proc",
                                                 "devpts", "usbdevfs", "shm"};

struct usage_answer {
  int reason = 0;  // errno
  filesystem_usage usage;
};

std::string measure(const char* path) {
  usage_answer told;
  struct statvfs found = {};
  if (statvfs(path, &found) != 0) {
    told.reason = errno;
  } else {
    told.usage = {found.f_frsize != 0 ? found.f_frsize : found.f_bsize, found.f_blocks,
                  found.f_bfree};
  }
  return {reinterpret_cast<const char*>(&told), sizeof told};
}

// Fills in the sizes, zero where they cannot be told. What only waits to be mounted is left alone.
void measure_all(std::vector<filesystem>& mounts) {
  std::vector<std::string> points;
  std::vector<filesystem*> asked;
  for (filesystem& mount : mounts) {
    if (mount.type == k_automount) {
      printd("fs_linux: %s only waits to be mounted, not asked\n", mount.point.c_str());
      continue;
    }
    points.push_back(mount.point);
    asked.push_back(&mount);
  }
  const std::vector<path_answer> answers = ask_paths(points, measure);
  for (size_t i = 0; i < answers.size(); ++i) {
    usage_answer told = {answers[i].reason, {}};
    if (answers[i].bytes.size() == sizeof told) memcpy(&told, answers[i].bytes.data(), sizeof told);
    if (told.reason != 0) {
      print_error(("fs_linux: statvfs " + points[i]).c_str(), told.reason);
    }
    asked[i]->usage = told.usage;
  }
}

}  // namespace

bool is_excluded(std::string_view type) {
  const auto* end = std::end(k_excluded_types);
  const bool found = std::find(std::begin(k_excluded_types), end, type) != end;
  printd("fs_linux: %s is %d\n", std::string(type).c_str(), found);
  return found;
}

bool get_mounted_filesystems(FILE* fp, FILE* mounts) {
  std::vector<char> text(k_longest_entry);
  std::vector<filesystem> found;
  mntent entry;
  bool any = false;
  errno = 0;
  while (getmntent_r(mounts, &entry, text.data(), static_cast<int>(text.size())) != nullptr) {
    any = true;
    printd("fs_linux: %s\n", entry.mnt_dir);
    if (!is_excluded(entry.mnt_type)) {
      found.push_back({entry.mnt_dir, entry.mnt_fsname, entry.mnt_type, {}});
    }
    errno = 0;
  }
  print_error("fs_linux:getmntent", errno);
  measure_all(found);
  record_table table(fp, "Mounted Filesystems", k_filesystem_cells);
  for (const filesystem& mount : found) table.add(mount.point.c_str(), mount);
  printd("done getting mount entries\n");
  return any;
}

bool get_filesystem_information(FILE* fp) {
  const file_ptr mounts = open_regular_file(k_mount_table);  // as setmntent, but never blocks
  if (mounts == nullptr) {
    print_error("fs_linux: setmntent", errno);
    return false;
  }
  return get_mounted_filesystems(fp, mounts.get());
}

bool disk_probe::run(FILE* fp) { return get_filesystem_information(fp); }

}  // namespace kestrel
