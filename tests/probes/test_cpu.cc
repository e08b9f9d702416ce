// The processor's names and flags, over recorded and made-up processors.
#include <gtest/gtest.h>

#include <cstring>

#include "probes/cpu.h"
#include "tests/doors/fake_cpuid.h"
#include "tests/probes/report_rows.h"

namespace kestrel {
namespace {

void play_cpu(const char* vendor, uint32_t signature, uint32_t flags) {
  uint32_t parts[3];
  std::memcpy(parts, vendor, sizeof parts);
  fake_cpu() = {};
  fake_cpu().leaves[0] = {1, parts[0], parts[2], parts[1]};
  fake_cpu().leaves[1] = {signature, 0xFFFFFFFF, 0xFFFFFFFF, flags};
}

cpu_probe& subject() {
  static cpu_probe probe("CPU Information", 16, 1, 0x2F71, 0xFFEF);
  return probe;
}

void run(FILE* out) { EXPECT_TRUE(subject().test() && subject().run(out)); }

class Cpu : public testing::Test {
 protected:
  void TearDown() override { Table::set_output_format(OUTPUT_TEXT); }
};

TEST_F(Cpu, Flags) {
  play_cpu("GenuineIntel", 0x00000673, 0x0383fbfd);  // as recorded on an emulated machine
  EXPECT_EQ(ksml_rows_of(run),
            "CPU Family Information\nGenuineIntel: Intel|Pentium 3|6|Pentium 3|7|3|\n"
            "CPU Flags\nmmx: MMX|true|\nsse: SSE|true|\nsse2: SSE2|false|\n"
            "ht: Hyper-Threading|false|\n");
  fake_cpu() = {.is_x86 = false, .leaves = {}};
  EXPECT_FALSE(subject().test());
}

// Vendor, family and model with their numbers, from the row of the first table.
TEST_F(Cpu, Names) {
  const std::tuple<const char*, uint32_t, const char*> cases[] = {
      {"GenuineIntel", 0x00000F65, "Intel|Unknown|15|Unknown|6|5"                 }, // no such row
      {"GenuineIntel", 0x00002300, "Intel|386|3|SX|0|0"                           },
      {"GenuineIntel", 0x00004310, "Intel|386|3|SL|1|0"                           },
      {"GenuineIntel", 0x00001532, "Intel|Pentium|5|Pentium OverDrive for 486|3|2"},
      {"GenuineIntel", 0x00000619, "Intel|Pentium 2|6|Pentium Pro|1|9"            },
      {"GenuineIntel", 0x000106A3, "Intel|Pentium 3|6|Xeon|10|3"                  }, // extended model
      {"AuthenticAMD", 0x00000580, "AMD|K6|5|K6-2|8|0"                            },
      {"AuthenticAMD", 0x00001671, "AMD|Duron|6|Duron|7|1"                        }, // any type
      {"AuthenticAMD", 0x00100F42, "AMD|Unknown|15|Unknown|4|2"                   },
      {"CyrixInstead", 0x00000601, "Cyrix|Unknown|6|Unknown|0|1"                  },
      {"CentaurHauls", 0x00000671, "Centaur|Unknown|6|Unknown|7|1"                },
      {"centaurhauls", 0x00000671, "||6||7|1"                                     },
  };
  for (const auto& [vendor, signature, cells] : cases) {
    play_cpu(vendor, signature, 0);
    const std::string rows = ksml_rows_of(run), row = std::string(vendor) + ": " + cells;
    EXPECT_NE(rows.find("\n" + row + "|\n"), std::string::npos) << row << rows;
  }
}

}  // namespace
}  // namespace kestrel
