// Mounted file systems, children that ask for them, and partitions.
#include <gtest/gtest.h>
#include <sys/statvfs.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <ctime>

#include "lib/in_child.h"
#include "probes/fs_linux.h"
#include "probes/fs_partitions_linux.h"
#include "tests/probes/report_rows.h"

namespace kestrel {
namespace {

TEST(Filesystems, EveryMountButTheExcludedHasARow) {
  const std::string row = "0 bytes|0|0 bytes|0|0 bytes|0|";
  EXPECT_EQ(
      report_of_file([](FILE* out, FILE* in) { EXPECT_TRUE(get_mounted_filesystems(out, in)); },
                     "# comment\nproc /proc proc rw 0 0\ntmpfs /dev/shm tmpfs rw 0 0\n"
                     "dev\\040ice /no/such\\040folder ext4 rw," +
                         std::string(100000, 'o') +
                         " 0 0\nserver:/home /no/such/home nfs4 rw 0 0\nhalf"),
      "Mounted Filesystems\n/no/such folder|dev ice|" + row + "ext4|\n/no/such/home|server:/home|" +
          row + "nfs4|\n|half|" + row + "|\n");
  EXPECT_EQ(report_of_file(
                [](FILE* out, FILE* in) { EXPECT_FALSE(get_mounted_filesystems(out, in)); }, ""),
            "Mounted Filesystems\n");
}

// The three sizes in bytes of the report's row.
std::string sizes_of(const std::string& report, const std::string& device) {
  std::istringstream cells(report.substr(report.find("|" + device + "|") + 1));
  std::string sizes, cell;
  for (int i = 0; i < 7 && std::getline(cells, cell, '|'); ++i) {
    if (i == 2 || i == 4 || i == 6) sizes += cell + " ";
  }
  return sizes;
}

TEST(Filesystems, SizesAreTheSameFromAChild) {
  struct statvfs before, after;
  std::string report;
  do {  // until nobody wrote in between
    ASSERT_EQ(statvfs("/dev", &before), 0);
    report = report_of_file(get_mounted_filesystems, "a /dev ext4 rw 0 0\nb /dev fuse.x rw 0 0\n");
    ASSERT_EQ(statvfs("/dev", &after), 0);
  } while (before.f_bfree != after.f_bfree);
  std::string sizes;
  for (uint64_t count : {before.f_blocks, before.f_bfree, before.f_blocks - before.f_bfree}) {
    sizes += std::to_string(count * before.f_frsize) + " ";
  }
  EXPECT_EQ(sizes_of(report, "a"), sizes);
  EXPECT_EQ(sizes_of(report, "b"), sizes);
}

TEST(Filesystems, ChildThatDoesNotAnswerIsEnded) {
  filesystem_usage usage = {1, 2, 3};
  const auto asked = [&usage](auto&& read) { return read_in_child(read, 200, usage); };
  EXPECT_FALSE(asked([](filesystem_usage&) { return pause() == 0; }));
  EXPECT_EQ(errno, ETIMEDOUT);
  EXPECT_FALSE(asked([](filesystem_usage&) { return false; }));
  EXPECT_FALSE(asked([](filesystem_usage&) -> bool { _exit(0); }));
  EXPECT_EQ(usage.free, 3u);
  EXPECT_TRUE(asked([](filesystem_usage& answer) {
    answer = {4096, 1000, 10};
    return true;
  }));
  EXPECT_EQ(usage.block_size * usage.total, 4096000u);
  EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1);
  EXPECT_EQ(errno, ECHILD);
}

constexpr const char* k_tune2fs = R"sh(
case $2 in
/dev/sda1) echo "tune2fs 1.47.0 (5-Feb-2023)"
  echo "Filesystem volume name:   <none>"
  echo "Filesystem features:      has_journal ext_attr"
  echo "Filesystem state:         not clean with errors"
  echo "Errors behavior:          Remount read-only"
  echo "Last mount time:          Tue Nov 24 23:37:16 2026"
  echo "Mount count:              0x1f"
  echo "Maximum mount count:      -1"
  echo "Block size:               99999999999"
  echo "Inode size:	          256" ;;
*) echo "$2" >> $0.log; echo "tune2fs: Bad magic number"; exit 1 ;;
esac
)sh";

TEST(Partitions, SuperblocksOfThoseThatHaveOne) {
  command_stand_ins commands;
  commands.add("tune2fs", k_tune2fs);
  const std::string trap = "$(touch${IFS}" + commands.folder() + "/bad)";
  EXPECT_EQ(report_of_file(write_partitions,
                           "major minor  #blocks  name\n\n"
                           "   8        0 5000000000 sda\n   8        1     65536 sda1\n"
                           "major minor  #blocks  name\n 8 2 nothing sda2\n 8 3 77\n"
                           "1 2 3 " +
                               trap + "\n104 0 1 cciss/c0d0"),
            "Partition Details\nsda|5000000000|8|0|||||0|0|0|0|\n"
            "sda1|65536|8|1|has_journal ext_attr|not clean with e|Remount read-only|"
            "Tue Nov 24 23:37:16 2026|31|-1|2147483647|256|\n" +
                trap + "|3|1|2|||||0|0|0|0|\ncciss/c0d0|1|104|0|||||0|0|0|0|\n");
  EXPECT_FALSE(std::filesystem::exists(commands.folder() + "/bad"));
  std::ifstream log(commands.folder() + "/tune2fs.log");
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(log), {}), "/dev/sda\n/dev/cciss/c0d0\n");
}

}  // namespace
}  // namespace kestrel
