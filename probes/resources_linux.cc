// What the kernel has assigned to the hardware, a table each from /proc/dma, /proc/iomem,
// /proc/ioports and /proc/interrupts. Lines are handed to the parsers up to a NUL.
#include "probes/resources_linux.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <iterator>
#include <vector>

#include "lib/ascii.h"
#include "lib/debug.h"
#include "lib/file.h"
#include "lib/getline.h"
#include "lib/table_rows.h"
#include "lib/utilstr.h"

namespace kestrel {
namespace {

constexpr cell_of<dma_channel> k_dma_cells[] = {
    {"Name",    show<&dma_channel::name>   },
    {"Channel", show<&dma_channel::channel>},
};
constexpr cell_of<resource_range> k_iomem_cells[] = {
    {"Memory Range", show<&resource_range::range>      },
    {"Description",  show<&resource_range::description>},
};
constexpr cell_of<resource_range> k_ioports_cells[] = {
    {"Port Number", show<&resource_range::range>      },
    {"Description", show<&resource_range::description>},
};

template <size_t Cpu>
int64_t count_on(const interrupt& from) {
  return from.counts[Cpu];
}

// A column for each processor that there can be; the table leaves out those past the machine's own.
constexpr cell_of<interrupt> k_interrupt_cells[] = {
    {"IRQ Number",             show<&interrupt::irq>.wide(64)},
    {"CPU 1 interrupt count",  show<count_on<0>>             },
    {"CPU 2 interrupt count",  show<count_on<1>>             },
    {"CPU 3 interrupt count",  show<count_on<2>>             },
    {"CPU 4 interrupt count",  show<count_on<3>>             },
    {"CPU 5 interrupt count",  show<count_on<4>>             },
    {"CPU 6 interrupt count",  show<count_on<5>>             },
    {"CPU 7 interrupt count",  show<count_on<6>>             },
    {"CPU 8 interrupt count",  show<count_on<7>>             },
    {"CPU 9 interrupt count",  show<count_on<8>>             },
    {"CPU 10 interrupt count", show<count_on<9>>             },
    {"CPU 11 interrupt count", show<count_on<10>>            },
    {"CPU 12 interrupt count", show<count_on<11>>            },
    {"CPU 13 interrupt count", show<count_on<12>>            },
    {"CPU 14 interrupt count", show<count_on<13>>            },
    {"CPU 15 interrupt count", show<count_on<14>>            },
    {"CPU 16 interrupt count", show<count_on<15>>            },
    {"CPU 17 interrupt count", show<count_on<16>>            },
    {"Type",                   show<&interrupt::type>        },
    {"Device",                 show<&interrupt::device>      },
};
static_assert(std::size(k_interrupt_cells) == k_max_cpu_columns + 3);

// Lines without a number that are reported.
struct named_interrupt {
  std::string_view prefix;
  const char* label;
};
constexpr named_interrupt k_named_interrupts[] = {
    {"NMI", "Non Maskable Interrupt"       },
    {"LOC", "Internal APIC local Interrupt"},
    {"ERR", "IO-APIC bus errors"           },
};

file_ptr open_resource(const char* path, const char* module) {
  file_ptr in = open_regular_file(path);
  if (in == nullptr) print_error(format_text("%s: fopen", module).c_str(), errno);
  return in;
}

// The label or number at the start of the line, "" when the line is none to report.
std::string take_irq(std::string_view& text) {
  int64_t number = 0;
  if (!text.empty() && is_ascii_digit(text.front())) {
    std::string_view word = next_word(text);
    scan_integer(word, number);
    return std::to_string(to_int(number));
  }
  for (const named_interrupt& named : k_named_interrupts) {
    if (!text.starts_with(named.prefix)) continue;
    text.remove_prefix(std::min<size_t>(text.size(), 4));
    return named.label;
  }
  return {};
}

size_t count_cpus(FILE* in) {
  std::string heading;
  errno = 0;
  if (!read_line(in, heading)) print_error("interrupts: getline", errno);
  std::string_view text = until_nul(heading);
  size_t cpus = 0;
  while (!next_word(text).empty()) ++cpus;
  printd("interrupts: found %zu CPUs\n", cpus);
  return cpus;
}

}  // namespace

std::optional<dma_channel> parse_dma_line(std::string_view line) {
  int64_t channel = 0;
  if (!scan_integer(line, channel) || !line.starts_with(':')) return {};
  line.remove_prefix(1);
  const std::string_view name = next_word(line);
  if (name.empty()) return {};
  return dma_channel{name, to_int(channel)};
}

std::optional<resource_range> parse_range_line(std::string_view line) {
  const size_t colon = line.find(':');
  if (colon == std::string_view::npos || colon + 2 >= line.size()) return {};
  const std::string_view description = line.substr(colon + 2);
  return resource_range{next_word(line), description};
}

std::optional<interrupt> parse_interrupt_line(std::string_view line, size_t cpus) {
  std::string_view text = trim_whitespace(line);
  interrupt found;
  found.irq = take_irq(text);
  if (found.irq.empty()) return {};
  text = trim_whitespace(text);
  for (size_t cpu = 0; cpu < cpus && !text.empty(); ++cpu) {
    std::string_view word = next_word(text);
    if (cpu < k_max_cpu_columns) scan_integer(word, found.counts[cpu]);
  }
  found.type = next_word(text);
  found.device = text;
  return found;
}

void write_interrupts(FILE* fp, FILE* in) {
  const size_t cpus = in != nullptr ? count_cpus(in) : 0;
  std::vector<cell_of<interrupt>> cells(std::begin(k_interrupt_cells), std::end(k_interrupt_cells));
  const size_t unused = k_max_cpu_columns - std::min(cpus, k_max_cpu_columns);
  cells.erase(cells.end() - 2 - static_cast<std::ptrdiff_t>(unused), cells.end() - 2);
  record_table<interrupt> table(fp, "IRQs", cells);
  const auto parse = [cpus](std::string_view line) { return parse_interrupt_line(line, cpus); };
  add_lines(table, in, "interrupts", parse, &interrupt::irq);
}

bool dma_probe::run(FILE* fp) {
  record_table table(fp, "DMA Channels in use", k_dma_cells);
  add_lines(table, open_resource("/proc/dma", "dma").get(), "dma", parse_dma_line,
            &dma_channel::name);
  return true;
}

bool iomem_probe::run(FILE* fp) {
  record_table table(fp, "I/O Memory Map", k_iomem_cells);
  add_lines(table, open_resource("/proc/iomem", "iomem").get(), "iomem", parse_range_line,
            &resource_range::range);
  return true;
}

bool ioports_probe::run(FILE* fp) {
  record_table table(fp, "I/O Ports", k_ioports_cells);
  add_lines(table, open_resource("/proc/ioports", "ioports").get(), "ioports", parse_range_line,
            &resource_range::range);
  return true;
}

bool interrupts_probe::run(FILE* fp) {
  const file_ptr in = open_resource("/proc/interrupts", "interrupts");
  write_interrupts(fp, in.get());
  return true;
}

}  // namespace kestrel
