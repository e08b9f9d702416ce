// What the PCI report costs beside the accesses themselves: loading the database (pcidb.txt of the
// current folder: run it in the build folder) and the rows of 256 functions.
#include <benchmark/benchmark.h>

#include "lib/file.h"
#include "probes/pci_probe.h"

namespace kestrel {
namespace {

void BM_LoadDatabase(benchmark::State& state) {
  pci_database names;
  for (auto _ : state) {
    if (names.load("pcidb.txt") == 0) state.SkipWithError("no pcidb.txt in this folder");
  }
  state.counters["records"] = names.size();
}
BENCHMARK(BM_LoadDatabase)->Unit(benchmark::kMillisecond);

// 256 functions of vendors and devices all over the database, each with its header decoded.
void BM_DeviceRows(benchmark::State& state) {
  constexpr uint16_t k_ids[][2] = {
      {0x8086, 0x1237},
      {0x8086, 0x7010},
      {0x10EC, 0x8139},
      {0x1AF4, 0x1001},
      {0x1000, 0x0012},
      {0x1B36, 0x0001},
      {0x1013, 0xFFFF},
      {0xFFFE, 0x0000}
  };
  pci_database names;
  names.load("pcidb.txt");
  file_ptr out(std::fopen("/dev/null", "w"));
  Table::set_output_format(OUTPUT_KSML);
  for (auto _ : state) {
    record_table<pci_function> table(out.get(), "PCI Device Summary", "PCI_DEVICE",
                                     pci_summary_cells(false));
    for (unsigned i = 0; i < 256; ++i) {
      unsigned char bytes[k_pci_header_size] = {};
      const uint16_t* id = k_ids[i % std::size(k_ids)];
      for (unsigned k = 0; k < 4; ++k)
        bytes[k] = static_cast<unsigned char>(id[k / 2] >> k % 2 * 8);
      pci_address at = {static_cast<uint8_t>(i / 32), static_cast<uint8_t>(i % 32), 0};
      const pci_function found(names, at, parse_pci_header(bytes), "Unknown");
      table.add(found.row_name(), found);
    }
  }
}
BENCHMARK(BM_DeviceRows)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace kestrel
