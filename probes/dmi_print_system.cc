// SMBIOS tables about the system as a whole: firmware, system, boards, enclosure, processors, and
// the firmware's own texts, languages and groups. See dmi_printer.h.
#include "lib/debug.h"
#include "lib/decode.h"
#include "lib/utilstr.h"
#include "probes/dmi_decode.h"
#include "probes/dmi_names.h"
#include "probes/dmi_printer.h"

namespace kestrel {

namespace {

// --- type 0: BIOS ------------------------------------------------------------------------------

constexpr smbios_cell k_bios[] = {
    {"Vendor",       DT_ASCII, 0,  0x04, 1, from_first, as_string  },
    {"Version",      DT_ASCII, 25, 0x05, 1, from_first, as_string  },
    {"Start Addr",   DT_ASCII, 0,  0x06, 2, from_first, smbios_hex4},
    {"Release Date", DT_ASCII, 0,  0x08, 1, from_first, as_string  },
    {"ROM Size",     DT_ASCII, 0,  0x09, 1, from_first, getRomSize },
};

struct feature_field {
  smbios_field place;
  std::span<const mask_name> features;
};

constexpr feature_field k_feature_fields[] = {
    {{0x0A, 4},           smbios_names::k_bios_characteristics},
    {{0x12, 1, from_2_1}, smbios_names::k_bios_extension1     },
    {{0x13, 1, from_2_2}, smbios_names::k_bios_extension2     },
};

struct bios_feature {
  const char* name;
  const char* supported;  // "" when the structure does not tell
};

constexpr cell_of<bios_feature> k_features[] = {
    {"Feature Name", show<&bios_feature::name>.wide(21)},
    {"Supported",    show<&bios_feature::supported>    },
};

void print_features(FILE* out, const structure_reader& bios) {
  record_table table(out, "Supported Features", "FEATURE", k_features);
  for (const feature_field& group : k_feature_fields) {
    const uint32_t bits = bios.value(group.place);
    for (const mask_name& feature : group.features) {
      const char* supported = (bits & feature.mask) != 0 ? "Yes" : "No";
      table.add(std::to_string(table.rows() + 1),
                {feature.name, bios.has(group.place) ? supported : ""});
    }
  }
}

// --- types 1 to 3: system, board, enclosure ----------------------------------------------------

std::string uuid(const structure_reader& system) {
  constexpr unsigned k_offset = 0x08, k_size = 16;
  std::string text;
  for (unsigned i = 0; i < k_size; ++i) {
    text += format_text("%02x", system.value({k_offset + i, 1, from_2_1}));
  }
  return text;
}

constexpr smbios_cell k_system[] = {
    {"Manufacturer",  DT_ASCII,  0,  0x04, 1,  from_first, as_string    },
    {"Product Name",  DT_ASCII,  20, 0x05, 1,  from_first, as_string    },
    {"Version",       DT_ASCII,  13, 0x06, 1,  from_first, as_string    },
    {"Serial Number", DT_ASCII,  0,  0x07, 1,  from_first, as_string    },
    {"UUID",          DT_ASCII,  32, 0x08, 16, from_2_1,   uuid         },
    {"Wake-up Type",  DT_STRING, 0,  0x18, 1,  from_2_1,   getWakeUpType},
};

constexpr smbios_cell k_baseboard[] = {
    {"Manufacturer",  DT_ASCII, 0,  0x04, 1, from_first, as_string},
    {"Product",       DT_ASCII, 20, 0x05, 1, from_first, as_string},
    {"Version",       DT_ASCII, 13, 0x06, 1, from_first, as_string},
    {"Serial Number", DT_ASCII, 0,  0x07, 1, from_first, as_string},
};

constexpr smbios_cell k_enclosure[] = {
    {"Manufacturer",     DT_ASCII,  0,  0x04, 1, from_first, as_string      },
    {"Type",             DT_STRING, 20, 0x05, 1, from_first, getChassisName },
    {"Version",          DT_ASCII,  13, 0x06, 1, from_first, as_string      },
    {"Serial Number",    DT_ASCII,  32, 0x07, 1, from_first, as_string      },
    {"Asset Tag Number", DT_ASCII,  0,  0x08, 1, from_first, as_string      },
    {"Bootup State",     DT_STRING, 0,  0x09, 1, from_2_1,   getChassisState},
};

void trace_enclosure(const structure_reader& enclosure) {
  const smbios_field security = {0x0C, 1, from_2_1};
  if (!enclosure.has(security)) return;
  printd("dmi: enclosure %04x security status '%s'\n", enclosure.handle(),
         getSecurityStatus(enclosure.value(security)).c_str());
}

// --- type 4: processor -------------------------------------------------------------------------

// As the processor's identification instruction gives it: features (EDX), then signature (EAX).
std::string processor_id(const structure_reader& processor) {
  return format_text("%08X%08X", processor.value({0x0C, 4}), processor.value({0x08, 4}));
}

constexpr smbios_cell k_processor[] = {
    {"Socket",        DT_ASCII,   0, 0x04, 1, from_first, as_string         },
    {"Manufacturer",  DT_ASCII,   0, 0x07, 1, from_first, as_string         },
    {"Processor ID",  DT_ASCII,   0, 0x08, 8, from_first, processor_id      },
    {"Version",       DT_ASCII,   0, 0x10, 1, from_first, as_string         },
    {"Current Speed", DT_INTEGER, 0, 0x16, 2, from_first, as_number         },
    {"Status",        DT_STRING,  0, 0x18, 1, from_first, getProcessorStatus},
    {"Serial Number", DT_STRING,  0, 0x20, 1, from_2_2,   as_string         },
    {"Part Number",   DT_STRING,  0, 0x22, 1, from_2_2,   as_string         },
};

void trace_processor(const structure_reader& processor) {
  printd("dmi: processor %04x type '%s' family '%s' upgrade '%s'\n", processor.handle(),
         getProcessorType(processor.value({0x05})).c_str(),
         getProcessorFamily(processor.value({0x06})).c_str(),
         getProcessorUpgrade(processor.value({0x19})).c_str());
}

// --- types 11 to 14: texts, languages, groups --------------------------------------------------

// A count that lies ends where the string set does; no string of a set is empty.
unsigned count_strings(const structure_reader& structure) {
  const unsigned claimed = structure.value({0x04});
  unsigned count = 0;
  while (count < claimed && !structure.numbered_string(count + 1).empty()) ++count;
  return count;
}

std::string item_string(const structure_reader& structure) {
  return structure.numbered_string(structure.item() + 1);
}

constexpr smbios_cell k_texts[] = {
    {"Text", DT_ASCII, 0, 0x04, 1, from_first, item_string},
};

std::string language_status(const structure_reader& languages) {
  return format_text("Installable Language %d", static_cast<int>(languages.item() + 1));
}

std::string language(const structure_reader& languages) {
  return getLanguage(item_string(languages));
}

constexpr smbios_cell k_languages[] = {
    {"Status",   DT_ASCII,  0, 0x04, 1, from_first, language_status},
    {"Language", DT_STRING, 0, 0x04, 1, from_first, language       },
};

void trace_languages(const structure_reader& languages) {
  printd("dmi: current language '%s'\n", languages.string({0x15}).c_str());
}

// Items of three bytes, type and handle, behind the group's name.
smbios_field group_item_handle(unsigned item) { return {0x05 + item * 3 + 1, 2}; }

unsigned count_group_items(const structure_reader& group) {
  unsigned count = 0;
  while (group.has(group_item_handle(count))) ++count;
  return count;
}

std::string group_item(const structure_reader& group) {
  return smbios_hex4(group.value(group_item_handle(group.item())));
}

constexpr smbios_cell k_group[] = {
    {"Group Name",  DT_STRING, 0, 0x04, 1, from_first, as_string },
    {"Item Handle", DT_ASCII,  0, 0x04, 1, from_first, group_item},
};

}  // namespace

constinit const structure_printer printStructure00 = {
    .type = 0,
    .title = "BIOS Information",
    .instance = nullptr,
    .cells = k_bios,
    .print_more = print_features,
};
constinit const structure_printer printStructure01 = {1, "System Information", "SYSTEM_INSTANCE",
                                                      k_system};
constinit const structure_printer printStructure02 = {2, "Baseboard Information",
                                                      "MOTHERBOARD_INSTANCE", k_baseboard};
constinit const structure_printer printStructure03 = {
    .type = 3,
    .title = "System Enclosure Information",
    .instance = "ENCLOSURE_INSTANCE",
    .cells = k_enclosure,
    .trace = trace_enclosure,
};
constinit const structure_printer printStructure04 = {
    .type = 4,
    .title = "Processor Information",
    .instance = "PROCESSOR_INSTANCE",
    .cells = k_processor,
    .trace = trace_processor,
};
constinit const structure_printer printStructure11 = {11, "OEM Strings", "STRING_INSTANCE", k_texts,
                                                      count_strings};
constinit const structure_printer printStructure12 = {12, "System Configuration Options",
                                                      "STRING_INSTANCE", k_texts, count_strings};
constinit const structure_printer printStructure13 = {
    .type = 13,
    .title = "BIOS Language Information",
    .instance = "BIOS_LANGUAGE_INSTANCE",
    .cells = k_languages,
    .count_items = count_strings,
    .trace = trace_languages,
};
constinit const structure_printer printStructure14 = {14, "Group Associations", "GROUP_INSTANCE",
                                                      k_group, count_group_items};

}  // namespace kestrel
