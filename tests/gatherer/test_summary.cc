// The system summary as older flavours have it, and which distribution os_info sees.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstring>
#include <sstream>

#include "gatherer/os_linux.h"
#include "gatherer/summary.h"
#include "lib/dmi.h"
#include "lib/sysinfo.h"
#include "lib/table.h"
#include "tests/doors/fake_pma.h"
#include "tests/lib/report_capture.h"

namespace kestrel {
namespace {

/// Names and values of everything that the probe writes, in order.
std::string cells_of(probe& probe) {
  std::istringstream lines(written_by([&](FILE* out) { EXPECT_TRUE(probe.run(out)); }));
  std::string found;
  for (std::string line; std::getline(lines, line);) {
    const size_t colon = line.find(": ");
    if (colon == std::string::npos) continue;
    found += std::string(trim_whitespace(std::string_view(line).substr(0, colon))) + "=" +
             line.substr(colon + 2) + "\n";
  }
  return found;
}

// The other layout is compared in tests/machines.
TEST(Summary, OldLayout) {
  play_smbios(smbios_bytes(1, 0, {1, 2, 0, 3}, {"Maker", "Model", "Serial"}));
  Dmi dmi;
  Dmi::instance = &dmi;
  SysInfo system;
  SysInfo::instance = &system;
  Table::set_output_format(OUTPUT_LIST);
  probe_group group("SYSTEM SUMMARY", 13, "SYSTEM SUMMARY", true);
  old_sysinfo_probe probe(group, "System Summary", 1, 0x2F71, 0x001E);
  EXPECT_EQ(cells_of(probe),
            "Computer Name=" + std::string(system.NodeName()) +
                "\nSystem Vendor=Maker\nSystem Model=Model\nSystem Serial Number=Serial"
                "\nBIOS Version=Unknown\nOS Vendor=" +
                system.OSOEM() + "\nOS Name=" + system.OSName() + "\nOS Type=" + system.OSType() +
                "\nOS Version=" + system.OSVersion() + "\nOS Build=" + system.OSBuild() +
                "\nOS CSD=" + system.OSCSD() + "\nCurrent User=" + system.CurrentUser() + "\n");

  // Out of the registry, which other tests of this program walk.
  task** place = &task::first;
  while (*place != &group) place = &(*place)->next;
  *place = group.next;
  SysInfo::instance = nullptr;
  Dmi::instance = nullptr;
  Table::set_output_format(OUTPUT_KSML);
}

TEST(OsInfo, MaskAndTextsAreCutToTheBuffer) {
  os_info_linux os;
  EXPECT_TRUE(os.is(0x2F71));
  EXPECT_FALSE(os.is(0x2F70));
  char buffer[8] = "#######";
  EXPECT_STREQ(os.get_platform_id(buffer, 4), "Lin");
  EXPECT_EQ(buffer[4], '#');
  EXPECT_EQ(std::string(os.get_build(buffer, 7), 8), std::string(8, '\0'));
  std::strcpy(buffer, "#######");
  EXPECT_STREQ(os.get_vendor(buffer, 0), "#######");
}

TEST(OsInfo, FirstReleaseFileThatCanBeRead) {
  const scratch_folder folder;
  const std::string path = folder / "release", fifo = folder / "fifo", none = folder / "none";
  ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
  const char* paths[] = {none.c_str(), fifo.c_str(), path.c_str(), none.c_str()};
  EXPECT_EQ(detect_distribution(paths), "Unknown");
  const std::string long_line(300, 'x');
  const std::pair<std::string, std::string> cases[] = {
      {"Red Hat Linux 9\nmore\n", "Red Hat Linux 9" },
      {"\nsecond\n",              ""                },
      {"bare",                    "bare"            },
      {long_line,                 long_line.substr(0, 127)},
      {"",                         "Unknown"                                         },
  };
  for (const auto& [content, expected] : cases) {
    put_file(path, content);
    EXPECT_EQ(detect_distribution(paths), expected);
  }
}

TEST(OsInfo, TheLastVendorThatMatchesWins) {
  EXPECT_STREQ(vendor_of_release("Mandrake, based on Red Hat"), "MandrakeSoft, S.A.");
  EXPECT_STREQ(vendor_of_release("debian"), "Unknown");
}

}  // namespace
}  // namespace kestrel
