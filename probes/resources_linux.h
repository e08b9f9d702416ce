// What the kernel has assigned to the hardware: DMA channels, ranges of memory and of ports,
// interrupts.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "gatherer/probe.h"
#include "lib/column.h"
#include "lib/record_members.h"

namespace kestrel {

/// A DMA channel in use.
struct dma_channel {
  kept_text<63> name;
  int channel = 0;
};
/// Takes a line of /proc/dma without its newline. Nothing without a channel and a name.
std::optional<dma_channel> parse_dma_line(std::string_view line);

/// A range of memory or of ports.
struct resource_range {
  kept_text<63> range;
  kept_text<63> description;
};
/// Takes a line of /proc/iomem or /proc/ioports without its newline. How deep the range is nested
/// is dropped. Nothing without a description.
std::optional<resource_range> parse_range_line(std::string_view line);

/// As many as leave room for the number, the type and the device.
inline constexpr size_t k_max_cpu_columns = k_max_columns - 3;

/// A line of /proc/interrupts (proc(5)).
struct interrupt {
  std::string irq;  ///< its number, or what a line without one counts
  std::array<int64_t, k_max_cpu_columns> counts{};  ///< by processor
  kept_text<31> type;                               ///< controller
  kept_text<63> device;
};
/// Takes a line of /proc/interrupts without its newline, and how many processors the file's heading
/// names; counts past the last column are skipped. Nothing for the lines that are not reported.
std::optional<interrupt> parse_interrupt_line(std::string_view line, size_t cpus);
/// Writes the whole table from `in`, which is read to its end; null for none.
void write_interrupts(FILE* fp, FILE* in);

/// The table of /proc/dma.
class dma_probe : public probe {
 public:
  using probe::probe;
  /// Always true, as for those below; no rows when the file cannot be read.
  bool run(FILE* fp) override;
};

/// The table of /proc/iomem.
class iomem_probe : public probe {
 public:
  using probe::probe;
  bool run(FILE* fp) override;
};

/// The table of /proc/ioports.
class ioports_probe : public probe {
 public:
  using probe::probe;
  bool run(FILE* fp) override;
};

/// The table of /proc/interrupts.
class interrupts_probe : public probe {
 public:
  using probe::probe;
  bool run(FILE* fp) override;
};

}  // namespace kestrel
