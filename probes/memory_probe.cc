// See memory_probe.h.
#include "probes/memory_probe.h"

#include "lib/table.h"
#include "lib/utilstr.h"

namespace kestrel {
namespace {

constexpr column k_memory_columns[] = {
    {"Type",          DT_ASCII, 6 },
    {"Load",          DT_ASCII, 4 },
    {"Total",         DT_ASCII, 16},
    {"Total (bytes)", DT_ASCII, 20},
    {"Free",          DT_ASCII, 16},
    {"Free (bytes)",  DT_ASCII, 20},
    {"Used",          DT_ASCII, 16},
    {"Used (bytes)",  DT_ASCII, 20},
};

using text_form = char* (*)(const memory_handle_struct& info, char* out, int size);
using bytes_form = uint64_t (*)(const memory_handle_struct& info);

struct memory_size {
  text_form text;
  bytes_form bytes;
};
struct memory_row {
  const char* id;
  const char* type;
  text_form load;
  memory_size sizes[3];  // total, free, used
};
constexpr memory_row k_rows[] = {
    {"PHYSICAL_MEMORY",
     "Memory", mem_get_memory_load,
     {{mem_get_total, mem_get_total_bytes},
      {mem_get_free, mem_get_free_bytes},
      {mem_get_used, mem_get_used_bytes}}          },
    {"PAGEFILE",
     "Swap",   mem_get_swap_load,
     {{mem_get_swap_total, mem_get_swap_total_bytes},
      {mem_get_swap_free, mem_get_swap_free_bytes},
      {mem_get_swap_used, mem_get_swap_used_bytes}}},
};

}  // namespace

void write_memory_statistics(FILE* fp, const memory_handle_struct& info) {
  Table table(fp, "Memory Statistics");
  table.declare(k_memory_columns);
  char text[32];
  for (const memory_row& row : k_rows) {
    table.start_row(row.id);
    table.log_data(row.type);
    table.log_data(row.load(info, text, sizeof text));
    for (const memory_size& size : row.sizes) {
      table.log_data(size.text(info, text, sizeof text));
      table.log_data(format_text("%llu", static_cast<unsigned long long>(size.bytes(info))));
    }
    table.end_row();
  }
}

bool memory_probe::run(FILE* fp) {
  write_memory_statistics(fp, mem_get_info());
  return true;
}

}  // namespace kestrel
