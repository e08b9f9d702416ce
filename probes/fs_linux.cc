// See fs_linux.h.
#include "probes/fs_linux.h"

#include <mntent.h>
#include <sys/statvfs.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <string>
#include <vector>

#include "lib/debug.h"
#include "lib/file.h"
#include "lib/remote_files.h"
#include "lib/table.h"
#include "lib/utilstr.h"

namespace kestrel {
namespace {

constexpr const char* k_mount_table = "/etc/mtab";
constexpr size_t k_longest_entry = 65536;  // overlays have thousands of characters of options
constexpr unsigned k_kilo = 1024;
constexpr std::string_view k_automount = "autofs";

constexpr column k_filesystem_columns[] = {
    {"Mount Point",        DT_STRING, 256},
    {"Device",             DT_STRING, 256},
    {"Capacity",           DT_STRING, 16 },
    {"Capacity (bytes)",   DT_ASCII,  20 },
    {"Free Space",         DT_STRING, 16 },
    {"Free Space (bytes)", DT_ASCII,  20 },
    {"Used Space",         DT_STRING, 16 },
    {"Used Space (bytes)", DT_ASCII,  20 },
    {"File System",        DT_STRING, 16 },
};

constexpr std::string_view k_excluded_types[] = {"devfs",  "tmpfs",    "proc",
                                                 "devpts", "usbdevfs", "shm"};

uint64_t size_in_bytes(uint64_t count, uint64_t block_size) { return count * block_size; }

// Asks for the sizes of mounts. What only waits to be mounted is left alone.
class usage_reader {
 public:
  /// All zero when the sizes cannot be told.
  filesystem_usage usage_of(const mntent& entry);

 private:
  bool measure(const mntent& entry, struct statvfs& answer);

  remote_files remote_;
};

filesystem_usage usage_reader::usage_of(const mntent& entry) {
  struct statvfs answer = {};
  errno = 0;
  if (entry.mnt_type == k_automount || !measure(entry, answer)) {
    print_error("fs_linux: statvfs", errno);
    return {};
  }
  return {answer.f_frsize != 0 ? answer.f_frsize : answer.f_bsize, answer.f_blocks, answer.f_bfree};
}

// The way to a local mount may lead over a remote one.
bool usage_reader::measure(const mntent& entry, struct statvfs& answer) {
  remote_mount* on = remote_on_way(entry.mnt_dir);
  if (on == nullptr) return statvfs(entry.mnt_dir, &answer) == 0;
  return remote_.measure(entry.mnt_dir, *on, answer);
}

void log_size(Table& table, uint64_t count, uint64_t block_size) {
  char text[32];
  const auto unit = static_cast<unsigned>(std::min<uint64_t>(block_size, UINT_MAX));
  table.log_data(calculate_storage_capacity(count, unit, text, sizeof text, k_kilo));
  const uint64_t bytes = size_in_bytes(count, block_size);
  table.log_data(format_text("%llu", static_cast<unsigned long long>(bytes)));
}

void write_filesystem(Table& table, const mntent& entry, const filesystem_usage& usage) {
  const uint64_t used = usage.total - std::min(usage.free, usage.total);
  table.start_row(entry.mnt_dir);
  table.log_data(entry.mnt_dir);
  table.log_data(entry.mnt_fsname);
  for (uint64_t count : {usage.total, usage.free, used}) {
    log_size(table, count, usage.block_size);
  }
  table.log_data(entry.mnt_type);
  table.end_row();
}

}  // namespace

bool is_excluded(std::string_view type) {
  const auto* end = std::end(k_excluded_types);
  const bool found = std::find(std::begin(k_excluded_types), end, type) != end;
  printd("fs_linux: %s is %d\n", std::string(type).c_str(), found);
  return found;
}

bool get_mounted_filesystems(FILE* fp, FILE* mounts) {
  Table table(fp, "Mounted Filesystems");
  table.declare(k_filesystem_columns);
  std::vector<char> text(k_longest_entry);
  usage_reader reader;
  mntent entry;
  bool any = false;
  errno = 0;
  while (getmntent_r(mounts, &entry, text.data(), static_cast<int>(text.size())) != nullptr) {
    any = true;
    printd("fs_linux: %s\n", entry.mnt_dir);
    if (!is_excluded(entry.mnt_type)) write_filesystem(table, entry, reader.usage_of(entry));
    errno = 0;
  }
  print_error("fs_linux:getmntent", errno);
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
