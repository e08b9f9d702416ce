// What the SMBIOS table says about memory: modules (type 6, older firmware) or arrays and their
// devices (types 16 and 17). All sizes are in MB. See dmi.h.
#include <climits>

#include "lib/debug.h"
#include "lib/decode.h"
#include "lib/dmi.h"
#include "lib/utilstr.h"

namespace kestrel {

namespace {

constexpr unsigned k_controller = 5, k_module = 6, k_array = 16, k_device = 17;

constexpr mask_name k_module_types[] = {
    {0x0001, "Other"    },
    {0x0002, "Unknown"  },
    {0x0004, "Standard" },
    {0x0008, "FPM"      },
    {0x0010, "EDO"      },
    {0x0020, "Parity"   },
    {0x0040, "ECC"      },
    {0x0080, "SIMM"     },
    {0x0100, "DIMM"     },
    {0x0200, "Burst EDO"},
    {0x0400, "SDRAM"    },
};

constexpr code_name k_device_types[] = {
    {1,  "Other"  },
    {2,  "Unknown"},
    {3,  "DRAM"   },
    {4,  "EDRAM"  },
    {5,  "VRAM"   },
    {6,  "SRAM"   },
    {7,  "RAM"    },
    {8,  "ROM"    },
    {9,  "Flash"  },
    {10, "EEPROM" },
    {11, "FEPROM" },
    {12, "EPROM"  },
    {13, "CDRAM"  },
    {14, "3DRAM"  },
    {15, "SDRAM"  },
    {16, "SGRAM"  },
    {17, "RDRAM"  },
    {18, "DDR"    },
};

constexpr code_name k_form_factors[] = {
    {1,  "Other"           },
    {3,  "SIMM"            },
    {4,  "SIP"             },
    {5,  "CHIP"            },
    {6,  "DIP"             },
    {7,  "ZIP"             },
    {8,  "Proprietary Card"},
    {9,  "DIMM"            },
    {10, "TSOP"            },
    {11, "Row of Chips"    },
    {12, "RIMM"            },
    {13, "SODIMM"          },
    {14, "SRIMM"           },
};

constexpr unsigned k_size_unknown = 0xFFFF;       // of a device
constexpr unsigned k_size_in_kilobytes = 0x8000;  // flag in a device's size word
constexpr uint32_t k_capacity_unknown = 0x80000000;

// Codes far beyond any machine must not overflow.
int64_t two_to_power(unsigned n) { return n < 31 ? int64_t{1} << n : INT_MAX; }

bool is_system_memory(const smbios_structure& array) { return array.u8(5) == 3; }

int64_t module_size(const smbios_structure& module) {
  constexpr unsigned k_largest_code = 124;  // above: not determinable, not enabled, not installed
  const unsigned code = module.u8(9) & 0x7F;
  printd("Dmi: memory module %04x has size code %u\n", module.handle(), code);
  return code > k_largest_code ? 0 : two_to_power(code);
}

// VRAM and the kinds of ROM are no main memory.
bool counts_as_installed(unsigned type) { return type != 5 && (type < 8 || type > 12); }

int64_t device_size(const smbios_structure& device) {
  const unsigned size = device.u16(12), type = device.u8(18);
  printd("Dmi: memory device %04x has type %u and size %04x\n", device.handle(), type, size);
  if (!counts_as_installed(type) || size == k_size_unknown) return 0;
  return (size & k_size_in_kilobytes) != 0 ? (size & ~k_size_in_kilobytes) >> 10 : size;
}

}  // namespace

std::string Dmi::getType06MemoryType(unsigned bits) {
  return bit_names(k_module_types, bits, "Error: Invalid Type");
}

const char* Dmi::getType17MemoryType(unsigned code) {
  return name_of(k_device_types, code, "Error: Invalid Type");
}

const char* Dmi::getType17FormFactor(unsigned code) {
  return name_of(k_form_factors, code, "Unknown");
}

int Dmi::get_total_installed_memory() {
  printd("Dmi::get_total_installed_memory()\n");
  int64_t total = 0;
  for (const smbios_structure& module : structures(k_module)) total += module_size(module);
  if (!structures(k_module).empty()) return to_int(total);
  for (const smbios_structure& device : structures(k_device)) total += device_size(device);
  return to_int(total);
}

int Dmi::get_num_memory_slots() {
  printd("Dmi::get_num_memory_slots()\n");
  if (!has_table()) return -1;
  int slots = 0;
  for (const smbios_structure& array : structures(k_array)) {
    printd("Dmi::get_num_memory_slots() - found type 16 of type %d\n", array.u8(5));
    if (!is_system_memory(array)) continue;
    printd("Dmi::get_num_memory_slots() - found system memory with %d slots\n", array.u16(13));
    slots += array.u16(13);
  }
  if (!structures(k_array).empty()) return slots;
  for (const smbios_structure& controller : structures(k_controller)) {
    printd("Dmi: memory controller %04x has %u slots\n", controller.handle(), controller.u8(14));
    slots += controller.u8(14);
  }
  return slots;
}

int Dmi::get_total_memory_capability() {
  printd("Dmi::get_total_memory_capability()\n");
  if (!has_table()) return -1;
  int64_t total = 0;
  bool known = false;
  for (const smbios_structure& controller : structures(k_controller)) {
    printd("Dmi: memory controller %04x has %u slots, module size code %u\n", controller.handle(),
           controller.u8(14), controller.u8(8));
    total += controller.u8(14) * two_to_power(controller.u8(8));
    known = true;
  }
  if (!known) {
    for (const smbios_structure& array : structures(k_array)) {
      printd("Dmi: memory array %04x has use %u, capacity %08x\n", array.handle(), array.u8(5),
             array.u32(7));
      if (!is_system_memory(array) || array.u32(7) == k_capacity_unknown) continue;
      total += array.u32(7) >> 10;
      known = true;
    }
  }
  const int result = known ? to_int(total) : -1;
  printd("Dmi::get_total_memory_capability() returning %d\n", result);
  return result;
}

smbios_structure Dmi::find_memory_device(unsigned slot) {
  unsigned seen = 0;
  for (const smbios_structure& array : structures(k_array)) {
    printd("Dmi: memory array %04x has use %u\n", array.handle(), array.u8(5));
    if (!is_system_memory(array)) continue;
    for (const smbios_structure& device : structures(k_device)) {
      printd("Dmi: memory device %04x is in array %04x\n", device.handle(), device.u16(4));
      if (device.u16(4) != array.handle()) continue;
      if (++seen == slot) return device;
    }
  }
  return {};
}

int Dmi::get_installed_memory_size(unsigned slot) {
  printd("Dmi::get_installed_memory_size(%u)\n", slot);
  if (!has_table()) return 0;
  if (!structures(k_module).empty()) {
    const smbios_structure module = get_struct(k_module, slot - 1);
    return module ? to_int(module_size(module)) : -1;
  }
  const smbios_structure device = find_memory_device(slot);
  if (!device || device.u16(12) == k_size_unknown) return -1;
  const unsigned size = device.u16(12);
  if ((size & k_size_in_kilobytes) == 0) return static_cast<int>(size);
  // A size in KB is taken from the total width on purpose.
  return (device.u16(8) & 0x7FFF) >> 10;
}

std::string Dmi::get_installed_memory_type(unsigned slot) {
  printd("Dmi::get_installed_memory_type(%u)\n", slot);
  if (!structures(k_module).empty()) {
    const smbios_structure module = get_struct(k_module, slot - 1);
    printd("Dmi: memory module %04x has type %04x\n", module.handle(), module.u16(7));
    return module ? getType06MemoryType(module.u16(7)) : "Unknown";
  }
  const smbios_structure device = find_memory_device(slot);
  if (!device) return "Unknown";
  return format_text("%s %s", getType17MemoryType(device.u8(18)),
                     getType17FormFactor(device.u8(14)));
}

}  // namespace kestrel
