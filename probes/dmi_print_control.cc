// SMBIOS tables about power, control and health: battery, reset, security, timed power on, probes,
// cooling, remote access and boot status. See dmi_printer.h.
#include "probes/dmi_decode.h"
#include "probes/dmi_printer.h"

namespace kestrel {

namespace {

// A smart battery gives its chemistry as text; the code then says "Unknown".
std::string battery_chemistry(const structure_reader& battery) {
  const std::string text = battery.string({0x14, 1, from_2_2});
  return text.empty() ? getBatteryChemistry(battery.value({0x09})) : text;
}

constexpr smbios_cell k_battery[] = {
    {"Location",      DT_ASCII, 0, 0x04, 1, from_first, as_string        },
    {"Mfg Date",      DT_ASCII, 0, 0x06, 1, from_first, as_string        },
    {"Serial Number", DT_ASCII, 0, 0x07, 1, from_first, as_string        },
    {"Dev Name",      DT_ASCII, 0, 0x08, 1, from_first, as_string        },
    {"Ver Number",    DT_ASCII, 0, 0x0E, 1, from_first, as_string        },
    {"SBDS SN",       DT_ASCII, 0, 0x10, 2, from_2_2,   smbios_hex4      },
    {"SBDS Mfg Date", DT_ASCII, 0, 0x12, 2, from_2_2,   getBatteryDate   },
    {"Chemistry",     DT_ASCII, 0, 0x09, 1, from_first, battery_chemistry},
    {"Cap Mult",      DT_ASCII, 0, 0x15, 1, from_2_2,   smbios_decimal   },
    {"OEM Data",      DT_ASCII, 0, 0x16, 4, from_2_2,   smbios_hex8      },
};

constexpr smbios_cell k_reset[] = {
    {"Capabilities", DT_ASCII, 0, 0x04, 1, from_first, getResetCapabilities},
};

constexpr smbios_cell k_security[] = {
    {"Power-on Password Status",      DT_ASCII, 0, 0x04, 1, from_first, getPowerOnPasswordStatus },
    {"Keyboard Password Status",      DT_ASCII, 0, 0x04, 1, from_first, getKeyboardPasswordStatus},
    {"Administrator Password Status", DT_ASCII, 0, 0x04, 1, from_first,
     getAdministratorPasswordStatus                                                              },
    {"Front Panel Reset Status",      DT_ASCII, 0, 0x04, 1, from_first, getFrontPanelResetStatus },
};

// The bytes are BCD and shown as plain integers on purpose.
constexpr smbios_cell k_power_on[] = {
    {"Month",  DT_INTEGER, 0, 0x04, 1, from_first, as_number},
    {"Day",    DT_INTEGER, 0, 0x05, 1, from_first, as_number},
    {"Hour",   DT_INTEGER, 0, 0x06, 1, from_first, as_number},
    {"Minute", DT_INTEGER, 0, 0x07, 1, from_first, as_number},
    {"Second", DT_INTEGER, 0, 0x08, 1, from_first, as_number},
};

constexpr smbios_cell k_voltage_probe[] = {
    {"Description",   DT_ASCII, 0, 0x04, 1, from_first, as_string                },
    {"Locn & Status", DT_ASCII, 0, 0x05, 1, from_first, getElectricalProbePlace  },
    {"Max Value",     DT_ASCII, 0, 0x06, 2, from_first, smbios_millivolts        },
    {"Min Value",     DT_ASCII, 0, 0x08, 2, from_first, smbios_millivolts        },
    {"Resolution",    DT_ASCII, 0, 0x0A, 2, from_first, smbios_millivolt_tenths  },
    {"Tolerance",     DT_ASCII, 0, 0x0C, 2, from_first, smbios_millivolts        },
    {"Accuracy",      DT_ASCII, 0, 0x0E, 2, from_first, smbios_percent_hundredths},
    {"OEM Data",      DT_ASCII, 0, 0x10, 4, from_first, smbios_hex8              },
};

constexpr smbios_cell k_cooling[] = {
    {"Temp Probe Handle",    DT_ASCII, 0, 0x04, 2, from_first, smbios_hex4     },
    {"Device Type & Status", DT_ASCII, 0, 0x06, 1, from_first, getCoolingDevice},
    {"Cooling Unit Group",   DT_ASCII, 0, 0x07, 1, from_first, smbios_decimal  },
    {"OEM Data",             DT_ASCII, 0, 0x08, 4, from_first, smbios_hex8     },
};

constexpr smbios_cell k_temperature_probe[] = {
    {"Description",   DT_ASCII, 0, 0x04, 1, from_first, as_string                },
    {"Locn & Status", DT_ASCII, 0, 0x05, 1, from_first, getTemperatureProbePlace },
    {"Max Value",     DT_ASCII, 0, 0x06, 2, from_first, smbios_degree_tenths     },
    {"Min Value",     DT_ASCII, 0, 0x08, 2, from_first, smbios_degree_tenths     },
    {"Resolution",    DT_ASCII, 0, 0x0A, 2, from_first, smbios_degree_thousandths},
    {"Tolerance",     DT_ASCII, 0, 0x0C, 2, from_first, smbios_degree_tenths     },
    {"Accuracy",      DT_ASCII, 0, 0x0E, 2, from_first, smbios_percent_hundredths},
    {"OEM Data",      DT_ASCII, 0, 0x10, 4, from_first, smbios_hex8              },
};

constexpr smbios_cell k_current_probe[] = {
    {"Description",   DT_ASCII, 0, 0x04, 1, from_first, as_string                },
    {"Locn & Status", DT_ASCII, 0, 0x05, 1, from_first, getElectricalProbePlace  },
    {"Max Value",     DT_ASCII, 0, 0x06, 2, from_first, smbios_milliamperes      },
    {"Min Value",     DT_ASCII, 0, 0x08, 2, from_first, smbios_milliamperes      },
    {"Resolution",    DT_ASCII, 0, 0x0A, 2, from_first, smbios_milliampere_tenths},
    {"Tolerance",     DT_ASCII, 0, 0x0C, 2, from_first, smbios_milliamperes      },
    {"Accuracy",      DT_ASCII, 0, 0x0E, 2, from_first, smbios_percent_hundredths},
    {"OEM Data",      DT_ASCII, 0, 0x10, 4, from_first, smbios_hex8              },
};

constexpr smbios_cell k_remote_access[] = {
    {"Manufacturer Name", DT_ASCII, 0, 0x04, 1, from_first, as_string},
};

constexpr smbios_cell k_boot_status[] = {
    {"Boot Status", DT_ASCII, 0, 0x0A, 1, from_first, getBootStatus},
};

}  // namespace

constinit const structure_printer printStructure22 = {22, "Portable Battery Information",
                                                      "BATTERY_INSTANCE", k_battery};
constinit const structure_printer printStructure23 = {23, "System Reset Information",
                                                      "RESET_INFO_INSTANCE", k_reset};
constinit const structure_printer printStructure24 = {24, "Hardware Security Information",
                                                      "SECURITY_INFO_INSTANCE", k_security};
constinit const structure_printer printStructure25 = {25, "Next Scheduled Power On Information",
                                                      "POWER_CONTROL_INSTANCE", k_power_on};
constinit const structure_printer printStructure26 = {26, "Voltage Probes",
                                                      "VOLTAGE_PROBE_INSTANCE", k_voltage_probe};
constinit const structure_printer printStructure27 = {27, "Cooling Devices", "FAN_INSTANCE",
                                                      k_cooling};
constinit const structure_printer printStructure28 = {
    28, "Temperature Probes", "TEMPERATURE_PROBE_INSTANCE", k_temperature_probe};
constinit const structure_printer printStructure29 = {29, "Electrical Current Probes",
                                                      "CURRENT_PROBE_INSTANCE", k_current_probe};
constinit const structure_printer printStructure30 = {30, "Out-of-Band Remote Access",
                                                      "REMOTE_ACCESS_INSTANCE", k_remote_access};
constinit const structure_printer printStructure32 = {32, "Boot Status", "BOOT_STATUS_INSTANCE",
                                                      k_boot_status};

}  // namespace kestrel
