// Memory statistics and the kernel's lists of resources.
#include <gtest/gtest.h>

#include "probes/memory_probe.h"
#include "probes/resources_linux.h"
#include "tests/probes/report_rows.h"

namespace kestrel {
namespace {

std::string statistics_of(std::initializer_list<const char*> meminfo) {
  memory_handle_struct info;
  for (const char* line : meminfo) parse_meminfo(line, info);
  return report_of([&info](FILE* out) { write_memory_statistics(out, info); });
}

TEST(Memory, ImpossibleNumbersGiveNoLoadAndNothingUsed) {
  const char* nothing =
      "Memory Statistics\nMemory|0%|0 bytes|0|0 bytes|0|0 bytes|0|\n"
      "Swap|0%|0 bytes|0|0 bytes|0|0 bytes|0|\n";
  EXPECT_EQ(statistics_of({}), nothing);
  EXPECT_EQ(statistics_of({"MemTotal:", "MemFree: x", " MemTotal: 5", "SwapFree: -5 kB"}), nothing);
  EXPECT_EQ(statistics_of({"MemTotal: 99 kB", "SwapTotal: 100 kB", "SwapFree: 200 kB"}),
            "Memory Statistics\nMemory|0%|99 KB|101376|0 bytes|0|99 KB|101376|\n"
            "Swap|0%|100 KB|102400|200 KB|204800|0 bytes|0|\n");
}

std::string joined(const std::optional<dma_channel>& found) {
  return found ? found->name + "|" + std::to_string(found->channel) : "none";
}

TEST(Resources, DmaRowNeedsBothParts) {
  EXPECT_EQ(joined(parse_dma_line(" 4: cascade")), "cascade|4");
  EXPECT_EQ(joined(parse_dma_line("0x10:floppy drive")), "floppy|16");
  EXPECT_EQ(joined(parse_dma_line("99999999999: " + std::string(70, 'n'))),
            std::string(63, 'n') + "|2147483647");
  for (const char* line : {"", "4", "4:", " 4:  ", "4 : cascade", "cascade", ": cascade"}) {
    EXPECT_EQ(joined(parse_dma_line(line)), "none") << line;
  }
}

std::string joined(const std::optional<resource_range>& found) {
  return found ? found->range + "|" + found->description : "none";
}

TEST(Resources, RangeIsWhatStandsBeforeTheFirstColon) {
  EXPECT_EQ(joined(parse_range_line("    4000000000-7fffffffff : PCI Bus 0000:00")),
            "4000000000-7fffffffff|PCI Bus 0000:00");
  EXPECT_EQ(joined(parse_range_line(std::string(70, '1') + " : " + std::string(70, 'd'))),
            std::string(63, '1') + "|" + std::string(63, 'd'));
  for (const char* line : {"", "0000-ffff", "0000-ffff :", "0000-ffff : ", ":"}) {
    EXPECT_EQ(joined(parse_range_line(line)), "none") << line;
  }
}

constexpr const char* k_interrupts =
    "           CPU0       CPU1\n"
    "  0:         44 5000000000   IO-APIC-edge      timer\n"
    " 30:          0          0 PCI-MSIX-0000:00:01.0   2-edge      virtio0-deflate\n"
    "NMI:          1          2   Non-maskable interrupts\n"
    "LOC:     727940     751613   Local timer interrupts\n"
    "SPU:          0          0   Spurious interrupts\n"
    "ERR:          7\n"
    "MIS:          9\n"
    "\n"
    " 08:          x\n"
    "99999999999:  3          4\n"
    "  5:          6          7   last";

TEST(Resources, InterruptsHaveAColumnAProcessor) {
  EXPECT_EQ(report_of_file(write_interrupts, k_interrupts),
            "IRQs\n0|44|5000000000|IO-APIC-edge|timer|\n"
            "30|0|0|PCI-MSIX-0000:00:01.0|2-edge      virtio0-deflate|\n"
            "Non Maskable Interrupt|1|2|Non-maskable|interrupts|\n"
            "Internal APIC local Interrupt|727940|751613|Local|timer interrupts|\n"
            "IO-APIC bus errors|7|0|||\n"
            "0|0|0|||\n"
            "2147483647|3|4|||\n"
            "5|6|7|las||\n");
  EXPECT_EQ(report_of_file(write_interrupts, ""), "IRQs\n");
  EXPECT_EQ(report_of([](FILE* out) { write_interrupts(out, nullptr); }), "IRQs\n");
}

TEST(Resources, ProcessorsBeyondTheTableAreSkipped) {
  std::string file = "   ";
  std::string counts, shown;
  for (int cpu = 0; cpu < 40; ++cpu) {
    file += " CPU" + std::to_string(cpu);
    counts += " " + std::to_string(cpu + 100);
    if (cpu < 17) shown += std::to_string(cpu + 100) + "|";
  }
  file += "\n 1:" + counts + " " + std::string(40, 't') + "  " + std::string(70, 'd') + "\n";
  EXPECT_EQ(report_of_file(write_interrupts, file),
            "IRQs\n1|" + shown + std::string(31, 't') + "|" + std::string(63, 'd') + "|\n");
}

}  // namespace
}  // namespace kestrel
