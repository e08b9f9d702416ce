// Texts of capacities: decimal units for disks, binary ones for memory.
#include <algorithm>
#include <array>

#include "lib/debug.h"
#include "lib/utilstr.h"

namespace kestrel {

namespace {

struct capacity_unit {
  uint64_t size;
  const char* name;
};

std::array<capacity_unit, 4> units_of(uint64_t kilo) {
  if (kilo == 0) kilo = 1000;
  return {
      {{kilo * kilo * kilo * kilo, "TB"},
       {kilo * kilo * kilo, "GB"},
       {kilo * kilo, "MB"},
       {kilo, "KB"}}
  };
}

}  // namespace

char* calculate_storage_capacity(uint64_t count, unsigned unit_size, char* out, int size,
                                 unsigned kilo) {
  // The first call of the process fixes the units for all later ones on purpose.
  static const std::array<capacity_unit, 4> units = units_of(kilo);
  const auto room = static_cast<size_t>(std::max(size, 0));
  const uint64_t c = count * unit_size;
  printd("capacity:\tc = %llu\n", static_cast<unsigned long long>(c));
  for (const capacity_unit& unit : units) {
    if (c < unit.size) continue;
    const auto v = static_cast<uint32_t>(c / std::max<uint64_t>(unit.size / 10, 1));
    return format_string(out, room, "%u.%u %s", v / 10, v % 10, unit.name);
  }
  return format_string(out, room, "%u bytes", static_cast<unsigned>(c));
}

char* calculate_memory_size(unsigned long long a, unsigned long long b, char* out, int size) {
  static constexpr struct {
    unsigned shift;
    const char* name;
  } k_units[] = {
      {40, "TB"   },
      {30, "GB"   },
      {20, "MB"   },
      {10, "KB"   },
      {0,  "bytes"},
  };
  const auto room = static_cast<size_t>(std::max(size, 0));
  const unsigned long long c = a * b;
  printd("capacity: c = %llu bytes\n", c);
  const auto* unit = k_units;
  while (unit->shift > 0 && c >> unit->shift == 0) ++unit;
  const auto whole = static_cast<unsigned long>(c >> unit->shift);
  if (unit->shift < 30) return format_string(out, room, "%lu %s", whole, unit->name);
  const unsigned long long remainder = c & ((1ULL << unit->shift) - 1);
  const auto thousandths = static_cast<unsigned long>((remainder * 1000) >> unit->shift);
  // From 995 thousandths on the decimals read "100" on purpose.
  return format_string(out, room, "%lu.%02lu %s", whole, (thousandths + 5) / 10, unit->name);
}

}  // namespace kestrel
