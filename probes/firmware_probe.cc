// See firmware_probe.h.
#include "probes/firmware_probe.h"

#include "lib/dmi.h"
#include "lib/table.h"
#include "probes/smapi.h"

namespace kestrel {
namespace {

constexpr column k_columns[] = {
    {"Firmware", DT_STRING, 0},
    {"Version",  DT_STRING, 0},
    {"Date",     DT_STRING, 0},
};

}  // namespace

bool firmware_probe::run(FILE* fp) {
  Dmi& dmi = Dmi::get_instance();
  Table table(fp, "Firmware Information");
  table.declare(k_columns);
  table.start_row("BIOS");
  table.log_data("System BIOS");
  table.log_data(dmi.get_bios_build());
  table.log_data(dmi.get_bios_date());
  table.end_row();

  char version[16];
  table.start_row("EC");
  table.log_data("Embedded Controller");
  table.log_data(smapi_get_h8_version(version, sizeof version));
  table.log_data("");
  table.end_row();
  return true;
}

}  // namespace kestrel
