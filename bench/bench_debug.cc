// What a trace call costs while nobody traces, which is nearly always.
#include <benchmark/benchmark.h>

#include "lib/debug.h"

namespace {

void printd_while_off(benchmark::State& state) {
  int value = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(value);
    kestrel::printd("module: value %d of %s\n", value, "something");
  }
}
BENCHMARK(printd_while_off);

}  // namespace
