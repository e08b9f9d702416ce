// Parsing and reporting the largest SMBIOS table that is read, 16 KB of the structures that a
// machine has.
#include <benchmark/benchmark.h>

#include <cstdio>

#include "lib/table.h"
#include "probes/dmi_info.h"
#include "tests/doors/fake_pma.h"

namespace kestrel {
namespace {

byte_vector full_table() {
  byte_vector machine;
  for (const byte_vector& structure :
       {smbios_bytes(1, 1, byte_vector(23, 2), {"Maker", "Model"}),
        smbios_bytes(4, 2, byte_vector(31, 1), {"CPU 0"}),
        smbios_bytes(7, 3, byte_vector(15, 1), {"L1"}),
        smbios_bytes(8, 4, byte_vector(5, 2), {"J1A1", "Keyboard"}),
        smbios_bytes(9, 5, byte_vector(9, 1), {"Slot 1"}), smbios_bytes(11, 6, {2}, {"one", "two"}),
        smbios_bytes(17, 7, byte_vector(23, 1), {"DIMM 1"})}) {
    machine.insert(machine.end(), structure.begin(), structure.end());
  }
  byte_vector table;
  while (table.size() + machine.size() <= static_cast<size_t>(Dmi::k_table_size)) {
    table.insert(table.end(), machine.begin(), machine.end());
  }
  return table;
}

void parse_table(benchmark::State& state) {
  play_smbios(full_table());
  for (auto _ : state) {
    Dmi dmi;
    benchmark::DoNotOptimize(dmi.init());
  }
}
BENCHMARK(parse_table);

void report_table(benchmark::State& state) {
  FILE* out = fopen("/dev/null", "w");
  Table::set_output_format(OUTPUT_KSML);
  play_smbios(full_table());
  for (auto _ : state) {
    Dmi dmi;
    benchmark::DoNotOptimize(dmi_info(out, dmi));
  }
  fclose(out);
}
BENCHMARK(report_table);

}  // namespace
}  // namespace kestrel
