// The processor's names and flags, over recorded and made-up processors.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

#include "lib/table.h"
#include "probes/cpu.h"
#include "tests/doors/fake_cpuid.h"
#include "tests/lib/report_capture.h"

namespace kestrel {
namespace {

void play_cpu(const char* vendor, uint32_t signature, uint32_t flags) {
  uint32_t parts[3];
  std::memcpy(parts, vendor, sizeof parts);
  fake_cpu() = {};
  fake_cpu().leaves[0] = {1, parts[0], parts[2], parts[1]};
  fake_cpu().leaves[1] = {signature, 0xFFFFFFFF, 0xFFFFFFFF, flags};
}

std::string report() {
  static cpu_probe subject("CPU Information", 16, 1, 0x2F71, 0xFFEF);
  report_capture out;
  EXPECT_TRUE(subject.test());
  EXPECT_TRUE(subject.run(out.stream()));
  return out.text();
}

class Cpu : public testing::Test {
 protected:
  void TearDown() override { Table::set_output_format(OUTPUT_TEXT); }
};

TEST_F(Cpu, Section) {
  play_cpu("GenuineIntel", 0x00000673, 0x0383fbfd);  // as recorded on an emulated machine
  Table::set_output_format(OUTPUT_KSML);
  EXPECT_EQ(report(), with_cr(R"(<SECTION ID="CPU Information">
<TABLE ID="CPU Family Information">
<COLS>6</COLS>
<ROW ID="GenuineIntel">
<STR ID="Vendor" W="16">Intel</STR>
<STR ID="Family" W="32">Pentium 3</STR>
<DEC ID="Family ID" W="10">6</DEC>
<STR ID="Model" W="32">Pentium 3</STR>
<DEC ID="Model ID" W="10">7</DEC>
<DEC ID="Stepping" W="10">3</DEC>
<CHK> 906</CHK>
</ROW>
<ROWS>1</ROWS>
<CHK> 906</CHK>
</TABLE>
<TABLE ID="CPU Flags">
<COLS>2</COLS>
<ROW ID="mmx">
<STR ID="Flag Name" W="36">MMX</STR>
<BOOL ID="Enabled" W="36">true</BOOL>
<CHK> 2B2</CHK>
</ROW>
<ROW ID="sse">
<STR ID="Flag Name" W="36">SSE</STR>
<BOOL ID="Enabled" W="36">true</BOOL>
<CHK> 2AB</CHK>
</ROW>
<ROW ID="sse2">
<STR ID="Flag Name" W="36">SSE2</STR>
<BOOL ID="Enabled" W="36">false</BOOL>
<CHK> 328</CHK>
</ROW>
<ROW ID="ht">
<STR ID="Flag Name" W="36">Hyper-Threading</STR>
<BOOL ID="Enabled" W="36">false</BOOL>
<CHK> 7D6</CHK>
</ROW>
<ROWS>4</ROWS>
<CHK>105B</CHK>
</TABLE>
<CHK>    1961</CHK>
</SECTION>
)"));
}

TEST_F(Cpu, DoesNotApplyElsewhere) {
  fake_cpu() = {.is_x86 = false, .leaves = {}};
  static cpu_probe subject("CPU Information", 16, 1, 0x2F71, 0xFFEF);
  EXPECT_FALSE(subject.test());
}

// Vendor, family and model with their numbers, from the row of the first table.
TEST_F(Cpu, Names) {
  const struct {
    const char* vendor;
    uint32_t signature;
    const char* cells;
  } cases[] = {
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
  Table::set_output_format(OUTPUT_HTML);
  for (const auto& one : cases) {
    play_cpu(one.vendor, one.signature, 0);
    std::string text = report(), cells;
    text.erase(0, text.find("<TD>") + 4);
    text.erase(text.find("</TD></TR>"));
    for (size_t end; (end = text.find("</TD><TD>")) != std::string::npos; text.erase(0, end + 9)) {
      cells += text.substr(0, end) + "|";
    }
    EXPECT_EQ(cells + text, one.cells) << one.vendor << std::hex << one.signature;
  }
}

}  // namespace
}  // namespace kestrel
