// The enumerations and bit fields of the System Management BIOS standard (DSP0134),
// version 2.3, by structure type. Pure data: dmi_decode.cc turns them into decoders.
#pragma once

#include "lib/decode.h"

namespace kestrel::smbios_names {

// --- type 0: BIOS ------------------------------------------------------------------------------

// In units of 64K, less one.
inline constexpr code_name k_rom_sizes[] = {
    {0,   "64K" },
    {1,   "128K"},
    {3,   "256K"},
    {7,   "512K"},
    {15,  "1M"  },
    {31,  "2M"  },
    {63,  "4M"  },
    {127, "8M"  },
};

inline constexpr mask_name k_bios_characteristics[] = {
    {1u << 2,  "Unknown"                           },
    {1u << 3,  "BIOS Characteristics Not Supported"},
    {1u << 4,  "ISA"                               },
    {1u << 5,  "MCA"                               },
    {1u << 6,  "EISA"                              },
    {1u << 7,  "PCI"                               },
    {1u << 8,  "PC Card (PCMCIA)"                  },
    {1u << 9,  "Plug and Play"                     },
    {1u << 10, "APM"                               },
    {1u << 11, "Upgradeable (Flash)"               },
    {1u << 12, "Shadowing"                         },
    {1u << 13, "VL-VESA"                           },
    {1u << 14, "ESCD"                              },
    {1u << 15, "Boot from CD"                      },
    {1u << 16, "Selectable Boot"                   },
    {1u << 17, "ROM is Socketed"                   },
    {1u << 18, "Boot from PC Card"                 },
    {1u << 19, "Enhanced Disk Drive"               },
    {1u << 20, "NEC 9800 1.2M Floppy"              },
    {1u << 21, "Toshiba 1.2M Floppy"               },
    {1u << 22, "5.25\" 360K Floppy"                },
    {1u << 23, "5.25\" 1.2M Floppy"                },
    {1u << 24, "3.5\" 720K Floppy"                 },
    {1u << 25, "3.5\" 2.88M Floppy"                },
    {1u << 26, "Print Screen Service"              },
    {1u << 27, "8042 Keyboard"                     },
    {1u << 28, "Serial Services"                   },
    {1u << 29, "Printer Services"                  },
    {1u << 30, "CGA/Mono Video"                    },
    {1u << 31, "NEC PC-98"                         },
};

inline constexpr mask_name k_bios_extension1[] = {
    {0x01, "ACPI"                },
    {0x02, "USB Legacy"          },
    {0x04, "AGP"                 },
    {0x08, "I2O Boot"            },
    {0x10, "LS-120 Boot"         },
    {0x20, "ATAPI ZIP Drive Boot"},
    {0x40, "1394 Boot"           },
    {0x80, "Smart Battery"       },
};

inline constexpr mask_name k_bios_extension2[] = {
    {0x01, "BIOS Boot Spec"       },
    {0x02, "Function Key Net Boot"},
};

// --- type 1: system ----------------------------------------------------------------------------

inline constexpr code_name k_wake_up_types[] = {
    {0, "Reserved"         },
    {1, "Other"            },
    {2, "Unknown"          },
    {3, "APM Timer"        },
    {4, "Modem Ring"       },
    {5, "LAN Remote"       },
    {6, "Power Switch"     },
    {7, "PCI PME#"         },
    {8, "AC Power Restored"},
};

// --- type 3: enclosure -------------------------------------------------------------------------

inline constexpr code_name k_chassis_states[] = {
    {1, "Other"          },
    {2, "Unknown"        },
    {3, "Safe"           },
    {4, "Warning"        },
    {5, "Critical"       },
    {6, "Non-recoverable"},
};

inline constexpr code_name k_security_statuses[] = {
    {1, "Other"                        },
    {2, "Unknown"                      },
    {3, "None"                         },
    {4, "External Interface Locked Out"},
    {5, "External Interface Enabled"   },
};

// --- type 4: processor -------------------------------------------------------------------------

inline constexpr code_name k_processor_types[] = {
    {1, "Other"            },
    {2, "Unknown"          },
    {3, "Central Processor"},
    {4, "Math Processor"   },
    {5, "DSP Processor"    },
    {6, "Video Processor"  },
};

inline constexpr code_name k_processor_families[] = {
    {0x01, "Other"                                                },
    {0x02, "Unknown"                                              },
    {0x03, "8086"                                                 },
    {0x04, "80286"                                                },
    {0x05, "Intel386 processor"                                   },
    {0x06, "Intel486 processor"                                   },
    {0x07, "8087"                                                 },
    {0x08, "80287"                                                },
    {0x09, "80387"                                                },
    {0x0A, "80487"                                                },
    {0x0B, "Pentium processor Family"                             },
    {0x0C, "Pentium Pro processor"                                },
    {0x0D, "Pentium II processor"                                 },
    {0x0E, "Pentium processor with MMX technology"                },
    {0x0F, "Celeron processor"                                    },
    {0x10, "Pentium II Xeon processor"                            },
    {0x11, "Reserved Pentium"                                     }, // Kept as written on purpose.
    {0x12, "M1 Family"                                            },
    {0x13, "M2 Family"                                            },
    {0x18, "AMD Duron Processor"                                  },
    {0x19, "K5 Family"                                            },
    {0x1A, "K6 Family"                                            },
    {0x1B, "K6-2"                                                 },
    {0x1C, "K6-3"                                                 },
    {0x1D, "AMD Athlon Processor Family"                          },
    {0x1E, "AMD2900 Family"                                       },
    {0x1F, "K6-2+"                                                },
    {0x20, "Power PC Family"                                      },
    {0x21, "Power PC 601"                                         },
    {0x22, "Power PC 603"                                         },
    {0x23, "Power PC 603+"                                        },
    {0x24, "Power PC 604"                                         },
    {0x25, "Power PC 620"                                         },
    {0x26, "Power PC x704"                                        },
    {0x27, "Power PC 750"                                         },
    {0x30, "Alpha Family"                                         },
    {0x31, "Alpha 21064"                                          },
    {0x32, "Alpha 21066"                                          },
    {0x33, "Alpha 21164"                                          },
    {0x34, "Alpha 21164PC"                                        },
    {0x35, "Alpha 21164a"                                         },
    {0x36, "Alpha 21264"                                          },
    {0x37, "Alpha 21364"                                          },
    {0x40, "MIPS Family"                                          },
    {0x41, "MIPS R4000"                                           },
    {0x42, "MIPS R4200"                                           },
    {0x43, "MIPS R4400"                                           },
    {0x44, "MIPS R4600"                                           },
    {0x45, "MIPS R10000"                                          },
    {0x50, "SPARC Family"                                         },
    {0x51, "SuperSPARC"                                           },
    {0x52, "microSPARC II"                                        },
    {0x53, "microSPARC IIep"                                      },
    {0x54, "UltraSPARC"                                           },
    {0x55, "UltraSPARC II"                                        },
    {0x56, "UltraSPARC IIi"                                       },
    {0x57, "UltraSPARC III"                                       },
    {0x58, "UltraSPARC IIIi"                                      },
    {0x60, "68040 Family"                                         },
    {0x61, "68xxx Family"                                         },
    {0x62, "68000"                                                },
    {0x63, "68010"                                                },
    {0x64, "68020"                                                },
    {0x65, "68030"                                                },
    {0x70, "Hobbit Family"                                        },
    {0x78, "Crusoe TM5000 Family"                                 },
    {0x79, "Crusoe TM3000 Family"                                 },
    {0x80, "Weitek"                                               },
    {0x82, "Itanium Processor"                                    },
    {0x90, "PA-RISC Family"                                       },
    {0x91, "PA-RISC 8500"                                         },
    {0x92, "PA-RISC 8000"                                         },
    {0x93, "PA-RISC 7300LC"                                       },
    {0x94, "PA-RISC 7200"                                         },
    {0x95, "PA-RISC 7100LC"                                       },
    {0x96, "PA-RISC 7100"                                         },
    {0xA0, "V30 Family"                                           },
    {0xB0, "Pentium III Xeon processor"                           },
    {0xB1, "Pentium III Processor with Intel SpeedStep Technology"},
    {0xB2, "Pentium 4 Processor"                                  },
    {0xB3, "Intel Xeon"                                           },
    {0xB4, "AS400 Family"                                         },
    {0xB5, "Intel Xeon processor MP"                              },
    {0xB6, "AMD Athlon XP Processor Family"                       },
    {0xB7, "AMD Athlon MP Processor Family"                       },
    {0xB8, "Intel Itanium 2 processor"                            },
    {0xC8, "IBM390 Family"                                        },
    {0xC9, "G4"                                                   },
    {0xCA, "G5"                                                   },
    {0xFA, "i860"                                                 },
    {0xFB, "i960"                                                 },
    {0xFF, "Reserved"                                             },
};

inline constexpr code_name k_processor_statuses[] = {
    {0, "Status Unknown"                         },
    {1, "CPU Enabled"                            },
    {2, "CPU Disabled by User through BIOS Setup"},
    {3, "CPU Disabled By BIOS (POST Error)"      },
    {4, "CPU is Idle, waiting to be enabled"     },
    {7, "Status Other"                           },
};

inline constexpr code_name k_processor_upgrades[] = {
    {0x01, "Other"                 },
    {0x02, "Unknown"               },
    {0x03, "Daughter Board"        },
    {0x04, "ZIF Socket"            },
    {0x05, "Replaceable Piggy Back"},
    {0x06, "None"                  },
    {0x07, "LIF Socket"            },
    {0x08, "Slot 1"                },
    {0x09, "Slot 2"                },
    {0x0A, "370-pin socket"        },
    {0x0B, "Slot A"                },
    {0x0C, "Slot M"                },
    {0x0D, "Socket 423"            },
    {0x0E, "Socket A (Socket 462)" },
    {0x0F, "Socket 478"            },
};

// --- types 5 and 6: memory controller and modules ----------------------------------------------

inline constexpr code_name k_error_detecting_methods[] = {
    {1, "Other"       },
    {2, "Unknown"     },
    {3, "None"        },
    {4, "8-bit Parity"},
    {5, "32-bit ECC"  },
    {6, "64-bit ECC"  },
    {7, "128-bit ECC" },
    {8, "CRC"         },
};

inline constexpr mask_name k_error_correcting_capabilities[] = {
    {0x01, "Other"                      },
    {0x02, "Unknown"                    },
    {0x04, "None"                       },
    {0x08, "Single Bit Error Correcting"},
    {0x10, "Double Bit Error Correcting"},
    {0x20, "Error Scrubbing"            },
};

inline constexpr code_name k_interleaves[] = {
    {1, "Other"                 },
    {2, "Unknown"               },
    {3, "One Way Interleave"    },
    {4, "Two Way Interleave"    },
    {5, "Four Way Interleave"   },
    {6, "Eight Way Interleave"  },
    {7, "Sixteen Way Interleave"},
};

inline constexpr mask_name k_memory_speeds[] = {
    {0x01, "Other"  },
    {0x02, "Unknown"},
    {0x04, "70ns"   },
    {0x08, "60ns"   },
    {0x10, "50ns"   },
};

inline constexpr mask_name k_module_voltages[] = {
    {0x01, "5V"  },
    {0x02, "3.3V"},
    {0x04, "2.9V"}
};

inline constexpr code_name k_module_sizes[] = {
    {0x7D, "Not Determinable"},
    {0x7E, "Not Enabled"     },
    {0x7F, "Not Installed"   },
};

// --- type 7: cache -----------------------------------------------------------------------------

inline constexpr code_name k_cache_modes[] = {
    {0, "Write Through"             },
    {1, "Write Back"                },
    {2, "Varies with Memory Address"},
    {3, "Unknown"                   },
};

inline constexpr mask_name k_sram_types[] = {
    {0x01, "Other"         },
    {0x02, "Unknown"       },
    {0x04, "Non-Burst"     },
    {0x08, "Burst"         },
    {0x10, "Pipeline Burst"},
    {0x20, "Synchronous"   },
    {0x40, "Asynchronous"  },
};

inline constexpr code_name k_error_correction_types[] = {
    {1, "Other"         },
    {2, "Unknown"       },
    {3, "None"          },
    {4, "Parity"        },
    {5, "Single-bit ECC"},
    {6, "Multi-bit ECC" },
};

inline constexpr code_name k_system_cache_types[] = {
    {1, "Other"      },
    {2, "Unknown"    },
    {3, "Instruction"},
    {4, "Data"       },
    {5, "Unified"    },
};

inline constexpr code_name k_associativities[] = {
    {1, "Other"                 },
    {2, "Unknown"               },
    {3, "Direct Mapped"         },
    {4, "2-way Set-Associative" },
    {5, "4-way Set-Associative" },
    {6, "Fully Associative"     },
    {7, "8-way Set-Associative" },
    {8, "16-way Set-Associative"},
};

// --- type 8: ports -----------------------------------------------------------------------------

inline constexpr code_name k_connector_types[] = {
    {0x00, "None"                           },
    {0x01, "Centronics"                     },
    {0x02, "Mini Centronics"                },
    {0x03, "Proprietary"                    },
    {0x04, "DB-25 pin male"                 },
    {0x05, "DB-25 pin female"               },
    {0x06, "DB-15 pin male"                 },
    {0x07, "DB-15 pin female"               },
    {0x08, "DB-9 pin male"                  },
    {0x09, "DB-9 pin female"                },
    {0x0A, "RJ-11"                          },
    {0x0B, "RJ-45"                          },
    {0x0C, "50 Pin MiniSCSI"                },
    {0x0D, "Mini-DIN"                       },
    {0x0E, "Micro-DIN"                      },
    {0x0F, "PS/2"                           },
    {0x10, "Infrared"                       },
    {0x11, "HP-HIL"                         },
    {0x12, "Access Bus (USB)"               },
    {0x13, "SSA SCSI"                       },
    {0x14, "Circular DIN-8 male"            },
    {0x15, "Circular DIN-8 female"          },
    {0x16, "On Board IDE"                   },
    {0x17, "On Board Floppy"                },
    {0x18, "9 Pin Dual Inline (pin 10 cut)" },
    {0x19, "25 Pin Dual Inline (pin 26 cut)"},
    {0x1A, "50 Pin Dual Inline"             },
    {0x1B, "68 Pin Dual Inline"             },
    {0x1C, "Sound I/P from CD-ROM"          },
    {0x1D, "Mini-Centronics Type-14"        },
    {0x1E, "Mini-Centronics Type-26"        },
    {0x1F, "Mini-jack (headphones)"         },
    {0x20, "BNC"                            },
    {0x21, "1394"                           },
    {0xA0, "PC-98"                          },
    {0xA1, "PC-98Hireso"                    },
    {0xA2, "PC-H98"                         },
    {0xA3, "PC-98Note"                      },
    {0xA4, "PC-98Full"                      },
    {0xFF, "Other"                          },
};

inline constexpr code_name k_port_types[] = {
    {0x00, "None"                          },
    {0x01, "Parallel Port XT/AT Compatible"},
    {0x02, "Parallel Port PS/2"            },
    {0x03, "Parallel Port ECP"             },
    {0x04, "Parallel Port EPP"             },
    {0x05, "Parallel Port ECP/EPP"         },
    {0x06, "Serial Port XT/AT Compatible"  },
    {0x07, "Serial Port 16450 Compatible"  },
    {0x08, "Serial Port 16550 Compatible"  },
    {0x09, "Serial Port 16550A Compatible" },
    {0x0A, "SCSI Port"                     },
    {0x0B, "MIDI Port"                     },
    {0x0C, "Joy Stick Port"                },
    {0x0D, "Keyboard Port"                 },
    {0x0E, "Mouse Port"                    },
    {0x0F, "SSA SCSI"                      },
    {0x10, "USB"                           },
    {0x11, "FireWire (IEEE P1394)"         },
    {0x12, "PCMCIA Type I"                 },
    {0x13, "PCMCIA Type II"                },
    {0x14, "PCMCIA Type III"               },
    {0x15, "Cardbus"                       },
    {0x16, "Access Bus Port"               },
    {0x17, "SCSI II"                       },
    {0x18, "SCSI Wide"                     },
    {0x19, "PC-98"                         },
    {0x1A, "PC-98-Hireso"                  },
    {0x1B, "PC-H98"                        },
    {0x1C, "Video Port"                    },
    {0x1D, "Audio Port"                    },
    {0x1E, "Modem Port"                    },
    {0x1F, "Network Port"                  },
    {0xA0, "8251 Compatible"               },
    {0xA1, "8251 FIFO Compatible"          },
    {0xFF, "Other"                         },
};

// --- type 9: slots -----------------------------------------------------------------------------

inline constexpr code_name k_slot_types[] = {
    {0x01, "Other"                       },
    {0x02, "Unknown"                     },
    {0x03, "ISA"                         },
    {0x04, "MCA"                         },
    {0x05, "EISA"                        },
    {0x06, "PCI"                         },
    {0x07, "PC Card (PCMCIA)"            },
    {0x08, "VL-VESA"                     },
    {0x09, "Proprietary"                 },
    {0x0A, "Processor Card Slot"         },
    {0x0B, "Proprietary Memory Card Slot"},
    {0x0C, "I/O Riser Card Slot"         },
    {0x0D, "NuBus"                       },
    {0x0E, "PCI - 66MHz Capable"         },
    {0x0F, "AGP"                         },
    {0x10, "AGP 2X"                      },
    {0x11, "AGP 4X"                      },
    {0x12, "PCI-X"                       },
    {0x13, "AGP 8X"                      },
    {0xA0, "PC-98/C20"                   },
    {0xA1, "PC-98/C24"                   },
    {0xA2, "PC-98/E"                     },
    {0xA3, "PC-98/Local Bus"             },
    {0xA4, "PC-98/Card"                  },
};

inline constexpr code_name k_slot_widths[] = {
    {1, "Other"  },
    {2, "Unknown"},
    {3, "8 bit"  },
    {4, "16 bit" },
    {5, "32 bit" },
    {6, "64 bit" },
    {7, "128 bit"},
};

inline constexpr code_name k_slot_usages[] = {
    {1, "Other"    },
    {2, "Unknown"  },
    {3, "Available"},
    {4, "In use"   },
};

inline constexpr code_name k_slot_lengths[] = {
    {1, "Other"       },
    {2, "Unknown"     },
    {3, "Short Length"},
    {4, "Long Length" },
};

inline constexpr mask_name k_slot_characteristics[] = {
    {0x01, "Characteristics Unknown"},
    {0x02, "Provides 5.0 Volts"     },
    {0x04, "Provides 3.3 Volts"     },
    {0x08, "Shared Slot Opening"    },
    {0x10, "PC Card-16"             },
    {0x20, "CardBus"                },
    {0x40, "Zoom Video"             },
    {0x80, "Modem Ring Resume"      },
};

inline constexpr mask_name k_slot_characteristics2[] = {
    {0x01, "PME# Signal"     },
    {0x02, "Hot-plug Devices"},
    {0x04, "SMBus Signal"    },
};

// --- type 10: devices on the board -------------------------------------------------------------

inline constexpr code_name k_device_types[] = {
    {1, "Other"          },
    {2, "Unknown"        },
    {3, "Video"          },
    {4, "SCSI Controller"},
    {5, "Ethernet"       },
    {6, "Token Ring"     },
    {7, "Sound"          },
};

// --- type 13: languages ------------------------------------------------------------------------

// By the abbreviated form of the language code: language, then country.
struct language_name {
  const char* code;
  const char* name;
};

inline constexpr language_name k_languages[] = {
    {"csCZ", "Czech, Czech Republic"  },
    {"daDK", "Danish, Denmark"        },
    {"deAT", "German, Austria"        },
    {"deCH", "German, Switzerland"    },
    {"deDE", "German, Germany"        },
    {"elGR", "Greek, Greece"          },
    {"enAU", "English, Australia"     },
    {"enCA", "English, Canada"        },
    {"enGB", "English, United Kingdom"},
    {"enIE", "English, Ireland"       },
    {"enNZ", "English, New Zealand"   },
    {"enUS", "English, United States" },
    {"esBR", "Spanish, Brazil"        },
    {"esES", "Spanish, Spain"         },
    {"esLA", "Spanish, Latin"         },
    {"esMX", "Spanish, Mexico"        },
    {"fiFI", "Finnish, Finland"       },
    {"frBE", "French, Belgium"        },
    {"frCA", "French, Canada"         },
    {"frCH", "French, Switzerland"    },
    {"frFR", "French, France"         },
    {"heIL", "Hebrew, Israel"         },
    {"huHU", "Hungarian, Hungary"     },
    {"isIS", "Icelandic, Iceland"     },
    {"itCH", "Italian, Switzerland"   },
    {"itIT", "Italian, Italy"         },
    {"jaJP", "Japanses, Japan"        }, // Misspelled in the report on purpose.
    {"koKR", "Korean, Korea"          },
    {"nlBE", "Dutch, Belgium"         },
    {"nlNL", "Dutch, Netherlands"     },
    {"noNO", "Norwegian, Norway"      },
    {"plPL", "Polish, Poland"         },
    {"ptBR", "Portuguese, Brazil"     },
    {"ptPT", "Portuguese, Portugal"   },
    {"ruRU", "Russian, Russia"        },
    {"svFI", "Swedish, Finland"       },
    {"svSE", "Swedish, Sweden"        },
    {"thTH", "Thai, Thailand"         },
    {"trTR", "Turkish, Turkey"        },
    {"zhCN", "Chinese, China"         },
    {"zhHK", "Chinese, Hong Kong"     },
    {"zhTW", "Chinese, Taiwan"        },
};

// --- types 16 to 18: memory arrays, devices and errors -----------------------------------------

inline constexpr code_name k_array_locations[] = {
    {0x01, "Other"                      },
    {0x02, "Unknown"                    },
    {0x03, "System board or motherboard"},
    {0x04, "ISA add-on card"            },
    {0x05, "EISA add-on card"           },
    {0x06, "PCI add-on card"            },
    {0x07, "MCA add-on card"            },
    {0x08, "PCMCIA add-on card"         },
    {0x09, "Proprietary add-on card"    },
    {0x0A, "NuBus"                      },
    {0xA0, "PC-98/C20 add-on card"      },
    {0xA1, "PC-98/C24 add-on card"      },
    {0xA2, "PC-98/E add-on card"        },
    {0xA3, "PC-98/Local bus add-on card"},
};

inline constexpr code_name k_array_uses[] = {
    {1, "Other"           },
    {2, "Unknown"         },
    {3, "System memory"   },
    {4, "Video memory"    },
    {5, "Flash memory"    },
    {6, "Non-volatile RAM"},
    {7, "Cache memory"    },
};

inline constexpr code_name k_array_error_corrections[] = {
    {1, "Other"         },
    {2, "Unknown"       },
    {3, "None"          },
    {4, "Parity"        },
    {5, "Single-bit ECC"},
    {6, "Multi-bit ECC" },
    {7, "CRC"           },
};

inline constexpr mask_name k_memory_details[] = {
    {0x0001, "Reserved"     },
    {0x0002, "Other"        },
    {0x0004, "Unknown"      },
    {0x0008, "Fast-paged"   },
    {0x0010, "Static column"},
    {0x0020, "Pseudo-static"},
    {0x0040, "RAMBUS"       },
    {0x0080, "Synchronous"  },
    {0x0100, "CMOS"         },
    {0x0200, "EDO"          },
    {0x0400, "Window DRAM"  },
    {0x0800, "Cache DRAM"   },
    {0x1000, "Non-volatile" },
};

inline constexpr code_name k_memory_error_types[] = {
    {0x01, "Other"                     },
    {0x02, "Unknown"                   },
    {0x03, "OK"                        },
    {0x04, "Bad read"                  },
    {0x05, "Parity error"              },
    {0x06, "Single-bit error"          },
    {0x07, "Double-bit error"          },
    {0x08, "Multi-bit error"           },
    {0x09, "Nibble error"              },
    {0x0A, "Checksum error"            },
    {0x0B, "CRC error"                 },
    {0x0C, "Corrected single-bit error"},
    {0x0D, "Corrected error"           },
    {0x0E, "Uncorrectable error"       },
};

inline constexpr code_name k_memory_error_granularities[] = {
    {1, "Other"                 },
    {2, "Unknown"               },
    {3, "Device level"          },
    {4, "Memory partition level"},
};

inline constexpr code_name k_memory_error_operations[] = {
    {1, "Other"        },
    {2, "Unknown"      },
    {3, "Read"         },
    {4, "Write"        },
    {5, "Partial write"},
};

// --- type 21: pointing device ------------------------------------------------------------------

inline constexpr code_name k_mouse_types[] = {
    {1, "Other"         },
    {2, "Unknown"       },
    {3, "Mouse"         },
    {4, "Track Ball"    },
    {5, "Track Point"   },
    {6, "Glide Point"   },
    {7, "Touch Pad"     },
    {8, "Touch Screen"  },
    {9, "Optical Sensor"},
};

inline constexpr code_name k_mouse_interfaces[] = {
    {0x01, "Other"                  },
    {0x02, "Unknown"                },
    {0x03, "Serial"                 },
    {0x04, "PS/2"                   },
    {0x05, "Infrared"               },
    {0x06, "HP-HIL"                 },
    {0x07, "Bus mouse"              },
    {0x08, "ADB (Apple Desktop Bus)"},
    {0xA0, "Bus mouse DB-9"         },
    {0xA1, "Bus mouse micro-DIN"    },
    {0xA2, "USB"                    },
};

// --- types 22 to 24: battery, reset, security --------------------------------------------------

inline constexpr code_name k_battery_chemistries[] = {
    {1, "Other"               },
    {2, "Unknown"             },
    {3, "Lead Acid"           },
    {4, "Nickel Cadmium"      },
    {5, "Nickel metal hydride"},
    {6, "Lithium-ion"         },
    {7, "Zinc air"            },
    {8, "Lithium Polymer"     },
};

inline constexpr code_name k_boot_options[] = {
    {0, "Reserved"        },
    {1, "Operating System"},
    {2, "System Utilities"},
    {3, "Do Not Reboot"   },
};

inline constexpr code_name k_password_statuses[] = {
    {0, "Disabled"       },
    {1, "Enabled"        },
    {2, "Not Implemented"},
    {3, "Unknown"        },
};

// --- types 26 to 29: probes and cooling --------------------------------------------------------

inline constexpr code_name k_probe_statuses[] = {
    {1, "Other"          },
    {2, "Unknown"        },
    {3, "OK"             },
    {4, "Non-critical"   },
    {5, "Critical"       },
    {6, "Non-recoverable"},
};

inline constexpr code_name k_electrical_probe_locations[] = {
    {0x01, "Other"                   },
    {0x02, "Unknown"                 },
    {0x03, "Processor"               },
    {0x04, "Disk"                    },
    {0x05, "Peripheral Bay"          },
    {0x06, "System Management Module"},
    {0x07, "Motherboard"             },
    {0x08, "Memory Module"           },
    {0x09, "Processor Module"        },
    {0x0A, "Power Unit"              },
    {0x0B, "Add-in Card"             },
};

inline constexpr code_name k_temperature_probe_locations[] = {
    {0x01, "Other"                   },
    {0x02, "Unknown"                 },
    {0x03, "Processor"               },
    {0x04, "Disk"                    },
    {0x05, "Peripheral Bay"          },
    {0x06, "System Management Module"},
    {0x07, "Motherboard"             },
    {0x08, "Memory Module"           },
    {0x09, "Processor Module"        },
    {0x0A, "Power Unit"              },
    {0x0B, "Add-in Card"             },
    {0x0C, "Front Panel Board"       },
    {0x0D, "Back Panel Board"        },
    {0x0E, "Power System Board"      },
    {0x0F, "Drive Back Plane"        },
};

inline constexpr code_name k_cooling_types[] = {
    {0x01, "Other"                   },
    {0x02, "Unknown"                 },
    {0x03, "Fan"                     },
    {0x04, "Centrifugal Blower"      },
    {0x05, "Chip Fan"                },
    {0x06, "Cabinet Fan"             },
    {0x07, "Power Supply Fan"        },
    {0x08, "Heat Pipe"               },
    {0x09, "Integrated Refrigeration"},
    {0x10, "Active Cooling"          },
    {0x11, "Passive Cooling"         },
};

// --- type 32: boot status ----------------------------------------------------------------------

inline constexpr code_name k_boot_statuses[] = {
    {0, "No errors detected"                            },
    {1, "No bootable media"                             },
    {2, "The \"normal\" operating system failed to load"},
    {3, "Firmware-detected hardware failure"            },
    {4, "Operating system-detected hardware failure"    },
    {5, "User-requested boot"                           },
    {6, "System security violation"                     },
    {7, "Previously-requested image"                    },
    {8, "A system watchdog timer expired"               },
};

}  // namespace kestrel::smbios_names
