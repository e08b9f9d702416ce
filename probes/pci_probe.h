// The PCI side of the report: every function found in configuration space, and the slots that the
// firmware describes.
#pragma once

#include <cstdio>

#include "gatherer/probe.h"
#include "lib/table.h"
#include "probes/pci.h"
#include "probes/pcidb.h"

namespace kestrel {

/// Writes the table of all PCI functions. Returns the status text: "OK", or "FAILED" without an
/// output file.
const char* pci_device_summary(FILE* out, bool slot_numbers, bool vpd);
/// Writes the table of PCI slots. Returns the status text: "OK", "No PCI Slots" (nothing written),
/// or "FAILED" without an output file.
const char* list_pci_adapters(FILE* out);
/// True on makers whose firmware must not be asked for slots.
bool is_pci_blacklisted();

/// Declares the columns of the device table, those for VPD when they are wanted.
void declare_pci_summary(Table& table, bool vpd);
/// Starts the row of one function and writes its cells, but for those of its VPD; the caller ends
/// it.
void write_pci_function(Table& table, const pci_database& names, const pci_address& at,
                        const pci_header& header, const char* slot);
/// Writes the five VPD cells of one function, empty where it has none. `silent_cards` counts those
/// that did not answer in time; behind some of them less time is lost with the next.
void log_vpd(uint8_t bus, uint8_t device, uint8_t function, Table* table, int& silent_cards);

/// The task that writes the device table with VPD, and with slots where the firmware may be asked.
class pci_probe : public legacy_probe {
 public:
  using legacy_probe::legacy_probe;
  bool run(FILE* fp) override;
};

/// The task that writes the slot table; its console word is that table's status text.
class pci_adapter_probe : public legacy_probe {
 public:
  using legacy_probe::legacy_probe;
  /// False on makers whose firmware must not be asked.
  bool test() override;
  bool run(FILE* fp) override;
};

}  // namespace kestrel
