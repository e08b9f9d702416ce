// What is read from the BIOS area besides SMBIOS, and the copying of memory itself.
#include <gtest/gtest.h>

#include "lib/bios.h"
#include "lib/pma.h"
#include "lib/vpd.h"
#include "tests/doors/fake_pma.h"
#include "tests/lib/scratch.h"

namespace kestrel {
namespace {

byte_vector bytes_of(std::string_view text) { return byte_vector(text.begin(), text.end()); }

byte_vector vpd_block(std::string_view build, std::string_view serial, std::string_view model) {
  byte_vector block = bytes_of("\xAA\x55VPD");
  block.resize(13);
  for (std::string_view text : {build, serial, std::string_view("BOARD000011"), model}) {
    block.insert(block.end(), text.begin(), text.end());
  }
  return block;
}

TEST(Vpd, BlockIsFoundAndCheckedOnce) {
  played_memory() = {};
  played_memory().ranges[0xff0a8] = vpd_block("BUILD0042", "VPDSN07", "86704RX");
  Vpd vpd;
  EXPECT_EQ(vpd.get_make(), "ZYR");
  EXPECT_EQ(vpd.get_model(), "86704RX");
  EXPECT_EQ(vpd.get_serial_number(), "VPDSN07");
  EXPECT_EQ(vpd.get_motherboard_serial_number(), "BOARD000011");
  EXPECT_EQ(vpd.get_bios_version(), "BUILD0042");
  EXPECT_EQ(played_memory().requests.size(), 1u);
}

TEST(Vpd, OneBadTextMakesTheBlockInvalid) {
  using namespace std::string_view_literals;
  const auto valid = [](const byte_vector& block, unsigned long address = 0xF0000) {
    played_memory() = {};
    played_memory().ranges[address] = block;
    Vpd vpd;
    const std::string make = vpd.get_make();
    EXPECT_EQ(make, vpd.is_valid() ? "ZYR" : "Unknown");
    return vpd.init();
  };
  EXPECT_TRUE(valid(vpd_block("\0\0\0\0\0\0\0\0\0"sv, "VPD N07", "867\t4RX"), 0xFFFD1));
  EXPECT_FALSE(valid(vpd_block("BUILD0042", "VPDSN07", "86704RX"), 0xFFFD2));  // past the area
  EXPECT_FALSE(valid(vpd_block("BUILD-042", "VPDSN07", "86704RX")));
  EXPECT_FALSE(valid(vpd_block("BUILD0042", "VPDSN0\0"sv, "86704RX")));
  EXPECT_FALSE(valid(vpd_block("BUILD0042", "VPDSN\x80Z", "86704RX")));
  EXPECT_FALSE(valid(vpd_block("BUILD0042", "VPDSN07", "867-4RX")));
  EXPECT_FALSE(valid(vpd_block("BUILD0042", "VPDSN07", "\0ABCDEF"sv)));
}

TEST(BiosVersion, TextAroundADottedNumber) {
  using namespace std::string_view_literals;
  const auto version = [](std::string_view area) {
    return find_bios_version(bytes_of(area)).value_or("none");
  };
  EXPECT_EQ(version("\0\0Phoenix Ver 1.10\0"sv), "Phoenix Ver 1.10");
  // The byte that ends a text stays in it.
  EXPECT_EQ(version("\0$BIOS v 2.0 $ABC\0"sv), "BIOS v 2.0 $");
  EXPECT_EQ(version("\0\xFFRel 10.2.3\xFE"sv), "Rel 10.2.3\xFE");
  EXPECT_EQ(version("\0\0ver 1.1\0Rev A\0x 3.4 Rev B\0"sv), "x 3.4 Rev B");
  EXPECT_EQ(version("\0\0no 1.1, 1.2 and 1.3\0v1.4\0"sv), "v1.4");
  // Something must begin and end a text.
  EXPECT_EQ(version("\0Ver 1.1\0"sv), "none");
  EXPECT_EQ(version("\0\0Ver 1.1"sv), "none");
  EXPECT_EQ(version("\0\0Ver 1. 1 .1 Ver1.\0"sv), "none");
  EXPECT_EQ(version(""), "none");
}

TEST(BiosVersion, NothingWithoutTheAreaAndNoTimeForAHostileOne) {
  played_memory() = {};
  EXPECT_EQ(get_bios_version(), std::nullopt);
  byte_vector area = {0, 0};
  while (area.size() < 0x10000) area.push_back(area.size() % 2 == 0 ? '1' : '.');
  area.back() = '$';
  EXPECT_EQ(find_bios_version(area), std::nullopt);
  played_memory().ranges[0xF1000] = bytes_of("Award Rev 6.0");
  EXPECT_EQ(get_bios_version(), "Award Rev 6.0");
}

TEST(PhysicalMemory, RangesOfARecordedMachine) {
  std::string content(10000, '\0');
  for (size_t i = 0; i < content.size(); ++i) content[i] = static_cast<char>(i * 7);
  const sample_file memory(content);
  const std::string path = memory.path();
  std::string buffer(5000, 'x');
  const auto copy = [&](const std::string& from, unsigned long address, int length) {
    return copy_mapped_range(from.c_str(), address, buffer.data(), length);
  };
  EXPECT_TRUE(copy(path, 5000, 5000));
  EXPECT_EQ(buffer, content.substr(5000));
  EXPECT_TRUE(copy(path, 4095, 2));
  EXPECT_EQ(buffer.substr(0, 2), content.substr(4095, 2));

  buffer.assign(5000, 'x');
  EXPECT_FALSE(copy(path, 5001, 5000));  // one byte past the end
  EXPECT_FALSE(copy(path, 0xF0000, 5000));
  EXPECT_FALSE(copy(path, ~0ul - 100, 5000));
  EXPECT_FALSE(copy(path, 0, -1));
  EXPECT_FALSE(copy(path + ".none", 0, 10));
  EXPECT_FALSE(copy(testing::TempDir(), 0, 10));
  EXPECT_EQ(buffer, std::string(5000, 'x'));
}

}  // namespace
}  // namespace kestrel
