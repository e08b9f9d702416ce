// The SMBIOS report over two recorded tables, over one structure of every type, and over structures
// that lie. The expected reports stand in tests/probes/smbios/.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <sstream>

#include "lib/debug.h"
#include "lib/decode.h"
#include "lib/interface.h"
#include "lib/table.h"
#include "probes/dmi_decode.h"
#include "probes/dmi_info.h"
#include "probes/dmi_names.h"
#include "probes/dmi_printer.h"
#include "tests/doors/fake_pma.h"
#include "tests/lib/report_capture.h"

namespace kestrel {
namespace {

std::string file_text(const std::string& name) {
  return content_of(KESTREL_TEST_FOLDER "/" + name);
}

byte_vector recorded(const std::string& name) {
  const std::string text = file_text("../fuzz/corpus/smbios/" + name);
  return byte_vector(text.begin(), text.end());
}

std::string report(Dmi& dmi) {
  Table::set_output_format(OUTPUT_LIST);
  bool written = false;
  std::string text =
      written_by([&](FILE* out) { written = strcmp(dmi_info(out, dmi), "OK") == 0; });
  Table::set_output_format(OUTPUT_TEXT);
  EXPECT_EQ(written, !text.empty());
  return text;
}

std::string report(const byte_vector& table, unsigned char revision) {
  play_smbios(table, 0x100000, revision);
  Dmi dmi;
  return report(dmi);
}

byte_vector joined(std::initializer_list<byte_vector> structures) {
  byte_vector table;
  for (const byte_vector& one : structures) table.insert(table.end(), one.begin(), one.end());
  return table;
}

// The values of one column, a line each.
std::string cells(const std::string& text, const std::string& column_name) {
  std::string values;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    const size_t colon = line.find(": ");
    const size_t end = line.find_last_not_of(' ', colon - 1);
    if (colon == std::string::npos || line.substr(2, end - 1) != column_name) continue;
    values += line.substr(colon + 2) + "\n";
  }
  return values;
}

byte_vector one_of_every_type() {
  const unsigned char x = 0xFF;
  return joined({
      smbios_bytes(0, 0x00, {1, 2, 0, 0xE8, 3, 7, 0x90, 0x08, 1, 0, 0, 0, 0, 0, 0x0B, 1},
                   {"Maker", "1.07", "01/02/03"}),
      smbios_bytes(3, 0x03, {1, 0x97, 2, 3, 4, 6, 3, 3, 5}, {"M", "V", "S", "A"}),
      smbios_bytes(5, 0x05, {8, 0x28, 3, 6, 8, 0x1C, 0, 0x80, 0x05, 0x06, 2, 6, 0, 7, 0}),
      smbios_bytes(6, 0x06, {1, 0x4F, 60, 0x80, 0x04, 0x86, 0x7F, 0x02}, {"DIMM A"}),
      smbios_bytes(7, 0x07, {1, 0x81, 1, 0, 2, 8, 0x80, 0x10, 0, 0x28, 0, 0, 5, 5, 8}, {"L2"}),
      smbios_bytes(8, 0x08, {1, 0x1C, 2, 0xA4, 0x11}, {"CD IN", "1394"}),
      smbios_bytes(9, 0x09, {1, 0x13, 7, 4, 4, 1, 0, 0x06, 0x03}, {"SLOT 1"}),
      smbios_bytes(10, 0x0A, {0x83, 1, 0x05, 2, 0x7F, 3}, {"Screen", "LAN"}),
      smbios_bytes(12, 0x0C, {2}, {"J1: clear", "J2: boot"}),
      smbios_bytes(13, 0x0D, {3, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 2},
                   {"enUS", "ja|JP|unicode", "xx|YY|z"}),
      smbios_bytes(14, 0x0E, {1, 4, 0x04, 0x00, 7, 0x07, 0x12}, {"Group"}),
      smbios_bytes(15, 0x0F, {0, 0}),
      smbios_bytes(16, 0x10, {0xA3, 3, 7, 0, 0, 0, 0x80, 0xFE, x, 4, 0}),
      smbios_bytes(17, 0x11, {0x10, 0, 0xFE, x, 72, 0, x, x, 0, 1, 12, 0, 1, 2, 18, 0x84, 0},
                   {"J5", "Bank 1"}),
      smbios_bytes(18, 0x12,
                   {6, 4, 3, 0x78, 0x56, 0x34, 0x12, 0, 0, 0, 0x80, 1, 0, 0, 0, 0, 1, 0, 0}),
      smbios_bytes(19, 0x13, {0, 0, 0, 0, x, x, 7, 0, 0x10, 0, 2}),
      smbios_bytes(20, 0x14, {0, 0, 0, 0, x, x, 3, 0, 0x11, 0, 0x13, 0, 1, 0, x}),
      smbios_bytes(21, 0x15, {6, 0xA2, 3}),
      smbios_bytes(22, 0x16,
                   {1, 0, 0, 2, 3, 2, 0, 0, 0, 0, 4, 0, 0x34, 0x12, 0x6F, 0x30, 5, 10, 1, 0, 0, 0},
                   {"Left", "B1", "Accu", "1.1", "LION"}),
      smbios_bytes(23, 0x17, {0x3B, 0, 0, 0, 0, 0, 0, 0, 0}),
      smbios_bytes(24, 0x18, {0x1B}),
      smbios_bytes(25, 0x19, {0x12, 0x31, 0x23, 0x59, x}),
      smbios_bytes(26, 0x1A, {1, 0x67, 0xE8, 0x03, 0x0C, 0xFE, 15, 0, 0, 0x80, 0x0A, 0, 1, 2, 3, 4},
                   {"VRM"}),
      smbios_bytes(27, 0x1B, {0x1C, 0, 0xB1, 1, 0, 0, 0, 0}),
      smbios_bytes(28, 0x1C, {1, 0x8F, 0x84, 0x03, 0x9C, x, 250, 0, 5, 0, 100, 0, 0, 0, 0, 0},
                   {"Back"}),
      smbios_bytes(29, 0x1D, {1, 0x0C, 0, 0x10, 0, 0, 1, 0, 2, 0, 3, 0, 0, 0, 0, 0}, {"PSU"}),
      smbios_bytes(30, 0x1E, {1, 3}, {"Remote Co"}),
      smbios_bytes(32, 0x20, {0, 0, 0, 0, 0, 0, 2}),
      smbios_bytes(32, 0x21, {0, 0, 0, 0, 0, 0, 9}),
      smbios_bytes(32, 0x22, {0, 0, 0, 0, 0, 0, 192}),
  });
}

TEST(DmiInfo, WholeReports) {
  EXPECT_EQ(report(recorded("server"), 0x28), file_text("probes/smbios/server.txt"));
  EXPECT_EQ(report(recorded("desktop"), 0x28), file_text("probes/smbios/desktop.txt"));
  EXPECT_EQ(report(one_of_every_type(), 0x23), file_text("probes/smbios/every_type.txt"));
}

// Fields of later versions are not read from an older table, even when bytes stand there.
TEST(DmiInfo, VersionDecidesWhatIsRead) {
  byte_vector system(21, 0), processor(31, 0), slot = {0, 6, 5, 3, 3, 1, 0, 0x04, 0x01},
                                               second = {0, 6, 5, 3, 3, 2, 0, 0, 0x04};
  system[20] = 6;
  processor[28] = processor[30] = 1;
  const byte_vector table =
      joined({smbios_bytes(1, 1, system), smbios_bytes(9, 3, slot), smbios_bytes(9, 4, second),
              smbios_bytes(4, 2, processor, {"SN"})});
  const char* const wake_up[] = {"\n", "Power Switch\n", "Power Switch\n", "Power Switch\n"};
  const char* const serial[] = {"\n\n", "\n\n", "\nSN\n", "\nSN\n"};
  const std::string provides = "Provides 3.3 Volts", both = provides + ", PME# Signal\n";
  const std::string features[] = {provides + "\nNone\n", both + "SMBus Signal\n",
                                  both + "SMBus Signal\n", both + "SMBus Signal\n"};
  const unsigned char revisions[] = {0x20, 0x21, 0x23, 0x30};
  for (size_t i = 0; i < std::size(revisions); ++i) {
    const std::string text = report(table, revisions[i]);
    EXPECT_EQ(cells(text, "Wake-up Type"), wake_up[i]) << i;
    EXPECT_EQ(cells(text, "Serial Number"), serial[i]) << i;
    EXPECT_EQ(cells(text, "Characteristics"), features[i]) << i;
  }
}

TEST(DmiInfo, CountsThatLieEndAtTheStructure) {
  const std::string text =
      report(joined({smbios_bytes(10, 1, {0x83, 1, 0x85}, {"Screen"}),
                     smbios_bytes(11, 2, {200}, {"one", "two"}), smbios_bytes(12, 3, {9}),
                     smbios_bytes(13, 4, {1}, {"deDE", "frFR"}),
                     smbios_bytes(14, 5, {1, 4, 0x34, 0x12, 4, 0x78}, {"G"})}),
             0x23);
  EXPECT_EQ(cells(text, "Description"), "Screen\n");
  EXPECT_EQ(cells(text, "Text"), "one\ntwo\n");
  EXPECT_EQ(cells(text, "Language"), "German, Germany\n");
  EXPECT_EQ(cells(text, "Item Handle"), "1234h\n");
}

// A structure that ends at any byte of its header or fields: what is not there reads as absent.
TEST(DmiInfo, StructuresCutAtEveryLength) {
  for (const structure_printer* printer : structure_printers()) {
    for (unsigned char length = 0; length < 40; ++length) {
      const byte_vector fields(length, 0x80);
      const std::string text =
          report(smbios_bytes(static_cast<unsigned char>(printer->type), 1, fields), 0x23);
      const auto lines = std::count(text.begin(), text.end(), '\n');
      const bool is_a_row_each = printer->count_items == nullptr;
      EXPECT_GE(lines, is_a_row_each ? static_cast<long>(printer->cells.size()) : 7) << text;
      if (length > 0 || !is_a_row_each) continue;
      for (const smbios_cell& cell : printer->cells) {
        const bool is_header = cell.place.offset < 4;
        const std::string empty = cell.plain == as_number ? "0\n" : is_header ? "0001\n" : "\n";
        EXPECT_EQ(cells(text, cell.heading.name), empty) << text;
      }
    }
  }
}

TEST(DmiInfo, DebugLogHasWhatNoColumnShows) {
  const std::string trace = written_by([](FILE* log) {
    enable_log_to_stream(log);
    report(recorded("server"), 0x28);
    disable_log_to_stream();
  });
  for (const char* part :
       {"structure 4 of 4 type 09", "type 'Central Processor' family 'Other' upgrade 'Other'",
        "0300 security status 'Unknown'", "language 'en|US|iso8859-1'", "for 'System memory'"}) {
    EXPECT_NE(trace.find(part), std::string::npos) << part;
  }
  EXPECT_EQ(trace.find("type 40"), std::string::npos);
}

TEST(DmiInfo, ProbeTellsTheStatus) {
  smbios_probe probe("SMBIOS INFORMATION", 16, 1, 0x2F71, 0xFFEF);
  played_memory() = {};
  Dmi none;
  Dmi::instance = &none;
  EXPECT_EQ(report(none), "");
  EXPECT_TRUE(probe.run(nullptr));
  EXPECT_STREQ(probe.result, "Failed");
  EXPECT_STREQ(probe.status_ok_text, "Failed");

  play_smbios(recorded("desktop"));
  Dmi some;
  Dmi::instance = &some;
  EXPECT_TRUE(probe.run(nullptr));
  EXPECT_STREQ(probe.status_ok_text, "OK");
  Dmi::instance = nullptr;
}

// No code and no bit stands twice in a table.
template <typename row, typename... tables>
void expect_rising(uint32_t row::*key, const tables&... all) {
  for (const std::span<const row> table : {std::span<const row>(all)...}) {
    for (size_t i = 0; i < table.size(); ++i) {
      EXPECT_STRNE(table[i].name, "");
      EXPECT_TRUE(i == 0 || table[i - 1].*key < table[i].*key) << table[i].name;
    }
  }
}

TEST(DmiNames, EveryEnumerationRises) {
  using namespace smbios_names;
  expect_rising(&code_name::code, k_rom_sizes, k_wake_up_types, k_chassis_states,
                k_security_statuses, k_processor_types, k_processor_families, k_processor_statuses,
                k_processor_upgrades, k_error_detecting_methods, k_interleaves, k_module_sizes,
                k_cache_modes, k_error_correction_types, k_system_cache_types, k_associativities,
                k_connector_types, k_port_types, k_slot_types, k_slot_widths, k_slot_usages,
                k_slot_lengths, k_device_types, k_array_locations, k_array_uses,
                k_array_error_corrections, k_memory_error_types, k_memory_error_granularities,
                k_memory_error_operations, k_mouse_types, k_mouse_interfaces, k_battery_chemistries,
                k_boot_options, k_password_statuses, k_probe_statuses, k_electrical_probe_locations,
                k_temperature_probe_locations, k_cooling_types, k_boot_statuses);
  expect_rising(&mask_name::mask, k_bios_characteristics, k_bios_extension1, k_bios_extension2,
                k_error_correcting_capabilities, k_memory_speeds, k_module_voltages, k_sram_types,
                k_slot_characteristics, k_slot_characteristics2, k_memory_details);
}

TEST(DmiDecode, EdgesOfComposedTexts) {
  const std::pair<std::string, const char*> cases[] = {
      {getPowerOfTwoMemorySize(30),       "1073741824 M"                            },
      {getPowerOfTwoMemorySize(31),       "Error: Invalid Size"                     },
      {getMemoryModuleSize(0xFD),         "Not Determinable"                        },
      {getProcessorStatus(0x47),          "Status Other"                            },
      {getProcessorStatus(0x40),          "Status Unknown"                          },
      {getProcessorStatus(0x45),          "Error: Invalid Status"                   },
      {getProcessorStatus(0x01),          "Unpopulated"                             },
      {getCacheSize(0x7FFF),              "32767 K"                                 },
      {getCacheSize(0xFFFF),              "2097088 K"                               },
      {getArrayCapacity(0xFFFFFFFF),      "4294967295 K"                            },
      {getArrayCapacity(2048),            "2 M"                                     },
      {getArrayCapacity(0),               "0 K"                                     },
      {getLanguage("fr|CA"),              "French, Canada"                          },
      {getLanguage("frCAx"),              "Error: Invalid Language"                 },
      {getLanguage("fr|C"),               "Error: Invalid Language"                 },
      {getLanguage(""),                   "Error: Invalid Language"                 },
      {smbios_degree_thousandths(0xFFFF), "-0.001 deg C"                            },
      {smbios_millivolts(0x8001),         "-32767 mV"                               },
      {smbios_percent_hundredths(0x8000), "Unknown"                                 },
      {getBootStatus(191),                "Vendor/OEM-specific"                     },
      {getSlotCharacteristics(0),         "None"                                    },
      {getSlotCharacteristics2(0x0C),     "SMBus Signal, Error: Invalid Type"       },
      {getMemorySpeeds(0x8000),           "Error: Invalid Type"                     },
      {getMemoryModuleVoltage(0x09),      "5V, Error: Invalid Type"                 },
      {getCacheSRAMType(0x81),            "Other, Error: Invalid Type"              },
      {getMemCtrlCorCapable(0xC0),        "Error: Invalid Type, Error: Invalid Type"},
      {getMemoryDetail(0x2080),           "Synchronous, Error: Invalid Type"        },
      {getProcessorFamily(0x11),          "Reserved Pentium"                        },
  };
  for (const auto& [text, expected] : cases) EXPECT_EQ(text, expected);
}

}  // namespace
}  // namespace kestrel
