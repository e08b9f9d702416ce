// The system summary in both layouts, and which distribution os_info sees.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <fstream>

#include "gatherer/os_linux.h"
#include "gatherer/summary.h"
#include "lib/dmi.h"
#include "lib/file.h"
#include "lib/getline.h"
#include "lib/sysinfo.h"
#include "lib/table.h"
#include "tests/doors/fake_pma.h"

namespace kestrel {
namespace {

using cells = std::vector<std::pair<std::string, std::string>>;

/// Names and values of everything that the probe writes, in order.
cells written_by(probe& probe) {
  const file_ptr out(std::tmpfile());
  EXPECT_TRUE(probe.run(out.get()));
  std::rewind(out.get());
  cells found;
  for (std::string line; read_line(out.get(), line);) {
    const size_t colon = line.find(": ");
    if (colon == std::string::npos) continue;
    found.emplace_back(trim_whitespace(std::string_view(line).substr(0, colon)),
                       without_newline(std::string_view(line).substr(colon + 2)));
  }
  return found;
}

TEST(Summary, BothLayouts) {
  const std::string_view version = "Example Rev 1.2";
  play_smbios(smbios_bytes(1, 0, {1, 2, 0, 3}, {"Maker", "Model", "Serial"}));
  played_memory().ranges[0xF1000] = byte_vector(version.begin(), version.end());
  Dmi dmi;
  Dmi::instance = &dmi;
  SysInfo system;
  SysInfo::instance = &system;
  Table::set_output_format(OUTPUT_LIST);
  probe_group group("SYSTEM SUMMARY", 13, "SYSTEM SUMMARY", true);

  sysinfo_probe probe(group, "System Summary", 1, 0x2F71, 0xFFE1);
  os_info& os = os_info::get_instance();
  char text[80];
  const std::string vendor = os.get_vendor(text, 80), release = os.get_name(text, 80);
  const std::string kernel = os.get_version(text, 80);
  EXPECT_EQ(written_by(probe), (cells{
                                   {"Computer Name",        system.NodeName()   },
                                   {"System Vendor",        "Maker"             },
                                   {"System Model",         "Model"             },
                                   {"System Serial Number", "Serial"            },
                                   {"BIOS Version",         "Example Rev 1.2"   },
                                   {"Current User",         system.CurrentUser()},
                                   {"UUID",                 "Unknown"           },
                                   {"Vendor",               vendor              },
                                   {"Name",                 release             },
                                   {"Version",              kernel              },
                                   {"Build",                ""                  },
                                   {"Service Level",        ""                  },
                                   {"OS",                   "Linux"             }
  }));

  played_memory().fail = true;
  old_sysinfo_probe old_probe(group, "System Summary", 1, 0x2F71, 0x001E);
  EXPECT_EQ(written_by(old_probe), (cells{
                                       {"Computer Name",        system.NodeName()   },
                                       {"System Vendor",        "Maker"             },
                                       {"System Model",         "Model"             },
                                       {"System Serial Number", "Serial"            },
                                       {"BIOS Version",         "Unknown"           },
                                       {"OS Vendor",            system.OSOEM()      },
                                       {"OS Name",              system.OSName()     },
                                       {"OS Type",              system.OSType()     },
                                       {"OS Version",           system.OSVersion()  },
                                       {"OS Build",             system.OSBuild()    },
                                       {"OS CSD",               system.OSCSD()      },
                                       {"Current User",         system.CurrentUser()}
  }));

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
  const std::string path = testing::TempDir() + "kestrel_os_" + std::to_string(getpid());
  const std::string fifo = path + ".fifo", none = path + ".none";
  ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
  const char* paths[] = {none.c_str(), fifo.c_str(), path.c_str(), none.c_str()};
  EXPECT_EQ(detect_distribution(paths), "Unknown");
  const std::string long_line(300, 'x');
  const std::pair<std::string, std::string> cases[] = {
      {"Red Hat Linux 9\nmore\n", "Red Hat Linux 9" },
      {"\nsecond\n",              ""                },
      {"bare",                    "bare"            },
      {long_line,                 long_line.substr(0, 127)},
      {"",                         "Unknown"                                         }
  };
  for (const auto& [content, expected] : cases) {
    std::ofstream(path, std::ios::trunc) << content;
    EXPECT_EQ(detect_distribution(paths), expected);
  }
  std::filesystem::remove(path);
  std::filesystem::remove(fifo);
}

TEST(OsInfo, TheLastVendorThatMatchesWins) {
  EXPECT_STREQ(vendor_of_release("Mandrake, based on Red Hat"), "MandrakeSoft, S.A.");
  EXPECT_STREQ(vendor_of_release("debian"), "Unknown");
}

}  // namespace
}  // namespace kestrel
