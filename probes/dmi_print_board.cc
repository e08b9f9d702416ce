// SMBIOS tables about what sits on the board: caches, connectors, slots, on-board and pointing
// devices. See dmi_printer.h.
#include "probes/dmi_decode.h"
#include "probes/dmi_printer.h"

namespace kestrel {

namespace {

constexpr smbios_cell k_cache[] = {
    {"Socket",        DT_ASCII,  0, 0x04, 1, from_first, as_string             },
    {"Lvl",           DT_ASCII,  0, 0x05, 2, from_first, getCacheLevel         },
    {"Status",        DT_STRING, 0, 0x05, 2, from_first, getEnabled            },
    {"Type",          DT_STRING, 0, 0x05, 2, from_first, getCacheMode          },
    {"Size",          DT_STRING, 0, 0x09, 2, from_first, getCacheSize          },
    {"SRAM Type",     DT_STRING, 0, 0x0D, 2, from_first, getCacheSRAMType      },
    {"ECC Type",      DT_STRING, 0, 0x10, 1, from_2_1,   getErrorCorrectionType},
    {"System Cache",  DT_STRING, 0, 0x11, 1, from_2_1,   getSystemCacheType    },
    {"Associativity", DT_STRING, 0, 0x12, 1, from_2_1,   getAssociativity      },
};

constexpr smbios_cell k_connector[] = {
    {"Port Type",               DT_STRING, 0, 0x08, 1, from_first, getPortType     },
    {"Internal Designator",     DT_ASCII,  0, 0x04, 1, from_first, as_string       },
    {"Internal Connector Type", DT_STRING, 0, 0x05, 1, from_first, getConnectorType},
    {"External Designator",     DT_ASCII,  0, 0x06, 1, from_first, as_string       },
    {"External Connector Type", DT_STRING, 0, 0x07, 1, from_first, getConnectorType},
};

// The second byte came with version 2.1.
std::string slot_characteristics(const structure_reader& slot) {
  const uint32_t first = slot.value({0x0B}), second = slot.value({0x0C, 1, from_2_1});
  if (second == 0) return getSlotCharacteristics(first);
  if (first == 0) return getSlotCharacteristics2(second);
  return getSlotCharacteristics(first) + ", " + getSlotCharacteristics2(second);
}

constexpr smbios_cell k_slot[] = {
    {"Socket Designation", DT_ASCII,  0, 0x04, 1, from_first, as_string           },
    {"Type",               DT_STRING, 0, 0x05, 1, from_first, getSlotType         },
    {"Bus Width",          DT_STRING, 0, 0x06, 1, from_first, getSlotDataBusWidth },
    {"In Use",             DT_STRING, 0, 0x07, 1, from_first, getSlotUsage        },
    {"Length",             DT_STRING, 0, 0x08, 1, from_first, getSlotLength       },
    {"Characteristics",    DT_STRING, 0, 0x0B, 1, from_first, slot_characteristics},
};

// A structure holds any number of devices: type and flag, then the number of the description.
smbios_field device_type(unsigned item) { return {0x04 + item * 2}; }
smbios_field device_description(unsigned item) { return {0x05 + item * 2}; }

unsigned count_devices(const structure_reader& devices) {
  unsigned count = 0;
  while (devices.has(device_description(count))) ++count;
  return count;
}

std::string type_of_device(const structure_reader& devices) {
  return getDeviceType(devices.value(device_type(devices.item())));
}

std::string status_of_device(const structure_reader& devices) {
  return getEnabled(devices.value(device_type(devices.item())));
}

std::string description_of_device(const structure_reader& devices) {
  return devices.string(device_description(devices.item()));
}

constexpr smbios_cell k_device[] = {
    {"Device Type", DT_STRING, 0, 0x04, 1, from_first, type_of_device       },
    {"Status",      DT_STRING, 0, 0x04, 1, from_first, status_of_device     },
    {"Description", DT_ASCII,  0, 0x04, 1, from_first, description_of_device},
};

constexpr smbios_cell k_pointing_device[] = {
    {"Type",      DT_STRING, 0, 0x04, 1, from_first, getMouseType     },
    {"Interface", DT_STRING, 0, 0x05, 1, from_first, getMouseInterface},
};

}  // namespace

constinit const structure_printer printStructure07 = {7, "Cache Information", "CACHE_INSTANCE",
                                                      k_cache};
constinit const structure_printer printStructure08 = {8, "Port Connector Information",
                                                      "CONNECTOR_INSTANCE", k_connector};
constinit const structure_printer printStructure09 = {9, "Adapter Slot Information",
                                                      "SLOT_INSTANCE", k_slot};
constinit const structure_printer printStructure10 = {10, "On-board Device Information",
                                                      "DEVICE_INSTANCE", k_device, count_devices};
constinit const structure_printer printStructure21 = {21, "Built-In Pointing Device Information",
                                                      nullptr, k_pointing_device};

}  // namespace kestrel
