// Writes the rows for physical memory and for swap space: sizes, use and load, as memory_linux.h
// gives them as texts.
#include "probes/memory_probe.h"

#include "lib/table_rows.h"
#include "lib/utilstr.h"

namespace kestrel {
namespace {

using text_form = char* (*)(const memory_handle_struct& info, char* out, int size);
using bytes_form = uint64_t (*)(const memory_handle_struct& info);

// Physical memory, or swap.
struct memory_use {
  const char* type;
  std::string load, total, total_bytes, free, free_bytes, used, used_bytes;
};

constexpr cell_of<memory_use> k_memory_cells[] = {
    {"Type",          show_ascii<&memory_use::type>.wide(6)        },
    {"Load",          show_ascii<&memory_use::load>.wide(4)        },
    {"Total",         show_ascii<&memory_use::total>.wide(16)      },
    {"Total (bytes)", show_ascii<&memory_use::total_bytes>.wide(20)},
    {"Free",          show_ascii<&memory_use::free>.wide(16)       },
    {"Free (bytes)",  show_ascii<&memory_use::free_bytes>.wide(20) },
    {"Used",          show_ascii<&memory_use::used>.wide(16)       },
    {"Used (bytes)",  show_ascii<&memory_use::used_bytes>.wide(20) },
};

}  // namespace

void write_memory_statistics(FILE* fp, const memory_handle_struct& info) {
  const auto text = [&info](text_form form) {
    char buffer[32];
    return std::string(form(info, buffer, sizeof buffer));
  };
  const auto bytes = [&info](bytes_form form) { return std::to_string(form(info)); };
  record_table table(fp, "Memory Statistics", k_memory_cells);
  table.add("PHYSICAL_MEMORY",
            {"Memory", text(mem_get_memory_load), text(mem_get_total), bytes(mem_get_total_bytes),
             text(mem_get_free), bytes(mem_get_free_bytes), text(mem_get_used),
             bytes(mem_get_used_bytes)});
  table.add("PAGEFILE", {"Swap", text(mem_get_swap_load), text(mem_get_swap_total),
                         bytes(mem_get_swap_total_bytes), text(mem_get_swap_free),
                         bytes(mem_get_swap_free_bytes), text(mem_get_swap_used),
                         bytes(mem_get_swap_used_bytes)});
}

bool memory_probe::run(FILE* fp) {
  write_memory_statistics(fp, mem_get_info());
  return true;
}

}  // namespace kestrel
