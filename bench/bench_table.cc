// A million ksml rows of eight cells: the table writer against one fprintf and one fflush a cell.
// Into a file, as a report is, and into /dev/null, where system calls cost least. The file is
// rewound now and then, so that the disk takes no part in it.
#include <benchmark/benchmark.h>

#include "lib/file.h"
#include "lib/table.h"

namespace kestrel {
namespace {

constexpr int k_rows = 1'000'000;
constexpr int k_rows_in_file = 10'000;

constexpr column k_columns[] = {
    {"Name",        DT_STRING,  32},
    {"Version",     DT_STRING,  20},
    {"Size",        DT_INTEGER, 10},
    {"Address",     DT_HEX,     10},
    {"Is present",  DT_BOOL,    10},
    {"Description", DT_STRING,  60},
    {"Comment",     DT_ASCII,   30},
    {"Total",       DT_INTEGER, 20},
};

enum output_kind { regular_file, null_device };

file_ptr open_output(const benchmark::State& state) {
  const bool is_file = state.range(0) == regular_file;
  return file_ptr(is_file ? std::tmpfile() : std::fopen("/dev/null", "wb"));
}

void table_rows(benchmark::State& state) {
  Table::set_output_format(OUTPUT_KSML);
  for (auto step : state) {
    const file_ptr out = open_output(state);
    Table table(out.get(), "Packages");
    table.declare(k_columns);
    for (int i = 0; i < k_rows; ++i) {
      if (i % k_rows_in_file == 0) std::rewind(out.get());
      table.start_row("package");
      table.log_data("libexample-common");
      table.log_data("1.2.34-5+b1");
      table.log_data(i);
      table.log_data(i * 16);
      table.log_data(i & 1);
      table.log_data("Common files of the <example> library & friends");
      table.log_data("plain remark");
      table.log_data(static_cast<unsigned long>(i) * 4096);
      table.end_row();
    }
  }
  state.SetItemsProcessed(state.iterations() * k_rows);
}

void print_cell(FILE* out, const char* kind, int column, const char* value) {
  std::fprintf(out, "<%s ID=\"%s\" W=\"%d\">%s</%s>\r\n", kind, k_columns[column].name,
               k_columns[column].width, value, kind);
  std::fflush(out);
}

void print_number(FILE* out, const char* kind, int column, const char* prefix, long value) {
  std::fprintf(out, "<%s ID=\"%s\" W=\"%d\">%s%ld</%s>\r\n", kind, k_columns[column].name,
               k_columns[column].width, prefix, value, kind);
  std::fflush(out);
}

void printed_rows(benchmark::State& state) {
  for (auto step : state) {
    const file_ptr out = open_output(state);
    for (int i = 0; i < k_rows; ++i) {
      if (i % k_rows_in_file == 0) std::rewind(out.get());
      std::fprintf(out.get(), "<ROW ID=\"%s\">\r\n", "package");
      print_cell(out.get(), "STR", 0, "libexample-common");
      print_cell(out.get(), "STR", 1, "1.2.34-5+b1");
      print_number(out.get(), "DEC", 2, "", i);
      print_number(out.get(), "HEX", 3, "0x", i * 16L);
      print_cell(out.get(), "BOOL", 4, (i & 1) != 0 ? "true" : "false");
      print_cell(out.get(), "STR", 5, "Common files of the &lt;example&gt; library &amp; friends");
      print_cell(out.get(), "ASC", 6, "plain remark");
      print_number(out.get(), "DEC", 7, "", i * 4096L);
      std::fprintf(out.get(), "<CHK>%4X</CHK>\r\n</ROW>\r\n", 0x1234u);
    }
  }
  state.SetItemsProcessed(state.iterations() * k_rows);
}

BENCHMARK(table_rows)
    ->ArgName("null")
    ->Arg(regular_file)
    ->Arg(null_device)
    ->Unit(benchmark::kMillisecond);
BENCHMARK(printed_rows)
    ->ArgName("null")
    ->Arg(regular_file)
    ->Arg(null_device)
    ->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace kestrel
