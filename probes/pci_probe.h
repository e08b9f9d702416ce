// The PCI side of the report: every function found in configuration space, and the slots that the
// firmware describes.
#pragma once

#include <cstdio>
#include <span>
#include <string>

#include "gatherer/probe.h"
#include "lib/table_rows.h"
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

/// One function as its row shows it: with its names from the database, its VPD is for the caller.
struct pci_function {
  pci_function(const pci_database& names, const pci_address& address, const pci_header& fields,
               std::string slot_name);
  /// Ids and address.
  std::string row_name() const;

  pci_address at;
  pci_header header;
  std::string slot;
  std::wstring vendor_name, device_name;
  pci_vpd_xxx vpd;
};
/// The columns of the device table, those for VPD when they are wanted.
std::span<const cell_of<pci_function>> pci_summary_cells(bool vpd);

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
