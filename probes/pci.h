// PCI configuration space as the probes see it: registers, the standard header, the scan over all
// functions, class names, slot numbers and the VPD of a function.
#pragma once

#include <cstdint>
#include <functional>

#include "lib/cursor.h"
#include "lib/pcivpd.h"

namespace kestrel {

/// Bytes of the standard header at the start of configuration space (PCI Local Bus standard 2.2,
/// chapter 6.1).
inline constexpr size_t k_pci_header_size = 64;

/// One function's address: 256 buses of 32 devices of 8 functions.
struct pci_address {
  uint8_t bus;
  uint8_t device;
  uint8_t function;
};

/// The fields of the standard header that the probes use.
struct pci_header {
  uint16_t vendor = 0;
  uint16_t device = 0;
  uint8_t revision = 0;
  uint8_t subclass = 0;
  uint8_t base_class = 0;
  uint8_t header_type = 0;
  uint16_t subsystem_vendor = 0;
  uint16_t subsystem_device = 0;
  bool is_multi_function() const { return (header_type & 0x80) != 0; }
};
/// Decodes the header; fields that `bytes` does not reach are 0.
pci_header parse_pci_header(byte_span bytes);

/// Registers: true only when the full width was moved, else `*value` is unchanged. Offsets are in
/// bytes, values in the machine's byte order.
bool pci_read_config_byte(uint8_t bus, uint8_t device, uint8_t function, uint8_t offset,
                          uint8_t* value);
bool pci_read_config_word(uint8_t bus, uint8_t device, uint8_t function, uint8_t offset,
                          uint16_t* value);
bool pci_write_config_word(uint8_t bus, uint8_t device, uint8_t function, uint8_t offset,
                           uint16_t value);
/// Reads the first k_pci_header_size bytes into `buffer`, which has room for them; true only when
/// all were read.
bool pci_get_config_header(uint8_t bus, uint8_t device, uint8_t function, unsigned char* buffer);

/// The same under the names that the probes use.
bool PCI_ReadByteRegister(uint8_t bus, uint8_t device, uint8_t function, uint8_t offset,
                          uint8_t* value);
bool PCI_ReadWordRegister(uint8_t bus, uint8_t device, uint8_t function, uint8_t offset,
                          uint16_t* value);
bool PCI_WriteWordRegister(uint8_t bus, uint8_t device, uint8_t function, uint8_t offset,
                           uint16_t value);
/// Reads and decodes the header of one function; false, and `header` unchanged, when there is no
/// such function.
bool GetInfoPCI(uint8_t bus, uint8_t device, uint8_t function, pci_header& header);

/// Visits every function that answers, in ascending order. A device is left at its first function
/// that does not answer or is not listed, and after function 0 unless that says that there are
/// more.
void for_each_pci_function(const std::function<void(const pci_address&, const pci_header&)>& visit);

/// Names of a base class and of (base class << 8 | subclass), as PCI Code and ID Assignment
/// (PCI-SIG) numbers them; "Unknown" for others. Literals.
const char* PCI_ClassName(unsigned char base_class);
const char* PCI_SubClassName(unsigned short class_and_subclass);

/// The slot of a device by the firmware's PCI IRQ routing table (entries of 16 bytes, of which one
/// cut short is ignored): 0 on the board, -1 when it is not in the table.
int get_slot_number(uint8_t bus, uint8_t device, byte_span routing_table);
/// The header of the device in a slot, of its function 0; always false without a routing table.
bool pci_get_pci_device_for_slot(int slot, pci_header& header);

/// The VPD of one function, see lib/pcivpd.h.
uint8_t pcivpd_find_capability(uint8_t bus, uint8_t device, uint8_t function);
bool pcivpd_analyse_vpd(uint8_t bus, uint8_t device, uint8_t function, uint8_t capability,
                        pci_vpd_xxx& result, const pcivpd_limits& limits = {});

}  // namespace kestrel
