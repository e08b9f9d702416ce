// Writes a row for the BIOS, from the SMBIOS table, and one for the embedded controller, whose
// version SMAPI tells.
#include "probes/firmware_probe.h"

#include "lib/dmi.h"
#include "lib/table_rows.h"
#include "probes/smapi.h"

namespace kestrel {
namespace {

struct firmware {
  std::string name, version;
  gathered_date date;
};

constexpr cell_of<firmware> k_firmware_cells[] = {
    {"Firmware", show<&firmware::name>   },
    {"Version",  show<&firmware::version>},
    {"Date",     show<&firmware::date>   },
};

}  // namespace

bool firmware_probe::run(FILE* fp) {
  Dmi& dmi = Dmi::get_instance();
  char version[16];
  record_table table(fp, "Firmware Information", k_firmware_cells);
  table.add("BIOS", {"System BIOS", dmi.get_bios_build(), dmi.get_bios_date()});
  table.add("EC", {"Embedded Controller", smapi_get_h8_version(version, sizeof version), {}});
  return true;
}

}  // namespace kestrel
