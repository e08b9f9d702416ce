// The database of PCI names: its lines, where it is looked for, and its look-ups.
#include <gtest/gtest.h>

#include <algorithm>

#include "gatherer/settings.h"
#include "lib/file.h"
#include "probes/pcidb.h"
#include "tests/lib/scratch.h"

namespace kestrel {
namespace {

constexpr char k_records[] =
    "# a comment\n"
    "V 1013 Maker\n"
    "D 0001 Card\n"
    "R 02 Card revision 2\n"
    "O 1af4 Other maker\n"
    "S 0009 Nine of other\n"
    "O 10f0 Own maker\n"
    "S 0010 Ten\n"
    "S 0011 Eleven\n"
    "X 10f00012 Twelve by both\n"
    "D 0001 Card again\n"
    "D 0003 Early\n"
    "S 0010 Before any owner\n"
    "O 10f0 Late owner\n"
    "R 07 Not behind a device\n"
    "V 10f0 Gr\xc3\xb6\xc3\x9f"
    "e\n"
    "D 0005\n";

pci_database loaded(std::string content) {
  pci_database names;
  file_ptr in(fmemopen(content.data(), content.size(), "rb"));
  names.load(in.get(), "memory");
  return names;
}

TEST(PciDatabase, LookUps) {
  const pci_database names = loaded(k_records);
  ASSERT_EQ(names.size(), 16);
  EXPECT_STREQ(names.get_vendor_name(0x1013), "Maker");
  EXPECT_STREQ(names.get_vendor_name(0x1015), "Unknown");
  EXPECT_STREQ(names.get_device_name(0x1013, 1, 2), "Card revision 2");
  EXPECT_STREQ(names.get_device_name(0x1013, 1, 3), "Card");
  EXPECT_STREQ(names.get_device_name(0x1013, 3, 7), "Early");
  EXPECT_STREQ(names.get_device_name(0x1013, 5, 0), "Unknown");  // the next vendor's
  EXPECT_STREQ(names.get_device_name(0x10f0, 5, 0), "");

  auto subsystem = [&](unsigned device, unsigned sv, unsigned sd) {
    return std::string(names.get_subsys_device_name(0x1013, device, 0, sv, sd));
  };
  EXPECT_EQ(subsystem(1, 0, 0), "Card");
  EXPECT_EQ(subsystem(1, 0x10f0, 0x11), "Eleven");
  EXPECT_EQ(subsystem(1, 0x10f0, 0x12), "Twelve by both");
  EXPECT_EQ(subsystem(1, 0x10f0, 0x09), "Own maker");  // the nine is another maker's
  EXPECT_EQ(subsystem(1, 0x1af4, 0x77), "Card");       // a foreign block follows
  EXPECT_EQ(subsystem(3, 0x10f0, 0x10), "Early");      // matched before any owner
  EXPECT_EQ(subsystem(3, 0x10f0, 0x11), "Late owner");
  EXPECT_EQ(subsystem(9, 0x10f0, 0x10), "Unknown");
  EXPECT_STREQ(names.get_subsys_vendor_name(0x1013, 0, 0), "Maker");

  EXPECT_EQ(names.longest_name(), 20);
  wchar_t wide[20];
  EXPECT_STREQ(names.get_subsys_vendor_name(wide, 20, 0x1013, 0x10f0, 0), L"Gr\u00f6\u00dfe");
  EXPECT_STREQ(names.get_vendor_name(wide, 4, 0x10f0), L"Gr\u00f6");
  EXPECT_STREQ(names.get_subsys_device_name(wide, 20, 0x1013, 1, 0, 0x11, 0x10f0), L"Eleven");
}

TEST(PciDatabase, IsLookedForInThreeFolders) {
  scratch_folder folder;
  folder.enter();
  for (const char* name : {"here", "bin", "share/kestrel"}) {
    std::filesystem::create_directories(name);
  }
  std::filesystem::current_path("here");
  static const std::string program = folder / "bin/";
  gatherer_filename(filename_save_path, setting_set, program.c_str());
  pci_database names;
  EXPECT_EQ(names.load(), 0);
  EXPECT_EQ(names.longest_name(), 8);
  std::string content;
  for (const char* name : {"share/kestrel", "bin", "here"}) {
    content += std::string("V 1 ") + name + "\n";
    put_file(folder / name + "/pcidb.txt", content);
    EXPECT_EQ(names.load(), std::count(content.begin(), content.end(), 'V')) << name;
  }
  EXPECT_EQ(names.load(program.c_str()), 0);  // a folder; and the old content is gone
  EXPECT_STREQ(names.get_vendor_name(1), "Unknown");
  gatherer_filename(filename_save_path, setting_off, nullptr);
}

TEST(PciDatabase, IsReadAsFarAsItMakesSense) {
  const std::tuple<const char*, uint32_t, const char*> cases[] = {
      {"V 8086 A b \r\n",            0x8086,     "A b \r"  },
      {"X10f00012\tno blank",        0x10F00012, "no blank"},
      {"D 0x10 prefixed\n",          0x10,       "prefixed"},
      {"D 12",                       0x12,       ""        },
      {"D",                          0,          ""        },
      {"S  \n",                      0,          ""        },
      {"O wxyz no id",               0,          ""        },
      {"R fffffffffffffffffff huge", 0xFFFFFFFF, "huge"    },
  };
  for (const auto& [line, id, name] : cases) {
    auto found = parse_pcidb_line(line);
    ASSERT_TRUE(found) << line;
    EXPECT_EQ(found->kind, line[0]);
    EXPECT_EQ(found->id, id) << line;
    EXPECT_EQ(found->name, name) << line;
  }
  for (const char* line : {"", "\n", "v 1 lower", " V 1", "# V 1"}) {
    EXPECT_FALSE(parse_pcidb_line(line)) << line;
  }
}

// A line of 255 characters and more is read in pieces, each as a line; NULs end a piece.
TEST(PciDatabase, LongLinesAreCutIntoPieces) {
  const std::string content = "V 1 " + std::string(251, 'a') + "V 2 second piece\n" +
                              std::string(300, '#') + "\nV 3 nul" + std::string(1, '\0') +
                              "V 4\nV 5 no newline";
  const pci_database names = loaded(content);
  EXPECT_EQ(names.size(), 4);
  EXPECT_EQ(names.get_vendor_name(1), std::string(251, 'a'));
  EXPECT_EQ(names.longest_name(), 252);
  EXPECT_STREQ(names.get_vendor_name(2), "second piece");
  EXPECT_STREQ(names.get_vendor_name(3), "nul");
  EXPECT_STREQ(names.get_vendor_name(5), "no newline");
}

}  // namespace
}  // namespace kestrel
