// Registers of configuration space in the widths that the interface promises and no program calls
// for; see pci.h, which has the others.
#pragma once

#include <cstdint>

namespace kestrel {

bool pci_read_config_dword(uint8_t bus, uint8_t device, uint8_t function, uint8_t offset,
                           uint32_t* value);
bool pci_write_config_byte(uint8_t bus, uint8_t device, uint8_t function, uint8_t offset,
                           uint8_t value);
bool pci_write_config_dword(uint8_t bus, uint8_t device, uint8_t function, uint8_t offset,
                            uint32_t value);
bool PCI_ReadDWordRegister(uint8_t bus, uint8_t device, uint8_t function, uint8_t offset,
                           uint32_t* value);
bool PCI_WriteByteRegister(uint8_t bus, uint8_t device, uint8_t function, uint8_t offset,
                           uint8_t value);
bool PCI_WriteDWordRegister(uint8_t bus, uint8_t device, uint8_t function, uint8_t offset,
                            uint32_t value);

}  // namespace kestrel
