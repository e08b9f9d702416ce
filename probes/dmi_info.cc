// Goes through the structure types in the order of the report and has each printed; the debug log
// gets the bytes of every structure first.
#include "probes/dmi_info.h"

#include "lib/debug.h"
#include "lib/section.h"
#include "lib/utilstr.h"
#include "probes/dmi_printer.h"

namespace kestrel {

namespace {

constexpr const structure_printer* k_printers[] = {
    &printStructure00, &printStructure01, &printStructure02, &printStructure03, &printStructure04,
    &printStructure05, &printStructure06, &printStructure07, &printStructure08, &printStructure09,
    &printStructure10, &printStructure11, &printStructure12, &printStructure13, &printStructure14,
    &printStructure16, &printStructure17, &printStructure18, &printStructure19, &printStructure20,
    &printStructure21, &printStructure22, &printStructure23, &printStructure24, &printStructure25,
    &printStructure26, &printStructure27, &printStructure28, &printStructure29, &printStructure30,
    &printStructure32,
};

void dump_structures(Dmi& dmi, unsigned type) {
  if (!is_logging()) return;
  const unsigned count = dmi.get_num_structs(type);
  for (unsigned i = 0; i < count; ++i) {
    const byte_span bytes = dmi.get_struct(type, i).bytes();
    const std::string label = format_text("structure %u of %u type %02u", i + 1, count, type);
    const unsigned length = Dmi::getLengthOfStructure(bytes);
    print_hexdump(label.c_str(), bytes.data(), static_cast<int>(length), nullptr);
  }
}

void print_type(FILE* out, Dmi& dmi, unsigned type, smbios_version version) {
  for (const structure_printer* printer : k_printers) {
    if (printer->type == type) printer->print(out, dmi, version);
  }
}

}  // namespace

std::span<const structure_printer* const> structure_printers() { return k_printers; }

const char* dmi_info(FILE* out) { return dmi_info(out, Dmi::get_instance()); }

const char* dmi_info(FILE* out, Dmi& dmi) {
  dmi.init();
  if (!dmi.is_valid()) return "Failed";
  const smbios_version version = SetupVersion(dmi.get_smbios_revision());
  start_section(out, "SMBIOS INFORMATION");
  for (unsigned type = 0; type < Dmi::k_indexed_types; ++type) {
    if (dmi.get_num_structs(type) == 0) continue;
    dump_structures(dmi, type);
    print_type(out, dmi, type, version);
  }
  end_section(out);
  return "OK";
}

bool smbios_probe::run(FILE* fp) {
  result = dmi_info(fp);
  status_ok_text = result;
  return true;
}

}  // namespace kestrel
