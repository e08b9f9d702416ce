// Registers and headers over the door of pci_linux.h, the walk over buses, devices and functions
// that listed functions shorten, and the slots of the BIOS routing table.
#include "probes/pci.h"

#include <array>
#include <cstring>
#include <vector>

#include "probes/pci_interface.h"
#include "probes/pci_linux.h"

namespace kestrel {
namespace {

constexpr int k_devices = 32;
constexpr int k_functions = 8;
constexpr int k_last_bus_by_default = 16;

// Entries of the routing table (PCI IRQ routing table, version 1.0): bus, device in bits 3 to 7,
// slot.
constexpr size_t k_routing_entry = 16;
constexpr size_t k_routing_bus = 0;
constexpr size_t k_routing_device = 1;
constexpr size_t k_routing_slot = 14;

template <class Value>
bool read_register(uint8_t bus, uint8_t device, uint8_t function, uint8_t offset, Value* value) {
  std::array<unsigned char, sizeof(Value)> bytes;
  if (!pci_read_config(bus, device, function, offset, bytes)) return false;
  std::memcpy(value, bytes.data(), bytes.size());
  return true;
}

template <class Value>
bool write_register(uint8_t bus, uint8_t device, uint8_t function, uint8_t offset, Value value) {
  std::array<unsigned char, sizeof(Value)> bytes;
  std::memcpy(bytes.data(), &value, bytes.size());
  return pci_write_config(bus, device, function, offset, bytes);
}

// One function's registers for the VPD reader.
class function_registers : public pcivpd_registers {
 public:
  explicit function_registers(const pci_address& at) : at_(at) {}
  bool read_byte(uint8_t offset, uint8_t& value) override {
    return PCI_ReadByteRegister(at_.bus, at_.device, at_.function, offset, &value);
  }
  bool read_word(uint8_t offset, uint16_t& value) override {
    return PCI_ReadWordRegister(at_.bus, at_.device, at_.function, offset, &value);
  }
  bool write_word(uint8_t offset, uint16_t value) override {
    return PCI_WriteWordRegister(at_.bus, at_.device, at_.function, offset, value);
  }
  void pause() override { pci_pause(); }
  int64_t milliseconds() override { return pci_milliseconds(); }

 private:
  pci_address at_;
};

}  // namespace

// Offsets: PCI Local Bus standard 2.2, chapter 6.1 and, for subsystem ids, 6.2.4.
pci_header parse_pci_header(byte_span bytes) {
  pci_header header;
  cursor in(bytes);
  header.vendor = in.get_u16();
  header.device = in.get_u16();
  in.seek(0x08);
  header.revision = in.get_u8();
  in.seek(0x0A);
  header.subclass = in.get_u8();
  header.base_class = in.get_u8();
  in.seek(0x0E);
  header.header_type = in.get_u8();
  in.seek(0x2C);
  header.subsystem_vendor = in.get_u16();
  header.subsystem_device = in.get_u16();
  return header;
}

bool pci_read_config_byte(uint8_t bus, uint8_t device, uint8_t function, uint8_t offset,
                          uint8_t* value) {
  return read_register(bus, device, function, offset, value);
}
bool pci_read_config_word(uint8_t bus, uint8_t device, uint8_t function, uint8_t offset,
                          uint16_t* value) {
  return read_register(bus, device, function, offset, value);
}
bool pci_read_config_dword(uint8_t bus, uint8_t device, uint8_t function, uint8_t offset,
                           uint32_t* value) {
  return read_register(bus, device, function, offset, value);
}
bool pci_write_config_byte(uint8_t bus, uint8_t device, uint8_t function, uint8_t offset,
                           uint8_t value) {
  return write_register(bus, device, function, offset, value);
}
bool pci_write_config_word(uint8_t bus, uint8_t device, uint8_t function, uint8_t offset,
                           uint16_t value) {
  return write_register(bus, device, function, offset, value);
}
bool pci_write_config_dword(uint8_t bus, uint8_t device, uint8_t function, uint8_t offset,
                            uint32_t value) {
  return write_register(bus, device, function, offset, value);
}

bool pci_get_config_header(uint8_t bus, uint8_t device, uint8_t function, unsigned char* buffer) {
  return pci_read_config(bus, device, function, 0, {buffer, k_pci_header_size});
}

bool PCI_ReadByteRegister(uint8_t bus, uint8_t device, uint8_t function, uint8_t offset,
                          uint8_t* value) {
  return pci_read_config_byte(bus, device, function, offset, value);
}
bool PCI_ReadWordRegister(uint8_t bus, uint8_t device, uint8_t function, uint8_t offset,
                          uint16_t* value) {
  return pci_read_config_word(bus, device, function, offset, value);
}
bool PCI_ReadDWordRegister(uint8_t bus, uint8_t device, uint8_t function, uint8_t offset,
                           uint32_t* value) {
  return pci_read_config_dword(bus, device, function, offset, value);
}
bool PCI_WriteByteRegister(uint8_t bus, uint8_t device, uint8_t function, uint8_t offset,
                           uint8_t value) {
  return pci_write_config_byte(bus, device, function, offset, value);
}
bool PCI_WriteWordRegister(uint8_t bus, uint8_t device, uint8_t function, uint8_t offset,
                           uint16_t value) {
  return pci_write_config_word(bus, device, function, offset, value);
}
bool PCI_WriteDWordRegister(uint8_t bus, uint8_t device, uint8_t function, uint8_t offset,
                            uint32_t value) {
  return pci_write_config_dword(bus, device, function, offset, value);
}

bool GetInfoPCI(uint8_t bus, uint8_t device, uint8_t function, pci_header& header) {
  std::array<unsigned char, k_pci_header_size> bytes;
  if (!pci_get_config_header(bus, device, function, bytes.data())) return false;
  header = parse_pci_header(bytes);
  return true;
}

void for_each_pci_function(
    const std::function<void(const pci_address&, const pci_header&)>& visit) {
  int last_bus = PCI_get_last_bus();
  if (last_bus < 0 || last_bus > 0xFF) last_bus = k_last_bus_by_default;
  const std::vector<bool> listed = pci_list_functions();
  for (int bus = 0; bus <= last_bus; ++bus) {
    for (int device = 0; device < k_devices; ++device) {
      for (int function = 0; function < k_functions; ++function) {
        pci_address at = {static_cast<uint8_t>(bus), static_cast<uint8_t>(device),
                          static_cast<uint8_t>(function)};
        const auto key = static_cast<size_t>(bus << 8 | device << 3 | function);
        if (key < listed.size() && !listed[key]) break;
        pci_header header;
        if (!GetInfoPCI(at.bus, at.device, at.function, header)) break;
        visit(at, header);
        if (function == 0 && !header.is_multi_function()) break;
      }
    }
  }
}

int get_slot_number(uint8_t bus, uint8_t device, byte_span routing_table) {
  for (; routing_table.size() >= k_routing_entry;
       routing_table = routing_table.subspan(k_routing_entry)) {
    if (routing_table[k_routing_bus] == bus && routing_table[k_routing_device] >> 3 == device) {
      return routing_table[k_routing_slot];
    }
  }
  return -1;
}

bool pci_get_pci_device_for_slot(int slot, pci_header& header) {
  static const std::vector<unsigned char> table = [] {
    std::vector<unsigned char> entries;
    if (!PCI_get_interrupt_routing(entries)) entries.clear();
    return entries;
  }();
  for (byte_span rest = table; rest.size() >= k_routing_entry;
       rest = rest.subspan(k_routing_entry)) {
    if (rest[k_routing_slot] != slot) continue;
    uint8_t device = rest[k_routing_device] >> 3;
    return GetInfoPCI(rest[k_routing_bus], device, 0, header);
  }
  return false;
}

uint8_t pcivpd_find_capability(uint8_t bus, uint8_t device, uint8_t function) {
  function_registers registers({bus, device, function});
  return pcivpd_find_capability(registers);
}

bool pcivpd_analyse_vpd(uint8_t bus, uint8_t device, uint8_t function, uint8_t capability,
                        pci_vpd_xxx& result, const pcivpd_limits& limits) {
  function_registers registers({bus, device, function});
  return pcivpd_analyse_vpd(registers, capability, result, limits);
}

}  // namespace kestrel
