// See fs_linux.h.
#include "probes/fs_linux.h"

#include <mntent.h>
#include <sys/statvfs.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <set>
#include <string>
#include <vector>

#include "lib/debug.h"
#include "lib/file.h"
#include "lib/in_child.h"
#include "lib/table.h"
#include "lib/utilstr.h"

namespace kestrel {
namespace {

constexpr const char* k_mount_table = "/etc/mtab";
constexpr size_t k_longest_entry = 65536;  // overlays have thousands of characters of options
constexpr unsigned k_kilo = 1024;

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

bool read_usage(const char* folder, filesystem_usage& usage) {
  struct statvfs answer;
  if (statvfs(folder, &answer) != 0) return false;
  usage.block_size = answer.f_frsize != 0 ? answer.f_frsize : answer.f_bsize;
  usage.total = answer.f_blocks;
  usage.free = answer.f_bfree;
  return true;
}

// Asks for the sizes of mounts; a server that once did not answer is not asked for the next one.
class usage_reader {
 public:
  /// All zero when the sizes cannot be told.
  filesystem_usage usage_of(const mntent& entry);

 private:
  bool ask_remote(const mntent& entry, filesystem_usage& usage);
  bool is_behind_remote(const std::string& folder) const;

  std::vector<std::string> remote_folders_;  // with a slash behind
  std::set<std::string> silent_servers_;
};

filesystem_usage usage_reader::usage_of(const mntent& entry) {
  filesystem_usage usage;
  errno = 0;
  std::string folder = entry.mnt_dir;
  if (!folder.ends_with('/')) folder += '/';
  const bool is_remote = may_hang(entry.mnt_type);
  const bool is_known = is_remote || is_behind_remote(folder) ? ask_remote(entry, usage)
                                                              : read_usage(entry.mnt_dir, usage);
  if (is_remote) remote_folders_.push_back(folder);
  if (!is_known) print_error("fs_linux: statvfs", errno);
  return usage;
}

// The way to a local mount may lead through a remote one.
bool usage_reader::is_behind_remote(const std::string& folder) const {
  return std::any_of(remote_folders_.begin(), remote_folders_.end(),
                     [&](const std::string& above) { return folder.starts_with(above); });
}

// "host:/folder" or "//host/share"; "" when the device names no server.
std::string server_of(const std::string& device) {
  const bool is_share = device.starts_with("//");
  // The colons of an IPv6 address stand in brackets.
  const size_t start = device.starts_with('[') ? device.find(']') : 0;
  const size_t end = is_share ? device.find('/', 2) : device.find(':', start);
  return end == std::string::npos ? "" : device.substr(0, end);
}

bool usage_reader::ask_remote(const mntent& entry, filesystem_usage& usage) {
  const std::string server = server_of(entry.mnt_fsname);
  const bool is_named = !server.empty();
  if (is_named && silent_servers_.count(server) != 0) {
    errno = EHOSTDOWN;
    return false;
  }
  const auto read = [&entry](filesystem_usage& answer) {
    return read_usage(entry.mnt_dir, answer);
  };
  if (read_in_child(read, k_server_patience, usage)) return true;
  if (is_named && errno == ETIMEDOUT) silent_servers_.insert(server);
  return false;
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
