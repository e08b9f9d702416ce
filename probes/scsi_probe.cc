// The SCSI tables: a row for every device that the enumerator walks over, which it asks as the
// cells are filled, and what its optical drives can do.
#include "probes/scsi_probe.h"

#include "lib/debug.h"
#include "lib/decode.h"
#include "lib/table_rows.h"
#include "lib/utilstr.h"
#include "probes/scsi.h"

namespace kestrel {
namespace {

// The other function of that name gives the number.
constexpr char* (scsi_probe::*k_type_name)(char*, int) = &scsi_probe::get_type;

constexpr cell_of<scsi_probe*> k_scsi_cells[] = {
    {"Device",        show<&scsi_probe::get_device_name>      },
    {"Vendor",        show<&scsi_probe::get_vendor>           },
    {"Model",         show<&scsi_probe::get_model>            },
    {"Revision",      show<&scsi_probe::get_revision>         },
    {"Type",          show<k_type_name>                       },
    {"Host",          show<&scsi_probe::get_host>             },
    {"Channel",       show<&scsi_probe::get_channel>          },
    {"Target",        show<&scsi_probe::get_target>           },
    {"LUN",           show<&scsi_probe::get_lun>              },
    {"Serial Number", show<&scsi_probe::get_serial>           },
    {"Capacity",      show<&scsi_probe::get_capacity>.wide(12)},
};

constexpr cell_of<scsi_probe*> k_optical_cells[] = {
    {"Vendor",  show<&scsi_probe::get_vendor>                   },
    {"Model",   show<&scsi_probe::get_model>                    },
    {"CD-R",    show<&scsi_probe::get_optical_cdr_capability>   },
    {"CD-RW",   show<&scsi_probe::get_optical_cdrw_capability>  },
    {"DVD-ROM", show<&scsi_probe::get_optical_dvdrom_capability>},
    {"DVD-R",   show<&scsi_probe::get_optical_dvdr_capability>  },
    {"DVD-RAM", show<&scsi_probe::get_optical_dvdram_capability>},
};

constexpr mask_name k_keywords[] = {
    {optical_cdr_read,     "CDRread"    },
    {optical_cdr_write,    "CDRwrite"   },
    {optical_cdrw_read,    "CDRWread"   },
    {optical_cdrw_write,   "CDRWwrite"  },
    {optical_dvdrom_read,  "DVDROMread" },
    {optical_dvdr_read,    "DVDRread"   },
    {optical_dvdr_write,   "DVDRwrite"  },
    {optical_dvdram_read,  "DVDRAMread" },
    {optical_dvdram_write, "DVDRAMwrite"},
};

std::string address_of(scsi_probe& devices) {
  return format_text("SCSI-HOST-%d-CH-%d-ID-%d-LUN-%d", devices.get_host(), devices.get_channel(),
                     devices.get_target(), devices.get_lun());
}

bool has_optical_drive() { return scsi_use()->get_optical_drive_count() > 0; }

uint32_t read_all_capabilities(scsi_probe& devices) {
  uint32_t all = 0;
  for (bool more = devices.get_first(); more; more = devices.get_next()) {
    bool known = devices.read_optical_drive_capabilities();
    printd("scsi: rc2 = %d\n", known);
    if (known) all |= devices.get_optical_drive_capabilities();
  }
  printd("scsi: odcap = %04x\n", all);
  return all;
}

}  // namespace

bool scsi_table::test() { return scsi_use()->get_device_count() > 0; }

bool scsi_table::run(FILE* fp) {
  scsi_use devices;
  devices->ask_ahead();
  record_table table(fp, "SCSI Devices", "DEVICE", k_scsi_cells);
  for (bool more = devices->get_first(); more; more = devices->get_next()) {
    table.add(address_of(*devices), &*devices);
  }
  return true;
}

bool optical_table::test() { return has_optical_drive(); }

bool optical_table::run(FILE* fp) {
  scsi_use devices;
  record_table table(fp, "Optical Drive Capabilities", "DEVICE", k_optical_cells);
  for (bool more = devices->get_first(); more; more = devices->get_next()) {
    if (!devices->read_optical_drive_capabilities()) continue;
    table.add(address_of(*devices), &*devices);
  }
  return true;
}

bool optical_table_uc2::test() { return has_optical_drive(); }

bool optical_table_uc2::run(FILE* fp) {
  uint32_t abilities = read_all_capabilities(*scsi_use());
  // No record: a column, of the same name, for each ability that the one row has.
  Table table(fp, "Optical Drive Capabilities");
  table.start_heading();
  for (const mask_name& row : k_keywords) {
    if ((abilities & row.mask) != 0) table.add_column("CAPABILITY", DT_STRING);
  }
  table.end_heading();
  table.start_row("");
  for (const mask_name& row : k_keywords) {
    if ((abilities & row.mask) != 0) table.log_data(row.name);
  }
  table.end_row();
  return true;
}

}  // namespace kestrel
