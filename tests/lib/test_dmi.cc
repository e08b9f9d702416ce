// SMBIOS access over two recorded tables and over tables that lie.
#include <gtest/gtest.h>

#include "lib/debug.h"
#include "lib/dmi.h"
#include "lib/interface.h"
#include "lib/pma_linux.h"
#include "tests/doors/fake_pma.h"
#include "tests/lib/report_capture.h"

namespace kestrel {
namespace {

byte_vector recorded(const std::string& name) {
  const std::string table = content_of(KESTREL_TEST_FOLDER "/../fuzz/corpus/smbios/" + name);
  return {table.begin(), table.end()};
}

byte_vector operator+(byte_vector left, const byte_vector& right) {
  left.insert(left.end(), right.begin(), right.end());
  return left;
}

unsigned count_all(Dmi& dmi) {
  unsigned count = 0;
  for (unsigned type = 0; type <= Dmi::k_indexed_types; ++type) count += dmi.get_num_structs(type);
  return count;
}

std::string identity_of(Dmi& dmi) {
  gathered_date date = dmi.get_bios_date();
  return dmi.get_make() + "|" + dmi.get_model() + "|" + dmi.get_serial_number() + "|" +
         dmi.get_uuid() + "|" + dmi.get_enclosure_type() + "|" + dmi.get_bios_build() + "|" +
         (date.is_valid() ? date.format() : "no date");
}

/// Slots, capability and installed total, then size and type of each of the first slots.
std::string memory_of(Dmi& dmi, unsigned slots) {
  std::string text = std::to_string(dmi.get_num_memory_slots()) + " " +
                     std::to_string(dmi.get_total_memory_capability()) + " " +
                     std::to_string(dmi.get_total_installed_memory());
  for (unsigned slot = 1; slot <= slots; ++slot) {
    text += "|" + std::to_string(dmi.get_installed_memory_size(slot)) + " " +
            dmi.get_installed_memory_type(slot);
  }
  return text;
}

const byte_vector k_system = smbios_bytes(1, 0x100, {1, 0, 0, 0}, {"Maker"});

TEST(Dmi, RecordedServer) {
  play_smbios(recorded("server"), 0x17fffcb0, 0x28);
  // The firmware's own false anchor: its checksum is bad.
  played_memory().ranges[0xf1024] = {'_', 'D', 'M', 'I', '_', 0, 'S', 'M', 'B', 'I', 'O', 'S'};
  Dmi dmi;
  EXPECT_EQ(identity_of(dmi),
            "Example Computers|8670|KQ1234A|78563412bc9aef4d8123456789abcdef|Other|EXB123A-1.07|"
            "2005-11-23");
  EXPECT_EQ(memory_of(dmi, 2), "1 384 384|384 RAM DIMM|-1 Unknown");
  EXPECT_EQ(dmi.get_smbios_revision(), 0x28);
  EXPECT_EQ(dmi.get_checksum(), 0x5B7436DCu);
  EXPECT_EQ(dmi.get_num_structs(200), 2u);  // types 130 and 222

  uint16_t slots[4] = {};
  ASSERT_EQ(dmi.get_num_pci_slots(slots, 4), 2);
  EXPECT_EQ(slots[0], 3);
  EXPECT_EQ(slots[1], 4);
  EXPECT_EQ(dmi.get_num_pci_slots(slots, 1), 1);
  EXPECT_EQ(dmi.get_pci_slot_name(4), "PCI-X Slot 2");
  EXPECT_EQ(dmi.get_pci_slot_name(7), "7");  // an ISA slot
  EXPECT_TRUE(dmi.is_pci_slot_in_use(3));
  EXPECT_FALSE(dmi.is_pci_slot_in_use(4));
  ASSERT_EQ(played_memory().requests.size(), 2u);
  EXPECT_EQ(played_memory().requests[1], (fake_memory::request{0x17fffcb0, 838}));
}

TEST(Dmi, RecordedDesktopHasModulesAndItsTableInTheArea) {
  play_smbios(recorded("desktop"), 0xf59b0);
  Dmi dmi;
  EXPECT_EQ(identity_of(dmi),
            "Toshiba Example|Desk 1|D1|21436587bc9aef4d8123456789abcdef|Other|V6.00 Rev 1.2|"
            "1999-03-15");
  EXPECT_EQ(memory_of(dmi, 3), "1 256 128|128 Unknown, Standard|0 Unknown, Standard|-1 Unknown");
  EXPECT_EQ(dmi.get_installed_memory_size(0), -1);
  EXPECT_EQ(dmi.get_struct(6, 1).string_at(4), "");  // string 35 of one
  EXPECT_EQ(played_memory().requests.size(), 1u);
}

TEST(Dmi, OnlyATableStrictlyInsideTheAreaIsTakenFromIt) {
  const unsigned long size = k_system.size();
  // What lies behind the end of the area is zero.
  const std::pair<unsigned long, const char*> cases[] = {
      {0xF0000,         "Maker"},
      {0xF0001,         "Maker"},
      {0x100000 - size, "Maker"},
      {0x100004 - size, "Mak"  },
      {0xFFFFE,         ""     },
      {0xFFFFF,         "Maker"}
  };
  for (const auto& [address, make] : cases) {
    play_smbios(k_system, address);
    played_memory().ranges.erase(0xFFFE0);
    played_memory().ranges[0xF8000] = smbios_entry_point(address, size);
    Dmi dmi;
    EXPECT_EQ(dmi.get_make(), make) << address;
    const bool inside = address > 0xF0000 && address < 0xFFFFF;
    EXPECT_EQ(played_memory().requests.size(), inside ? 1u : 2u) << address;
  }
}

TEST(Dmi, AnchorsThatAreNone) {
  const std::pair<unsigned long, bool> cases[] = {
      {0xF0000, true },
      {0xFFFF1, true },
      {0xFFFF2, false},
      {0xFFFFC, false}
  };
  for (const auto& [address, found] : cases) {
    play_smbios(k_system);
    played_memory().ranges.erase(0xFFFE0);
    played_memory().ranges[address] = smbios_entry_point(0x100000, k_system.size());
    EXPECT_EQ(Dmi().init(), found) << address;
  }
  play_smbios(k_system);
  played_memory().ranges[0xFFFDC] = {'_', 'D', 'M', 'I'};  // the good one follows at once
  EXPECT_TRUE(Dmi().init());
  played_memory().ranges[0xFFFDC] = {0, 0, 0, '_'};  // hides the anchor behind it
  EXPECT_FALSE(Dmi().init());
}

TEST(Dmi, EmptyAnswersWithoutATable) {
  const char* nobody = "Unknown|Unknown|Unknown|Unknown|Unknown|Unknown|no date";
  play_smbios(k_system);
  played_memory().fail = true;
  Dmi dmi;
  EXPECT_EQ(identity_of(dmi), nobody);
  EXPECT_EQ(memory_of(dmi, 1), "-1 -1 0|0 Unknown");
  EXPECT_EQ(dmi.get_pci_slot_name(5), "5");
  played_memory().fail = false;
  EXPECT_FALSE(dmi.init());  // the first result is final

  play_smbios(k_system);
  played_memory().ranges.erase(0x100000);  // the second mapping is refused
  Dmi refused;
  EXPECT_EQ(identity_of(refused), nobody);
  EXPECT_FALSE(refused.is_valid());
}

TEST(Dmi, TruncatedAtEveryLengthKeepsWhatBegins) {
  const byte_vector table = recorded("server");
  unsigned last = 0;
  for (size_t length = 1; length <= table.size(); ++length) {
    play_smbios(byte_span(table).first(length));
    Dmi dmi;
    const unsigned count = count_all(dmi);
    EXPECT_TRUE(count == last || count == last + 1) << length;
    last = count;
    dmi.get_model(), dmi.get_uuid(), dmi.get_bios_build(), dmi.get_installed_memory_type(1);
  }
  EXPECT_EQ(last, 20u);  // of 21; the end mark is none
  // A length that is short by some bytes costs those bytes, and the texts that they hold.
  for (size_t missing = 1; missing <= 10; ++missing) {
    play_smbios(byte_span(k_system).first(k_system.size() - missing));
    Dmi dmi;
    EXPECT_EQ(dmi.get_make(), std::string("Maker").substr(0, 7 - std::min<size_t>(missing, 7)));
    EXPECT_EQ(dmi.get_num_structs(1), 1u) << missing;
  }
}

TEST(Dmi, LengthsThatLieEndTheWalk) {
  for (const unsigned char type : byte_vector{2, 5}) {
    for (const unsigned char length : byte_vector{0, 1, 3, 200}) {
      play_smbios(k_system + byte_vector{type, length, 0, 0, 0, 0} + k_system);
      Dmi dmi;
      // One longer than what is left of the table takes it all.
      EXPECT_EQ(count_all(dmi), length < 4 ? 1u : 2u) << int{type} << " " << int{length};
    }
  }
  byte_vector large;
  while (large.size() <= 16384) large = large + smbios_bytes(2, 0, byte_vector(94, 'x'));
  large.resize(65535, 'x');
  play_smbios(large);
  Dmi dmi;
  const std::string log = written_by([&](FILE* out) {
    enable_log_to_stream(out);
    dmi.init();
    disable_log_to_stream();
  });
  EXPECT_NE(log.find("dmi: Table cut to 16384 of 65535 bytes\n"), std::string::npos);
  EXPECT_EQ(dmi.get_num_structs(2), 163u);  // whole structures of 100 bytes in 16384
  EXPECT_EQ(played_memory().requests.back().length, 16384);
}

TEST(Dmi, TypeFiveHasNoStringSet) {
  const byte_vector bare = {5, 5, 0, 0, 7};
  for (const byte_vector& controller : {
           bare, bare + byte_vector{0, 0}
  }) {
    play_smbios(controller + k_system);
    Dmi dmi;
    EXPECT_EQ(dmi.get_struct(5, 0).bytes().size(), controller.size());
    EXPECT_EQ(dmi.get_make(), "Maker");
  }
  EXPECT_EQ(Dmi::getLengthOfStructure(bare), 5u);
}

TEST(Dmi, StringsStayInTheirStructure) {
  const byte_vector bytes = smbios_bytes(1, 0, {2}, {"one", "two"});
  const smbios_structure structure(bytes);
  EXPECT_EQ(structure.string_at(4), "two");
  for (int number : {-1, 0, 3, 255}) EXPECT_EQ(Dmi::getString(number, structure), "") << number;
  const byte_vector unterminated(bytes.begin(), bytes.begin() + 7);
  EXPECT_EQ(smbios_structure(unterminated).string(1), "on");
  EXPECT_EQ(smbios_structure(unterminated).string(2), "");
  const byte_vector longest = smbios_bytes(1, 0, byte_vector(123), {"text"});
  const byte_vector too_long = smbios_bytes(1, 0, byte_vector(124), {"text"});
  EXPECT_EQ(smbios_structure(longest).string(1), "text");
  EXPECT_EQ(smbios_structure(too_long).string(1), "");
  EXPECT_EQ(structure.u16(4), 0);  // one byte of it is not there
}

TEST(Dmi, ModelFromAProductName) {
  const auto model = [](const std::string& name) {
    const byte_vector bytes = smbios_bytes(1, 0, {0, 1}, {name.c_str()});
    return Dmi::getArchitectedString(1, smbios_structure(bytes));
  };
  EXPECT_EQ(model("Server -[8670-4RX]-"), "8670");
  EXPECT_EQ(model("-[12]- -[34]-"), "12");
  EXPECT_EQ(model("-[]-"), "");
  EXPECT_EQ(model("]- Server -[1"), "]- Server -[1");
  const std::string filler(58, 'x');
  EXPECT_EQ(model(filler + "-[86]-"), "86");
  EXPECT_EQ(model(filler + "-[867]-"), filler + "-[867]");  // cut at 64
}

TEST(Dmi, IdentityFallsBack) {
  byte_vector fields = {0, 0, 0, 0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 0xAB};
  const byte_vector chassis = smbios_bytes(3, 0, {0, 0x80 | 23, 0, 1}, {"CHASSIS"});
  play_smbios(smbios_bytes(1, 0, fields) + chassis + smbios_bytes(40, 0, {}) +
              smbios_bytes(126, 0, {}) + smbios_bytes(127, 0, {}) + k_system);
  Dmi dmi;  // a system structure of 24 bytes has no UUID
  EXPECT_EQ(identity_of(dmi), "||CHASSIS|Unknown|Rack Mount Chassis|Unknown|no date");
  EXPECT_EQ(dmi.get_struct(99, 1).type(), 126u);
  EXPECT_EQ(count_all(dmi), 4u);  // nothing counts behind the end mark
  fields.push_back(1);
  play_smbios(smbios_bytes(1, 0, fields, {"x"}));
  EXPECT_EQ(Dmi().get_uuid(), "0102030405060708090a0b0c0d0e0fab");
}

// Type 17: array handle, total width, size, form factor and memory type; the rest is zero.
byte_vector device(unsigned char array, unsigned width, unsigned size, unsigned char type) {
  const auto low = [](unsigned word) { return static_cast<unsigned char>(word); };
  return smbios_bytes(17, 0x1100,
                      {array, 0, 0, 0, low(width), low(width >> 8), 0, 0, low(size), low(size >> 8),
                       9, 0, 0, 0, type});
}
byte_vector array(unsigned char handle, unsigned char use, byte_vector capacity) {
  return smbios_bytes(16, handle, byte_vector{0, use, 6} + capacity + byte_vector{0, 0, 2, 0});
}

TEST(Dmi, MemoryDevicesAreCountedAcrossSystemArrays) {
  play_smbios(array(1, 3, {0, 0, 16, 0}) + array(2, 5, {0, 0, 16, 0}) +
              array(3, 3, {0, 0, 0, 0x80}) + device(3, 0x8C00, 0x8200, 15) +
              device(1, 64, 512, 18) + device(2, 64, 64, 13) + device(1, 64, 0xFFFF, 99) +
              device(1, 64, 32, 12));
  Dmi dmi;
  // 512 KB, an unknown size and an EPROM add nothing; the size in KB is 0x0C00 of the total width.
  EXPECT_EQ(memory_of(dmi, 5),
            "4 1024 576|512 DDR DIMM|-1 Error: Invalid Type DIMM|32 EPROM DIMM|3 SDRAM DIMM|"
            "-1 Unknown");
}

TEST(Dmi, MemorySizesBeyondAnyMachineAreClamped) {
  play_smbios(smbios_bytes(6, 0, {0, 0, 0, 1, 0x88, 0x80 | 124}) +
              smbios_bytes(6, 0, {0, 0, 0, 0, 0, 125}) +
              smbios_bytes(5, 0, {0, 0, 0, 0, 255, 0, 0, 0, 0, 0, 255}));
  Dmi dmi;
  EXPECT_EQ(memory_of(dmi, 2),
            "255 2147483647 2147483647|"
            "2147483647 Other, Error: Invalid Type, Error: Invalid Type|0 None");
}

}  // namespace
}  // namespace kestrel
