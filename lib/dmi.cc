// Finds the SMBIOS table, copies it, indexes its structures by type and tells who made the machine
// and what slots it has. See dmi.h; memory is in dmi_memory.cc.
#include "lib/dmi.h"

#include <algorithm>

#include "lib/debug.h"
#include "lib/decode.h"
#include "lib/pma_linux.h"
#include "lib/utilstr.h"

namespace kestrel {

namespace {

constexpr unsigned k_bios = 0, k_system = 1, k_enclosure = 3, k_slot = 9, k_end_of_table = 127;

constexpr code_name k_chassis_types[] = {
    {1,  "Other"                },
    {3,  "Desktop"              },
    {4,  "Low Profile Desktop"  },
    {5,  "Pizza Box"            },
    {6,  "Mini Tower"           },
    {7,  "Tower"                },
    {8,  "Portable"             },
    {9,  "Laptop"               },
    {10, "Notebook"             },
    {11, "Handheld"             },
    {12, "Docking Station"      },
    {13, "All In One"           },
    {14, "Subnotebook"          },
    {15, "Space Saving"         },
    {16, "Lunch Box"            },
    {17, "Main Server Chassis"  },
    {18, "Expansion Chassis"    },
    {19, "Sub Chassis"          },
    {20, "Bus Expansion Chassis"},
    {21, "Peripheral Chassis"   },
    {22, "RAID Chassis"         },
    {23, "Rack Mount Chassis"   },
    {24, "Sealed-case PC"       },
};

bool is_pci_slot(const smbios_structure& slot) {
  const unsigned type = slot.u8(5);
  return type == 6 || type == 14 || type == 18;
}

unsigned slot_id_of(const smbios_structure& slot) { return slot.u16(9); }

}  // namespace

Dmi* Dmi::instance = nullptr;

Dmi& Dmi::get_instance() {
  if (instance == nullptr) {
    static Dmi shared;
    instance = &shared;
    instance->init();
  }
  return *instance;
}

bool Dmi::init() {
  if (initialised_) return valid_;
  initialised_ = true;
  valid_ = false;
  printd("dmi::init() called\n");
  if (!get_wmi_smbios_table() && !get_table()) return false;
  compute_checksum();
  index_structures();
  return valid_;
}

bool Dmi::get_wmi_smbios_table() { return false; }

bool Dmi::get_table() {
  entry_point_ = {};
  length_ = 0;
  std::vector<unsigned char> area(k_bios_area_size);
  // A copy that fails leaves an area of zeroes, which holds no anchor.
  copy_physical_memory(k_bios_area, area.data(), k_bios_area_size);
  if (!find_entry_point(area)) return false;

  cursor fields(entry_point_, 6);
  const unsigned length = fields.get_u16();
  const unsigned long address = fields.get_u32();
  printd("dmi: Table Address is %08x\n", static_cast<unsigned>(address));
  printd("dmi: Table Length is %08x\n", length);
  if (length > k_table_size) printd("dmi: Table cut to %d of %u bytes\n", k_table_size, length);
  if (!copy_table(area, address, std::min<size_t>(length, k_table_size))) return false;
  print_hexdump("DMI TABLE", table_.data(), static_cast<int>(length_), nullptr);
  valid_ = true;
  return true;
}

bool Dmi::find_entry_point(byte_span area) {
  for (size_t position = 0;;) {
    const byte_span rest = area.subspan(position);
    const unsigned char* found =
        FindSequence(rest.data(), static_cast<int>(rest.size()), "_DMI", 4);
    if (found == nullptr) {
      printd("dmi: Header not found\n");
      return false;
    }
    const auto offset = static_cast<size_t>(found - area.data());
    printd("dmi: signature found at offset %#08x\n", static_cast<unsigned>(offset));
    if (area.size() - offset < k_entry_point_size) break;
    const byte_span entry = area.subspan(offset, k_entry_point_size);
    print_hexdump("DmiStructureTableHeader", entry.data(), static_cast<int>(entry.size()), nullptr);
    unsigned sum = 0;
    for (unsigned char byte : entry) sum += byte;
    printd("dmi: Checksum is %u\n", sum % 256);
    if (sum % 256 == 0) {
      std::copy(entry.begin(), entry.end(), entry_point_.begin());
      return true;
    }
    position = offset + 4;
  }
  printd("dmi: Header Not Found");
  return false;
}

bool Dmi::copy_table(byte_span area, unsigned long address, size_t length) {
  table_.assign(k_table_size, 0);
  length_ = length;
  if (address > k_bios_area && address < k_bios_area + k_bios_area_size - 1) {
    const byte_span source = area.subspan(address - k_bios_area);
    std::copy_n(source.begin(), std::min(length, source.size()), table_.begin());
    return true;
  }
  return copy_physical_memory(address, table_.data(), static_cast<int>(length));
}

void Dmi::compute_checksum() {
  uint32_t weight = 0x5A5A;
  for (unsigned char byte : byte_span(table_).first(length_)) {
    checksum_ += byte * weight;
    weight *= 11;
  }
}

void Dmi::index_structures() {
  // The last structure may end behind the length that the entry point tells.
  for (size_t offset = 0; offset < length_;) {
    const byte_span rest = byte_span(table_).subspan(offset);
    const unsigned type = smbios_structure(rest).type();
    printd("dmi: Found Type %02d Structure at %04x\n", static_cast<int>(type),
           static_cast<unsigned>(offset));
    if (type == k_end_of_table) break;
    const unsigned length = getLengthOfStructure(rest);
    if (length == 0) break;
    structures_[std::min(type, k_indexed_types)].emplace_back(rest.first(length));
    offset += length;
  }
}

bool Dmi::has_table() {
  init();
  return entry_point_[0] == '_';
}

const Dmi::structure_list& Dmi::structures(unsigned type) {
  init();
  return structures_[std::min(type, k_indexed_types)];
}

int Dmi::get_smbios_revision() {
  init();
  return entry_point_[14];
}

uint32_t Dmi::get_checksum() {
  init();
  return checksum_;
}

unsigned Dmi::get_num_structs(unsigned type) {
  return static_cast<unsigned>(structures(type).size());
}

smbios_structure Dmi::get_struct(unsigned type, unsigned index) {
  const structure_list& list = structures(type);
  return index < list.size() ? list[index] : smbios_structure();
}

// --- identity -------------------------------------------------------------------------------

const char* Dmi::getChassisType(unsigned char type) {
  return name_of(k_chassis_types, type, "Unknown");
}

std::string Dmi::get_make() {
  const smbios_structure system = get_struct(k_system, 0);
  return system ? system.string_at(4) : "Unknown";
}

std::string Dmi::get_model() {
  const smbios_structure system = get_struct(k_system, 0);
  return system ? getArchitectedString(system.u8(5), system) : "Unknown";
}

std::string Dmi::get_serial_number() {
  for (unsigned type : {k_system, k_enclosure}) {
    for (const smbios_structure& structure : structures(type)) {
      if (structure.u8(7) != 0) return structure.string_at(7);
    }
  }
  return "Unknown";
}

std::string Dmi::get_enclosure_type() {
  const smbios_structure enclosure = get_struct(k_enclosure, 0);
  return enclosure ? getChassisType(enclosure.u8(5) & 0x7F) : "Unknown";
}

std::string Dmi::get_uuid() {
  constexpr unsigned k_offset = 8, k_size = 16, k_length_with_uuid = 25;
  const smbios_structure system = get_struct(k_system, 0);
  if (system.length() < k_length_with_uuid) return "Unknown";
  std::string text;
  for (unsigned i = 0; i < k_size; ++i) text += format_text("%02x", system.u8(k_offset + i));
  return text;
}

std::string Dmi::get_bios_build() {
  const smbios_structure bios = get_struct(k_bios, 0);
  return bios ? bios.string_at(5) : "Unknown";
}

gathered_date Dmi::get_bios_date() {
  constexpr unsigned k_month_day_year = date_only | 0x213000, k_short_year = date_only | 0x214000;
  gathered_date date;
  if (const smbios_structure bios = get_struct(k_bios, 0)) {
    const std::string text = bios.string_at(8);
    date.setDate(text.c_str(), text.size() == 8 ? k_short_year : k_month_day_year);
  }
  return date;
}

// --- PCI slots ------------------------------------------------------------------------------

smbios_structure Dmi::find_pci_slot(int slot_id) {
  if (slot_id == 0) return {};
  for (const smbios_structure& slot : structures(k_slot)) {
    if (is_pci_slot(slot) && static_cast<int>(slot_id_of(slot)) == slot_id) return slot;
  }
  return {};
}

std::string Dmi::get_pci_slot_name(int slot_id) {
  constexpr size_t k_longest = 63;
  const smbios_structure slot = find_pci_slot(slot_id);
  return slot ? slot.string_at(4).substr(0, k_longest) : std::to_string(slot_id);
}

int Dmi::get_num_pci_slots(uint16_t* ids, int size) {
  int count = 0;
  for (const smbios_structure& slot : structures(k_slot)) {
    if (!is_pci_slot(slot) || slot_id_of(slot) == 0) continue;
    if (count >= size) break;
    ids[count++] = slot.u16(9);
  }
  return count;
}

bool Dmi::is_pci_slot_in_use(int slot_id) {
  constexpr unsigned k_in_use = 4;
  return find_pci_slot(slot_id).u8(7) == k_in_use;
}

}  // namespace kestrel
