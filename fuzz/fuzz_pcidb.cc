// The database of PCI names, whole, and its look-ups.
#include <cstdlib>
#include <cstring>

#include "lib/file.h"
#include "probes/pcidb.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace kestrel;
  if (size == 0) return 0;
  file_ptr in(fmemopen(const_cast<uint8_t*>(data), size, "rb"));
  pci_database names;
  names.load(in.get(), "input");
  wchar_t name[300];
  for (unsigned vendor : {0u, 0x8086u}) {
    for (unsigned device = 0; device < 3; ++device) {
      const char* text = names.get_subsys_device_name(vendor, device, 1, device, 2);
      if (std::strlen(text) >= static_cast<size_t>(names.longest_name())) std::abort();
      names.get_subsys_device_name(name, 300, vendor, device, 2, 1, device);
      names.get_device_name(name, 2, vendor, device, 1);
    }
    names.get_subsys_vendor_name(name, 1, vendor, 1, 2);
    names.get_vendor_name(name, 300, vendor);
  }
  return 0;
}
