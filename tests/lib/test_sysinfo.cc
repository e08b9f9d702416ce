// The machine's identity and its distribution.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "lib/dist.h"
#include "lib/dmi.h"
#include "lib/sysinfo.h"
#include "tests/doors/fake_pma.h"
#include "tests/lib/scratch.h"

namespace kestrel {
namespace {

TEST(SysInfo, FirmwareBlockWinsButForTheUuid) {
  play_smbios(smbios_bytes(1, 0, {1,   2,   0,   3,   'A', 'B', 'C', 'D', 'E', 'F', 'G',
                                  'H', 'I', 'J', 'K', 'L', 'M', 'N', 'O', 'P', 6},
                           {" Maker_", "Box -[8670-4RX]-", "__ _"}));
  Dmi dmi;
  Dmi::instance = &dmi;
  SysInfo plain;
  EXPECT_STREQ(plain.OEM(), "Maker");
  EXPECT_STREQ(plain.Model(), "8670");
  EXPECT_STREQ(plain.Serial(), "Unknown");  // nothing but blanks and '_'
  EXPECT_STREQ(plain.UUID(), "4142434445464748494a4b4c4d4e4f50");

  const std::string block("\xAA\x55VPD        BUILD0042VPDSN07BOARD000011867 4RX");
  played_memory().ranges[0xF8000] = byte_vector(block.begin(), block.end());
  SysInfo branded;
  EXPECT_STREQ(branded.OEM(), "ZYR");
  EXPECT_STREQ(branded.Model(), "867 4RX");
  EXPECT_STREQ(branded.Serial(), "VPDSN07");
  EXPECT_STREQ(branded.UUID(), plain.UUID());
  branded.set_vendor(" _x_y_ ");
  EXPECT_STREQ(branded.OEM(), "x_y");
  branded.set_uuid("  ");
  EXPECT_STREQ(branded.UUID(), "");
  Dmi::instance = nullptr;
}

TEST(Distribution, FirstLineOfAReleaseFile) {
  const std::string long_line(300, 'x');
  const std::pair<std::string, std::string> cases[] = {
      {"12.5\nmore\n",    "12.5"            },
      {"\n\n  Red Hat\n", "  Red Hat"       },
      {"no newline",      "no newline"      },
      {long_line + "\n",  long_line.substr(0, 255)},
      {"\n\n\n",                 "kept"                           },
      {"",                 "kept"      },
  };
  for (const auto& [content, expected] : cases) {
    std::string line = "kept";
    EXPECT_EQ(get_dist(sample_file(content).path(), line), expected != "kept");
    EXPECT_EQ(line, expected);
  }
  const scratch_folder folder;
  const std::string fifo = folder / "fifo";
  ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
  std::string line;
  for (const std::string& path : {fifo, folder.path()}) EXPECT_FALSE(get_dist(path.c_str(), line));
}

TEST(Distribution, NamesFromFileAndLine) {
  using names = std::tuple<int, std::optional<std::string>, const char*, const char*, const char*>;
  const names cases[] = {
      {-1, std::nullopt,           "generic",   "Unknown",               "Unknown"    },
      {0,  "12.5",                 "Debian",    "Debian",                "12.5"       },
      {1,  std::nullopt,           "Red Hat",   "Red Hat, Inc.",         "Unknown"    },
      {4,  std::nullopt,           "generic",   "Unknown",               "Unknown"    },
      {4,  "Slackware 4",          "Slackware", "Slackware Linux, Inc.", "Slackware 4"},
      {4,  "Caldera",              "Caldera",   "Caldera Systems, Inc.", "Caldera"    },
      {4,  "Welcome to Slackware", "",          "Unknown",               "Unknown"    },
      {4,  "mandrake",             "",          "Unknown",               "Unknown"    },
  };
  for (const auto& [row, line, short_name, long_name, release] : cases) {
    const distribution found = name_distribution(row, line);
    EXPECT_EQ(found.short_name, short_name);
    EXPECT_EQ(found.long_name, long_name);
    EXPECT_EQ(found.release, release);
  }
}

}  // namespace
}  // namespace kestrel
