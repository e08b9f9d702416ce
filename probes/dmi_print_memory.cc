// SMBIOS tables about memory: controllers and modules of older firmware, arrays, devices, their
// addresses and errors. See dmi_printer.h.
#include "lib/debug.h"
#include "lib/utilstr.h"
#include "probes/dmi_decode.h"
#include "probes/dmi_printer.h"

namespace kestrel {

namespace {

// --- types 5 and 6: controller and modules -----------------------------------------------------

constexpr smbios_cell k_controller[] = {
    {"Err Detect Method",      DT_STRING,  0, 0x04, 1, from_first, getMemCtrlErrDetect    },
    {"Err Correct Capability", DT_STRING,  0, 0x05, 1, from_first, getMemCtrlCorCapable   },
    {"Supported Interleave",   DT_STRING,  0, 0x06, 1, from_first, getMemCtrlInterleave   },
    {"Current Interleave",     DT_STRING,  0, 0x07, 1, from_first, getMemCtrlInterleave   },
    {"Max Module Sz",          DT_STRING,  0, 0x08, 1, from_first, getPowerOfTwoMemorySize},
    {"Supp Speeds",            DT_STRING,  0, 0x09, 2, from_first, getMemorySpeeds        },
    {"Supported Types",        DT_STRING,  0, 0x0B, 2, from_first, getMemoryType          },
    {"Voltage",                DT_STRING,  0, 0x0D, 1, from_first, getMemoryModuleVoltage },
    {"Num slots",              DT_INTEGER, 0, 0x0E, 1, from_first, as_number              },
};

// Two bank numbers of four bits; Fh is no bank.
std::string bank_connections(uint32_t banks) {
  std::string text;
  for (uint32_t bank : {banks >> 4, banks & 0x0F}) {
    if (bank == 0x0F) continue;
    if (!text.empty()) text += ", ";
    text += format_text("RAS %d", static_cast<int>(bank));
  }
  return text.empty() ? "None" : text;
}

constexpr uint32_t k_uncorrectable = 0x01, k_correctable = 0x02, k_see_event_log = 0x04;

std::string error_seen(uint32_t status, uint32_t kind) {
  if ((status & k_see_event_log) != 0) return "See Event Log";
  return (status & kind) != 0 ? "Yes" : "No";
}

std::string errors_corrected(uint32_t status) { return error_seen(status, k_correctable); }
std::string errors_uncorrected(uint32_t status) { return error_seen(status, k_uncorrectable); }

constexpr smbios_cell k_module[] = {
    {"Socket",           DT_ASCII,   0, 0x04, 1, from_first, as_string          },
    {"Bank Connections", DT_ASCII,   0, 0x05, 1, from_first, bank_connections   },
    {"Speed",            DT_INTEGER, 0, 0x06, 1, from_first, as_number          },
    {"Type",             DT_STRING,  0, 0x07, 2, from_first, getMemoryType      },
    {"Installed Size",   DT_STRING,  0, 0x09, 1, from_first, getMemoryModuleSize},
    {"Enabled Size",     DT_STRING,  0, 0x0A, 1, from_first, getMemoryModuleSize},
    {"Errs Corrected",   DT_STRING,  0, 0x0B, 1, from_first, errors_corrected   },
    {"Errs UnCor",       DT_STRING,  0, 0x0B, 1, from_first, errors_uncorrected },
};

// --- types 16 to 20: arrays, devices, errors, addresses ----------------------------------------

constexpr smbios_cell k_array[] = {
    {"Handle",           DT_ASCII,  0, 0x02, 2, from_first, smbios_own_handle },
    {"Location",         DT_STRING, 0, 0x04, 1, from_first, getArrayLocation  },
    {"Error Correction", DT_STRING, 0, 0x06, 1, from_first, getErrorCorrection},
    {"Max Capacity",     DT_STRING, 0, 0x07, 4, from_first, getArrayCapacity  },
    {"Error Handle",     DT_ASCII,  0, 0x0B, 2, from_first, smbios_hex4       },
};

void trace_array(const structure_reader& array) {
  printd("dmi: memory array %04x is for '%s'\n", array.handle(),
         getUse(array.value({0x05})).c_str());
}

std::string width_text(uint32_t width) {
  constexpr uint32_t k_unknown = 0xFFFF;
  return width == k_unknown ? "Unknown" : smbios_decimal(width);
}

std::string widths(const structure_reader& device) {
  return width_text(device.value({0x08, 2})) + "/" + width_text(device.value({0x0A, 2}));
}

constexpr smbios_cell k_device[] = {
    {"Handle",         DT_ASCII,  0, 0x02, 2, from_first, smbios_own_handle  },
    {"Dev Locator",    DT_ASCII,  0, 0x10, 1, from_first, as_string          },
    {"Bank Locator",   DT_ASCII,  0, 0x11, 1, from_first, as_string          },
    {"Width Tot/Data", DT_ASCII,  0, 0x08, 4, from_first, widths             },
    {"Form Factor",    DT_STRING, 0, 0x0E, 1, from_first, getFormFactor      },
    {"Type",           DT_STRING, 0, 0x12, 1, from_first, getMemoryDeviceType},
    {"Detail",         DT_ASCII,  0, 0x13, 2, from_first, getMemoryDetail    },
    {"Array Handle",   DT_ASCII,  0, 0x04, 2, from_first, smbios_hex4        },
    {"Err Handle",     DT_ASCII,  0, 0x06, 2, from_first, smbios_hex4        },
};

constexpr smbios_cell k_error[] = {
    {"Handle",        DT_ASCII, 0, 0x02, 2, from_first, smbios_own_handle        },
    {"Err Type",      DT_ASCII, 0, 0x04, 1, from_first, getMemoryErrorType       },
    {"Granularity",   DT_ASCII, 0, 0x05, 1, from_first, getMemoryErrorGranularity},
    {"Operation",     DT_ASCII, 0, 0x06, 1, from_first, getMemoryErrorOperation  },
    {"Vend Syndrome", DT_ASCII, 0, 0x07, 4, from_first, smbios_hex8              },
    {"Array Addr",    DT_ASCII, 0, 0x0B, 4, from_first, smbios_error_address     },
    {"Device Addr",   DT_ASCII, 0, 0x0F, 4, from_first, smbios_error_address     },
    {"Resolution",    DT_ASCII, 0, 0x13, 4, from_first, smbios_error_address     },
};

constexpr smbios_cell k_array_address[] = {
    {"Handle",          DT_ASCII, 0, 0x02, 2, from_first, smbios_own_handle},
    {"Start Addr",      DT_ASCII, 0, 0x04, 4, from_first, smbios_hex8      },
    {"End Addr",        DT_ASCII, 0, 0x08, 4, from_first, smbios_hex8      },
    {"Array Handle",    DT_ASCII, 0, 0x0C, 2, from_first, smbios_hex4      },
    {"Partition Width", DT_ASCII, 0, 0x0E, 1, from_first, smbios_hex2      },
};

constexpr smbios_cell k_device_address[] = {
    {"Start Addr",               DT_ASCII, 0, 0x04, 4, from_first, smbios_hex8    },
    {"End Addr",                 DT_ASCII, 0, 0x08, 4, from_first, smbios_hex8    },
    {"Device Handle",            DT_ASCII, 0, 0x0C, 2, from_first, smbios_hex4    },
    {"Array Mapped Addr Handle", DT_ASCII, 0, 0x0E, 2, from_first, smbios_hex4    },
    {"Partit Row Posn",          DT_ASCII, 0, 0x10, 1, from_first, smbios_position},
    {"I/Leave Position",         DT_ASCII, 0, 0x11, 1, from_first, smbios_position},
    {"I/Leave Data Depth",       DT_ASCII, 0, 0x12, 1, from_first, smbios_position},
};

}  // namespace

constinit const structure_printer printStructure05 = {5, "Memory Controller Information",
                                                      "MEMORY_CONTROLLER_INSTANCE", k_controller};
constinit const structure_printer printStructure06 = {6, "Memory Module Information",
                                                      "MEMORY_MODULE_INSTANCE", k_module};
constinit const structure_printer printStructure16 = {
    .type = 16,
    .title = "Physical Memory Array Information",
    .instance = "PHYSICAL_MEMORY_ARRAY_INSTANCE",
    .cells = k_array,
    .trace = trace_array,
};
constinit const structure_printer printStructure17 = {17, "Memory Device Information",
                                                      "MEMORY_DEVICE_INSTANCE", k_device};
constinit const structure_printer printStructure18 = {18, "Memory Error Information",
                                                      "MEMORY_ERROR_INSTANCE", k_error};
constinit const structure_printer printStructure19 = {19, "Memory Array Mapped Address Information",
                                                      "MEMORY_ARRAY_MAPPED_ADDRESS_INSTANCE",
                                                      k_array_address};
constinit const structure_printer printStructure20 = {
    20, "Memory Device Mapped Address Information", "MEMORY_DEVICE_MAPPED_ADDRESS_INSTANCE",
    k_device_address};

}  // namespace kestrel
