// The page of `ks2 html`: reading and judging a report of so many rows and writing its page.
#include <benchmark/benchmark.h>

#include <cstdlib>

#include "lib/utilstr.h"
#include "tools/ks2/html_page.h"

namespace kestrel::ks2 {
namespace {

/// Without sums, which cost the same to compute.
std::string report_of_rows(int64_t rows) {
  std::string text =
      "<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"yes\"?>\r\n<GATHERED_DATA>\r\n"
      "<SECTION ID=\"Processes\">\r\n<TABLE ID=\"Process List\">\r\n<COLS>3</COLS>\r\n";
  for (int64_t i = 0; i < rows; ++i) {
    text += format_text(
        "<ROW ID=\"\">\r\n<DEC ID=\"PID\" W=\"8\">%lld</DEC>\r\n<STR ID=\"User\" "
        "W=\"16\">root</STR>"
        "\r\n<STR ID=\"Command\" W=\"64\">/usr/sbin/daemon --number=%lld "
        "&lt;x&gt;</STR>\r\n</ROW>\r\n",
        static_cast<long long>(i), static_cast<long long>(i));
  }
  return text + "</TABLE>\r\n</SECTION>\r\n</GATHERED_DATA>\r\n";
}

void write_report_page(benchmark::State& state) {
  const std::string text = report_of_rows(state.range(0));
  const input_file file("report", std::vector<unsigned char>(text.begin(), text.end()),
                        k_default_max_size);
  FILE* const out = std::fopen("/dev/null", "w");
  for (auto _ : state) {
    std::optional<opened_report> opened;
    const judgement found = judge(file, judging::quick, &opened);
    write_page({"report", text.size(), {}, opened->content, found}, out);
  }
  std::fclose(out);
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * text.size()));
}
BENCHMARK(write_report_page)->Arg(1000)->Arg(50'000)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace kestrel::ks2
