// The firmware table over a played SMBIOS table, and the embedded controller's version.
#include <gtest/gtest.h>

#include "lib/dmi.h"
#include "lib/table.h"
#include "probes/firmware_probe.h"
#include "probes/smapi.h"
#include "tests/doors/fake_pma.h"
#include "tests/lib/report_capture.h"

namespace kestrel {
namespace {

TEST(FirmwareProbe, Table) {
  static probe_group group("Firmware Information", 16, "Firmware Information", true);
  static firmware_probe subject(group, "Firmware Probe", 3, 0x2F71, 0xFFEF);
  auto report = [] {
    Dmi dmi;
    Dmi::instance = &dmi;
    report_capture out;
    EXPECT_TRUE(subject.run(out.stream()));
    Dmi::instance = nullptr;
    return out.text();
  };
  play_smbios(smbios_bytes(0, 0, {1, 2, 0, 0xF0, 3, 7, 0, 0, 0, 0, 0, 0, 0, 0},
                           {"Maker", "EXB123A-1.07", "11/23/2005"}));
  Table::set_output_format(OUTPUT_KSML);
  EXPECT_EQ(report(), with_cr(R"(<TABLE ID="Firmware Information">
<COLS>3</COLS>
<ROW ID="BIOS">
<STR ID="Firmware" W="23">System BIOS</STR>
<STR ID="Version" W="23">EXB123A-1.07</STR>
<DATE ID="Date" W="23">2005-11-23</DATE>
<CHK> 863</CHK>
</ROW>
<ROW ID="EC">
<STR ID="Firmware" W="23">Embedded Controller</STR>
<STR ID="Version" W="23"></STR>
<STR ID="Date" W="23"></STR>
<CHK> 74E</CHK>
</ROW>
<ROWS>2</ROWS>
<CHK> FB1</CHK>
</TABLE>
)"));
  played_memory() = {};
  Table::set_output_format(OUTPUT_HTML);
  EXPECT_NE(report().find("<TD>System BIOS</TD><TD>Unknown</TD><TD></TD></TR>"), std::string::npos);
  Table::set_output_format(OUTPUT_TEXT);
}

TEST(Smapi, EmbeddedControllerVersion) {
  auto version = [](uint32_t eax, uint32_t ecx, uint32_t edx, size_t size = 16) {
    std::string buffer(size, '#');
    _SMAPI_REGS registers{.eax = eax, .ebx = 6, .ecx = ecx, .edx = edx};
    return std::string(parse_h8_version(registers, buffer.data(), static_cast<int>(size)));
  };
  EXPECT_EQ(version(0x0001, 0x0A05, 0x4142), "10.05");
  EXPECT_EQ(version(0x0000, 0x3141, 0x3042), "1.A0B");
  EXPECT_EQ(version(0x0000, 0x3141, 0x10000), "1.A");
  EXPECT_EQ(version(0x0000, 0x3141, 0), "1.A");
  EXPECT_EQ(version(0x8601, 0x0A05, 0), "");  // failed
  EXPECT_EQ(version(0x0001, 0x0A05, 0, 4), "10.");
  _SMAPI_REGS untouched{.eax = 1, .ebx = 2, .ecx = 3, .edx = 4};
  EXPECT_FALSE(call_SMAPI(&untouched));
  EXPECT_EQ(untouched.ecx, 3u);
}

}  // namespace
}  // namespace kestrel
