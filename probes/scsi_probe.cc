// See scsi_probe.h.
#include "probes/scsi_probe.h"

#include <initializer_list>

#include "lib/debug.h"
#include "lib/decode.h"
#include "lib/table.h"
#include "lib/utilstr.h"
#include "probes/scsi.h"

namespace kestrel {
namespace {

constexpr column k_scsi_columns[] = {
    {"Device",        DT_STRING,  0 },
    {"Vendor",        DT_STRING,  0 },
    {"Model",         DT_STRING,  0 },
    {"Revision",      DT_STRING,  0 },
    {"Type",          DT_STRING,  0 },
    {"Host",          DT_INTEGER, 0 },
    {"Channel",       DT_INTEGER, 0 },
    {"Target",        DT_INTEGER, 0 },
    {"LUN",           DT_INTEGER, 0 },
    {"Serial Number", DT_STRING,  0 },
    {"Capacity",      DT_STRING,  12},
};

constexpr column k_optical_columns[] = {
    {"Vendor",  DT_STRING, 0},
    {"Model",   DT_STRING, 0},
    {"CD-R",    DT_STRING, 0},
    {"CD-RW",   DT_STRING, 0},
    {"DVD-ROM", DT_STRING, 0},
    {"DVD-R",   DT_STRING, 0},
    {"DVD-RAM", DT_STRING, 0},
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

// Holds every text of a device: a serial number has at most 251 characters.
constexpr int k_text_size = 256;

using text_getter = char* (scsi_probe::*)(char*, int);

void log_texts(Table& table, scsi_probe& devices, std::initializer_list<text_getter> getters) {
  char text[k_text_size];
  for (text_getter getter : getters) table.log_data((devices.*getter)(text, sizeof text));
}

void start_device_row(Table& table, scsi_probe& devices) {
  table.start_row(format_text("SCSI-HOST-%d-CH-%d-ID-%d-LUN-%d", devices.get_host(),
                              devices.get_channel(), devices.get_target(), devices.get_lun())
                      .c_str());
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
  Table table(fp, "SCSI Devices", "DEVICE");
  table.declare(k_scsi_columns);
  for (bool more = devices->get_first(); more; more = devices->get_next()) {
    start_device_row(table, *devices);
    log_texts(table, *devices,
              {&scsi_probe::get_device_name, &scsi_probe::get_vendor, &scsi_probe::get_model,
               &scsi_probe::get_revision, &scsi_probe::get_type});
    table.log_data(devices->get_host());
    table.log_data(devices->get_channel());
    table.log_data(devices->get_target());
    table.log_data(devices->get_lun());
    log_texts(table, *devices, {&scsi_probe::get_serial, &scsi_probe::get_capacity});
    table.end_row();
  }
  return true;
}

bool optical_table::test() { return has_optical_drive(); }

bool optical_table::run(FILE* fp) {
  scsi_use devices;
  Table table(fp, "Optical Drive Capabilities", "DEVICE");
  table.declare(k_optical_columns);
  for (bool more = devices->get_first(); more; more = devices->get_next()) {
    if (!devices->read_optical_drive_capabilities()) continue;
    start_device_row(table, *devices);
    log_texts(
        table, *devices,
        {&scsi_probe::get_vendor, &scsi_probe::get_model, &scsi_probe::get_optical_cdr_capability,
         &scsi_probe::get_optical_cdrw_capability, &scsi_probe::get_optical_dvdrom_capability,
         &scsi_probe::get_optical_dvdr_capability, &scsi_probe::get_optical_dvdram_capability});
    table.end_row();
  }
  return true;
}

bool optical_table_uc2::test() { return has_optical_drive(); }

bool optical_table_uc2::run(FILE* fp) {
  uint32_t abilities = read_all_capabilities(*scsi_use());
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
