// See fake_pci.h.
#include "tests/doors/fake_pci.h"

#include <utility>

#include "probes/pci_linux.h"

namespace kestrel {

void played_function::set16(unsigned at, unsigned value) {
  set8(at, value & 0xFF);
  set8(at + 1, value >> 8);
}

void played_function::add_vpd(uint8_t at, std::vector<unsigned char> bytes) {
  set8(0x06, registers[0x06] | 0x10u);
  set8(0x34, at);
  set8(at, 3);
  vpd_at = at;
  vpd = std::move(bytes);
}

bool played_function::read(uint8_t offset, std::span<unsigned char> buffer) {
  if (reads_left-- <= 0 || offset + buffer.size() > registers.size()) return false;
  if (vpd_at != 0 && offset == vpd_at + 3 && ++polls >= polls_needed) registers[offset] |= 0x80;
  for (unsigned char& byte : buffer) byte = registers[offset++];
  return true;
}

bool played_function::write(uint8_t offset, std::span<const unsigned char> bytes) {
  if (vpd_at == 0 || offset != vpd_at + 2 || bytes.size() != 2 || (bytes[1] & 0x80) != 0) {
    harmed = true;
    return true;
  }
  unsigned address = static_cast<unsigned>(bytes[0] | bytes[1] << 8);
  addresses.push_back(address);
  polls = 0;
  set16(offset, address);
  for (unsigned i = 0; i < 4; ++i) {
    set8(vpd_at + 4u + i, address + i < vpd.size() ? vpd[address + i] : 0u);
  }
  return true;
}

bool played_function::read_word(uint8_t offset, uint16_t& value) {
  unsigned char bytes[2];
  if (!read(offset, bytes)) return false;
  value = static_cast<uint16_t>(bytes[0] | bytes[1] << 8);
  return true;
}

bool played_function::write_word(uint8_t offset, uint16_t value) {
  const unsigned char bytes[] = {static_cast<unsigned char>(value),
                                 static_cast<unsigned char>(value >> 8)};
  return write(offset, bytes);
}

void played_function::pause() { pci_pause(); }
int64_t played_function::milliseconds() { return pci_milliseconds(); }

played_pci& fake_pci() {
  static played_pci space;
  return space;
}

pci_session::pci_session() = default;
pci_session::~pci_session() = default;

bool pci_read_config(uint8_t bus, uint8_t device, uint8_t function, uint8_t offset,
                     std::span<unsigned char> buffer) {
  unsigned key = pci_key(bus, device, function);
  if (offset == 0 && buffer.size() == 64) fake_pci().header_reads.push_back(key);
  auto found = fake_pci().functions.find(key);
  return found != fake_pci().functions.end() && found->second.read(offset, buffer);
}

bool pci_write_config(uint8_t bus, uint8_t device, uint8_t function, uint8_t offset,
                      std::span<const unsigned char> bytes) {
  auto found = fake_pci().functions.find(pci_key(bus, device, function));
  return found != fake_pci().functions.end() && found->second.write(offset, bytes);
}

int PCI_get_last_bus() { return 15; }

std::vector<bool> pci_list_functions() {
  std::vector<bool> listed(16 << 8);
  for (const auto& [key, function] : fake_pci().functions) {
    if (key < listed.size()) listed[key] = true;
  }
  return fake_pci().unlisted ? std::vector<bool>(listed.size(), true) : listed;
}

bool PCI_get_interrupt_routing(std::vector<unsigned char>& table) {
  table = fake_pci().routing_table;
  return !table.empty();
}

void pci_pause() { ++fake_pci().milliseconds; }

int64_t pci_milliseconds() { return fake_pci().milliseconds; }

}  // namespace kestrel
