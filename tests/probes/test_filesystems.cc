// Mounted file systems and partitions.
#include <gtest/gtest.h>

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
