// The PCI tables over a played configuration space.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <string>

#include "lib/dmi.h"
#include "lib/file.h"
#include "lib/notice.h"
#include "lib/sysinfo.h"
#include "probes/pci_probe.h"
#include "tests/doors/fake_pci.h"
#include "tests/doors/fake_pma.h"
#include "tests/probes/report_rows.h"

namespace kestrel {
namespace {

constexpr char k_names[] =
    "V 8086 Example Corp.\n"
    "D 1237 Host \xe2\x80\x94 bridge\n"
    "D 7010 Controller\n"
    "R 02 Controller, second\n";

played_function& add(unsigned bus, unsigned device, unsigned function, unsigned id,
                     unsigned header_type = 0) {
  played_function& added = fake_pci().functions[pci_key(bus, device, function)];
  added.set16(0x00, 0x8086);
  added.set16(0x02, id);
  added.set8(0x08, 2);
  added.set16(0x0A, 0x0680);
  added.set8(0x0E, header_type);
  return added;
}

class Pci : public testing::Test {
 protected:
  void SetUp() override {
    fake_pci() = {};
    played_memory() = {};
    file_ptr in(fmemopen(const_cast<char*>(k_names), sizeof k_names - 1, "rb"));
    names.load(in.get(), "memory");
    pci_database::instance = &names;
    Dmi::instance = &dmi;
    SysInfo::instance = &system;
    system.set_vendor("Maker");
  }
  void TearDown() override {
    pci_database::instance = nullptr;
    Dmi::instance = nullptr;
    SysInfo::instance = nullptr;
    Table::set_output_format(OUTPUT_TEXT);
  }

  pci_database names;
  Dmi dmi;
  SysInfo system;
};

TEST_F(Pci, ScanStopsAtGapsAndAsksNobodyTwice) {
  add(0, 0, 0, 1);
  add(0, 0, 1, 1);  // hidden: function 0 says that there is only one
  add(0, 1, 0, 1, 0x80);
  add(0, 1, 1, 1);
  add(0, 1, 3, 1);  // behind a gap
  add(0, 31, 0, 1, 0x81);
  for (unsigned function = 1; function < 8; ++function) add(0, 31, function, 1);
  add(15, 2, 0, 1);
  add(16, 0, 0, 1);  // past the last bus
  add(1, 0, 1, 1);   // no function 0

  const std::vector<unsigned> wanted = {0x000, 0x008, 0x009, 0x0F8, 0x0F9, 0x0FA,
                                        0x0FB, 0x0FC, 0x0FD, 0x0FE, 0x0FF, 0xF10};
  const std::vector<unsigned>& reads = fake_pci().header_reads;
  for (bool unlisted : {false, true}) {
    fake_pci().unlisted = unlisted;
    fake_pci().header_reads.clear();
    std::vector<unsigned> seen;
    for_each_pci_function([&](const pci_address& at, const pci_header&) {
      seen.push_back(pci_key(at.bus, at.device, at.function));
    });
    EXPECT_EQ(seen, wanted);
    EXPECT_EQ(reads.size(), unlisted ? 16u * 32 + 2 + 7 : wanted.size());
  }
  EXPECT_EQ(std::adjacent_find(reads.begin(), reads.end(), std::greater_equal()), reads.end());
}

TEST_F(Pci, DeviceSummary) {
  constexpr unsigned char k_vpd[] =
      "\x82\4\0Card\x90\x13\0PN\3A\tBSN\1"
      "7MN\0V1\1x";
  add(1, 2, 0, 0x7010).add_vpd(0x60, {k_vpd, k_vpd + sizeof k_vpd - 1});
  EXPECT_EQ(
      ksml_rows_of([](FILE* out) { EXPECT_STREQ(pci_device_summary(out, true, true), "OK"); }),
      "PCI Device Summary\n8086:7010:02 - 1:2:0: 1|2|0|Unknown|0x8086|Example Corp.|0x7010|"
      "Controller, second|Bridge|PCI-to-Other|Card|A.B|||7|\n");
  EXPECT_FALSE(fake_pci().functions[pci_key(1, 2, 0)].harmed);
}

// Silent cards cost little once two were waited for; a slow one behind them is still read.
TEST_F(Pci, SilentCardsInARow) {
  constexpr unsigned char k_vpd[] = "\x82\1\0Cx";
  for (unsigned i = 0; i < 8; ++i) {
    add(0, i, 0, 0x1237).add_vpd(0x60, {k_vpd, k_vpd + sizeof k_vpd - 1});
    fake_pci().functions[pci_key(0, i, 0)].polls_needed = i < 7 ? INT_MAX : 90;
  }
  const std::string rows =
      ksml_rows_of([](FILE* out) { EXPECT_STREQ(pci_device_summary(out, true, true), "OK"); });
  EXPECT_NE(rows.find("PCI-to-Other|C|||||\n"), std::string::npos);
  EXPECT_EQ(fake_pci().milliseconds, 2 * 999 + 5 * 99 + 3 * 89);
}

// Cards that answer every byte just in time; a quick one behind nine of them is still read.
TEST_F(Pci, AllCardsTogetherHaveAnEnd) {
  take_notices();
  for (unsigned i = 0; i < 32; ++i) {
    std::vector<unsigned char> vpd(i == 9 ? 4 : 300, 'C');
    vpd[0] = 0x82;
    vpd[1] = static_cast<unsigned char>((vpd.size() - 3) & 0xFF);
    vpd[2] = static_cast<unsigned char>((vpd.size() - 3) >> 8);
    add(0, i, 0, 0x1237).add_vpd(0x60, vpd);
    fake_pci().functions[pci_key(0, i, 0)].polls_needed = i == 9 ? 1 : 90;
  }
  const std::string rows =
      ksml_rows_of([](FILE* out) { EXPECT_STREQ(pci_device_summary(out, true, true), "OK"); });
  EXPECT_NE(rows.find("PCI-to-Other|C|||||\n"), std::string::npos);
  EXPECT_LE(fake_pci().milliseconds, k_vpd_all_milliseconds + 200);
  EXPECT_EQ(take_notices(), std::vector<std::string>{"PCI DEVICES: VPD stopped after 10 s"});
}

// Slots of a machine whose firmware offers a routing table, and none for a maker on the blacklist.
TEST_F(Pci, SlotNumbers) {
  play_smbios(smbios_bytes(9, 1, {1, 6, 5, 4, 3, 5, 0, 0, 0}, {"Slot 5"}));
  std::vector<unsigned char>& table = fake_pci().routing_table;
  table.resize(3 * 16 + 15);  // the last entry is not whole
  for (unsigned char i = 0; i < 4; ++i) {
    add(0, i, 0, 0x1237);
    table[i * 16 + 1] = static_cast<unsigned char>(i << 3 | 7);
    table[i * 16 + 14] = i == 0 ? 0 : static_cast<unsigned char>(4 + i);
  }
  Table::set_output_format(OUTPUT_TALV);
  static pci_probe probe("PCI DEVICES", 16, 3, 0x2F71, 0xFFFF);
  auto slots = [] {
    std::string text = written_by([&](FILE* out) { EXPECT_TRUE(probe.run(out)); });
    std::string found;
    const std::string label = "\"SLOT\">";
    for (size_t at = 0; (at = text.find(label, at)) != std::string::npos; at += label.size()) {
      found += text.substr(at + label.size(), text.find('<', at) - at - label.size()) + ",";
    }
    return found;
  };
  EXPECT_EQ(slots(), "On-board,Slot 5,6,Unknown,");
  system.set_vendor("Toshiba Corp.");
  EXPECT_EQ(slots(), "Unknown,Unknown,Unknown,Unknown,");
  EXPECT_FALSE(probe.run(nullptr));
  EXPECT_STREQ(probe.status_fail_text, "FAILED");
}

TEST_F(Pci, AdapterList) {
  static pci_adapter_probe probe("PCI ADAPTER INFORMATION", 16, 3, 0x2F71, 0x41);
  EXPECT_EQ(written_by([&](FILE* out) { EXPECT_FALSE(probe.run(out)); }), "");
  EXPECT_STREQ(probe.status_fail_text, "No PCI Slots");

  Dmi with_slots;
  Dmi::instance = &with_slots;
  byte_vector slots;
  for (const byte_vector& slot : {smbios_bytes(9, 1, {1, 6, 5, 4, 3, 5, 0, 0, 0}, {"Top"}),
                                  smbios_bytes(9, 2, {1, 18, 5, 3, 3, 6, 0, 0, 0}, {"Low"})}) {
    slots.insert(slots.end(), slot.begin(), slot.end());
  }
  play_smbios(slots);
  EXPECT_EQ(ksml_rows_of([&](FILE* out) { EXPECT_TRUE(probe.run(out)); }),
            "PCI Adapters\n5: 5|Top|Yes|Empty or not responding|Empty or not responding|\n"
            "6: 6|Low|No|Empty or not responding|Empty or not responding|\n");
  system.set_vendor("toSHIBA");
  EXPECT_FALSE(probe.test());
  system.set_vendor("A Toshiba");
  EXPECT_TRUE(probe.test());
}

TEST(PciNames, KeepTheirOddities) {
  EXPECT_STREQ(PCI_ClassName(0x10), "Unknown");
  EXPECT_STREQ(PCI_ClassName(0x1F), "Encryption / Decryption");
  EXPECT_STREQ(PCI_SubClassName(0x0680), "PCI-to-Other");
  EXPECT_STREQ(PCI_SubClassName(0x0B10), "DEC Alpha");
  EXPECT_STREQ(PCI_SubClassName(0x0681), "Unknown");
}

}  // namespace
}  // namespace kestrel
