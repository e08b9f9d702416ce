// The input is an SMBIOS table that a good entry point names; it lies in the BIOS area, in front of
// that entry point, so that anchors in it are found first.
#include <cstdint>

#include "lib/bios.h"
#include "lib/dmi.h"
#include "lib/vpd.h"
#include "tests/doors/fake_pma.h"

using namespace kestrel;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size > 60000) return 0;
  constexpr unsigned long k_address = 0xF0001;
  played_memory() = {};
  played_memory().ranges[k_address] = byte_vector(data, data + size);
  played_memory().ranges[k_address + size] = smbios_entry_point(k_address, size);
  Dmi dmi;
  dmi.init();
  for (unsigned type = 0; type <= Dmi::k_indexed_types; ++type) {
    for (unsigned i = 0; i < dmi.get_num_structs(type); ++i) {
      const smbios_structure structure = dmi.get_struct(type, i);
      for (unsigned number = 0; number < 8; ++number) structure.string(number);
    }
  }
  dmi.get_make(), dmi.get_model(), dmi.get_serial_number(), dmi.get_uuid();
  dmi.get_enclosure_type(), dmi.get_bios_build(), dmi.get_bios_date();
  uint16_t slots[16];
  const int count = dmi.get_num_pci_slots(slots, 16);
  for (int i = 0; i < count; ++i) dmi.get_pci_slot_name(slots[i]), dmi.is_pci_slot_in_use(slots[i]);
  dmi.get_total_installed_memory(), dmi.get_num_memory_slots(), dmi.get_total_memory_capability();
  for (unsigned slot = 0; slot < 4; ++slot) {
    dmi.get_installed_memory_size(slot), dmi.get_installed_memory_type(slot);
  }
  find_bios_version({data, size});
  if (size > 0 && data[0] == 0xAA) Vpd().init();
  return 0;
}
