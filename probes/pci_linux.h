// The door to PCI configuration space: one file a function below /proc/bus/pci/. Every access opens
// that file, moves exactly the bytes asked for at their offset, unbuffered, and closes it: a
// buffered stream would read on and touch registers that nobody asked for.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace kestrel {

inline constexpr size_t k_pci_access_size = 64;  ///< bytes that one access moves at most

/// While one lives, a worker makes the accesses: a function that hangs fails its access and is not
/// asked again, in no session. The worker goes with the last session.
class pci_session {
 public:
  pci_session();
  pci_session(const pci_session&) = delete;
  pci_session& operator=(const pci_session&) = delete;
  ~pci_session();
};

/// Fills `buffer` from the registers at `offset`; true only when all of them were read.
bool pci_read_config(uint8_t bus, uint8_t device, uint8_t function, uint8_t offset,
                     std::span<unsigned char> buffer);
/// Writes the bytes to the registers at `offset`; true only when all of them were written.
bool pci_write_config(uint8_t bus, uint8_t device, uint8_t function, uint8_t offset,
                      std::span<const unsigned char> bytes);

/// The highest bus number that a scan visits; below 0 when there is no PCI bus.
int PCI_get_last_bus();
/// Fills in the firmware's PCI IRQ routing table (16 bytes an entry). False where the platform
/// offers none.
bool PCI_get_interrupt_routing(std::vector<unsigned char>& table);

/// A flag a function, by bus << 8 | device << 3 | function: clear where the folders of the buses up
/// to the last one do not list it, so that it need not be opened.
std::vector<bool> pci_list_functions();

/// Waits a millisecond between two polls of a device.
void pci_pause();
/// Milliseconds of a clock that never goes back.
int64_t pci_milliseconds();

}  // namespace kestrel
