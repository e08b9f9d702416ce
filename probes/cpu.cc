// See cpu.h. The layout of CPUID leaves 0 and 1 is public: Intel 64 and IA-32 Architectures
// Software Developer's Manual, volume 2, CPUID.
#include "probes/cpu.h"

#include <cstring>
#include <span>

#include "lib/cpuid_linux.h"
#include "lib/section.h"
#include "lib/table_rows.h"

namespace kestrel {
namespace {

constexpr int k_any = cpu_signature::k_any;

struct cpu_row {
  cpu_signature wanted;
  const char* family_name;
  const char* model_name;
};

/// No row asks for extended fields or a stepping.
constexpr cpu_signature of(int type, int family, int model) {
  return {.type = type, .family = family, .model = model};
}

// The types of the 386 rows and the family of the Pentium Pro are the table's own on purpose.
constexpr cpu_row k_intel_rows[] = {
    {of(0, 3,  0),  "386",       "DX"                        },
    {of(2, 3,  0),  "386",       "SX"                        },
    {of(4, 3,  0),  "386",       "SL"                        },
    {of(4, 3,  1),  "386",       "SL"                        },
    {of(0, 3,  4),  "386",       "RapidCAD coprocessor"      },
    {of(0, 4,  0),  "486",       "DX"                        },
    {of(0, 4,  1),  "486",       "DX"                        },
    {of(0, 4,  2),  "486",       "SX"                        },
    {of(0, 4,  3),  "486",       "DX2"                       },
    {of(0, 4,  4),  "486",       "SL"                        },
    {of(0, 4,  5),  "486",       "SX2"                       },
    {of(0, 4,  7),  "486",       "Write-Back Enhanced DX2"   },
    {of(0, 4,  8),  "486",       "DX4"                       },
    {of(1, 4,  8),  "486",       "DX4 OverDrive"             },
    {of(0, 5,  1),  "Pentium",   "Pentium"                   },
    {of(0, 5,  2),  "Pentium",   "Pentium"                   },
    {of(1, 5,  1),  "Pentium",   "Pentium OverDrive"         },
    {of(1, 5,  2),  "Pentium",   "Pentium OverDrive"         },
    {of(1, 5,  3),  "Pentium",   "Pentium OverDrive for 486" },
    {of(0, 5,  4),  "Pentium",   "Pentium with MMX"          },
    {of(1, 5,  4),  "Pentium",   "Pentium OverDrive with MMX"},
    {of(0, 6,  1),  "Pentium 2", "Pentium Pro"               },
    {of(0, 6,  3),  "Pentium 2", "Pentium 2"                 },
    {of(0, 6,  5),  "Pentium 2", "Pentium 2"                 },
    {of(1, 6,  3),  "Pentium 2", "Pentium 2 OverDrive"       },
    {of(0, 6,  6),  "Pentium 3", "Celeron"                   },
    {of(0, 6,  7),  "Pentium 3", "Pentium 3"                 },
    {of(0, 6,  8),  "Pentium 3", "Pentium 3"                 },
    {of(0, 6,  9),  "Pentium 3", "Pentium M"                 },
    {of(0, 6,  10), "Pentium 3", "Xeon"                      },
    {of(0, 6,  11), "Pentium 3", "Pentium 3"                 },
    {of(0, 6,  13), "Pentium 3", "Pentium M"                 },
    {of(0, 15, 0),  "Pentium 4", "Xeon"                      },
    {of(0, 15, 1),  "Pentium 4", "Pentium 4"                 },
    {of(0, 15, 2),  "Pentium 4", "Pentium 4"                 },
    {of(0, 15, 3),  "Pentium 4", "Pentium 4"                 },
    {of(0, 15, 4),  "Pentium 4", "Pentium 4"                 },
};

constexpr cpu_row k_amd_rows[] = {
    {of(k_any, 5, 0),  "K5",     "K5"    },
    {of(k_any, 5, 1),  "K5",     "K5"    },
    {of(k_any, 5, 2),  "K5",     "K5"    },
    {of(k_any, 5, 3),  "K5",     "K5"    },
    {of(k_any, 5, 6),  "K6",     "K6"    },
    {of(k_any, 5, 7),  "K6",     "K6"    },
    {of(k_any, 5, 8),  "K6",     "K6-2"  },
    {of(k_any, 5, 9),  "K6",     "K6-3"  },
    {of(k_any, 6, 1),  "Athlon", "Athlon"},
    {of(k_any, 6, 2),  "Athlon", "Athlon"},
    {of(k_any, 6, 3),  "Duron",  "Duron" },
    {of(k_any, 6, 4),  "Athlon", "Athlon"},
    {of(k_any, 6, 6),  "Athlon", "Athlon"},
    {of(k_any, 6, 7),  "Duron",  "Duron" },
    {of(k_any, 6, 8),  "Athlon", "Athlon"},
    {of(k_any, 6, 10), "Athlon", "Athlon"},
};

struct cpu_vendor {
  const char* id;
  const char* name;
  std::span<const cpu_row> rows;
};
constexpr cpu_vendor k_vendors[] = {
    {"GenuineIntel", "Intel",   k_intel_rows},
    {"AuthenticAMD", "AMD",     k_amd_rows  },
    {"CyrixInstead", "Cyrix",   {}          },
    {"CentaurHauls", "Centaur", {}          },
};

struct cpu_flag {
  const char* row;
  const char* name;
  unsigned bit;  ///< of EDX, leaf 1
};
constexpr cpu_flag k_flags[] = {
    {"mmx",  "MMX",             23},
    {"sse",  "SSE",             25},
    {"sse2", "SSE2",            26},
    {"ht",   "Hyper-Threading", 28},
};

struct cpu_family {
  const char* vendor = "";
  const char* family = "";
  const char* model = "";
  cpu_signature signature;
  int family_id() const { return signature.family; }
  int model_id() const { return signature.model; }
  int stepping() const { return signature.stepping; }
};
constexpr cell_of<cpu_family> k_family_cells[] = {
    {"Vendor",    show<&cpu_family::vendor>.wide(16)},
    {"Family",    show<&cpu_family::family>.wide(32)},
    {"Family ID", show<&cpu_family::family_id>      },
    {"Model",     show<&cpu_family::model>.wide(32) },
    {"Model ID",  show<&cpu_family::model_id>       },
    {"Stepping",  show<&cpu_family::stepping>       },
};

struct flag_state {
  const char* name;
  bool is_enabled;
};
constexpr cell_of<flag_state> k_flag_cells[] = {
    {"Flag Name", show<&flag_state::name>      },
    {"Enabled",   show<&flag_state::is_enabled>},
};

bool field_matches(int wanted, int given) {
  return wanted == k_any || given == k_any || wanted == given;
}

bool matches(const cpu_signature& wanted, const cpu_signature& cpu) {
  for (auto field :
       {&cpu_signature::type, &cpu_signature::family, &cpu_signature::extended_family,
        &cpu_signature::model, &cpu_signature::extended_model, &cpu_signature::stepping}) {
    if (!field_matches(wanted.*field, cpu.*field)) return false;
  }
  return true;
}

void write_family(FILE* fp, const char* vendor, const cpu_signature& cpu) {
  cpu_family found;
  found.signature = cpu;
  cpu_probe::get_display_strings(vendor, cpu, &found.vendor, &found.family, &found.model);
  record_table table(fp, "CPU Family Information", k_family_cells);
  table.add(vendor, found);
}

void write_flags(FILE* fp, uint32_t edx) {
  record_table table(fp, "CPU Flags", k_flag_cells);
  for (const cpu_flag& flag : k_flags) {
    table.add(flag.row, {flag.name, (edx >> flag.bit & 1) != 0});
  }
}

}  // namespace

cpu_signature parse_cpu_signature(uint32_t eax) {
  auto bits = [eax](unsigned first, uint32_t mask) {
    return static_cast<int>(eax >> first & mask);
  };
  return {.type = bits(12, 0xF),
          .family = bits(8, 0xF),
          .extended_family = bits(20, 0xF),
          .model = bits(4, 0xF),
          .extended_model = bits(16, 0xF),
          .stepping = bits(0, 0xF)};
}

std::array<char, 13> cpu_vendor_text(uint32_t ebx, uint32_t ecx, uint32_t edx) {
  std::array<char, 13> text = {};
  size_t at = 0;
  for (uint32_t part : {ebx, edx, ecx}) {
    for (unsigned i = 0; i < 4; ++i) text[at++] = static_cast<char>(part >> 8 * i);
  }
  return text;
}

bool cpu_probe::test() {
  uint32_t eax = 0, ebx = 0, ecx = 0, edx = 0;
  return cpuid(0, eax, ebx, ecx, edx);
}

bool cpu_probe::run(FILE* fp) {
  uint32_t eax = 0, ebx = 0, ecx = 0, edx = 0;
  cpuid(0, eax, ebx, ecx, edx);
  std::array<char, 13> vendor = cpu_vendor_text(ebx, ecx, edx);
  cpuid(1, eax, ebx, ecx, edx);
  start_section(fp, "CPU Information");
  write_family(fp, vendor.data(), parse_cpu_signature(eax));
  write_flags(fp, edx);
  end_section(fp);
  return true;
}

void cpu_probe::get_display_strings(const char* vendor, const cpu_signature& cpu,
                                    const char** vendor_name, const char** family_name,
                                    const char** model_name) {
  for (const cpu_vendor& known : k_vendors) {
    if (std::strcmp(known.id, vendor) != 0) continue;
    *vendor_name = known.name;
    *family_name = "Unknown";
    *model_name = "Unknown";
    for (const cpu_row& row : known.rows) {
      if (!matches(row.wanted, cpu)) continue;
      *family_name = row.family_name;
      *model_name = row.model_name;
      break;
    }
    return;
  }
}

}  // namespace kestrel
