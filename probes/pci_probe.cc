// See pci_probe.h.
#include "probes/pci_probe.h"

#include <cstring>
#include <string>
#include <vector>

#include "lib/ascii_case.h"
#include "lib/debug.h"
#include "lib/dmi.h"
#include "lib/sysinfo.h"
#include "lib/utilstr.h"
#include "probes/pci_linux.h"

namespace kestrel {
namespace {

constexpr column k_summary_columns[] = {
    {"Bus",             DT_INTEGER, 0 },
    {"Device",          DT_INTEGER, 0 },
    {"Function",        DT_INTEGER, 0 },
    {"Slot",            DT_STRING,  8 },
    {"Vendor ID",       DT_HEX,     0 },
    {"Vendor Name",     DT_STRING,  30},
    {"Device ID",       DT_HEX,     0 },
    {"Device Name",     DT_STRING,  50},
    {"Class",           DT_STRING,  10},
    {"Sub Class",       DT_STRING,  15},
    {"Product Name",    DT_STRING,  10},
    {"Part Number",     DT_STRING,  10},
    {"EC Level",        DT_STRING,  10},
    {"Manufacturer ID", DT_STRING,  15},
    {"Serial Number",   DT_STRING,  10},
};
constexpr size_t k_vpd_columns = 5;  // the last ones

constexpr column k_adapter_columns[] = {
    {"Slot ID",   DT_INTEGER, 0 },
    {"Slot Name", DT_STRING,  25},
    {"In Use",    DT_STRING,  0 },
    {"Vendor",    DT_STRING,  25},
    {"Adapter",   DT_STRING,  70},
};

constexpr const char* k_blacklist[] = {"TOSHIBA"};

constexpr char k_ok[] = "OK";
constexpr char k_failed[] = "FAILED";
constexpr char k_no_slots[] = "No PCI Slots";

// A slot structure takes more than 12 bytes of the firmware's table.
constexpr int k_max_slots = Dmi::k_table_size / 12;

std::string slot_text(const pci_address& at, byte_span routing_table) {
  int slot = get_slot_number(at.bus, at.device, routing_table);
  if (slot < 0) return "Unknown";
  return slot == 0 ? "On-board" : Dmi::get_instance().get_pci_slot_name(slot);
}

void write_pci_adapter(Table& table, const pci_database& names, int slot) {
  Dmi& dmi = Dmi::get_instance();
  table.start_row(format_text("%d", slot).c_str());
  table.log_data(slot);
  table.log_data(dmi.get_pci_slot_name(slot));
  table.log_data(dmi.is_pci_slot_in_use(slot) ? "Yes" : "No");
  pci_header header;
  if (pci_get_pci_device_for_slot(slot, header)) {
    std::vector<wchar_t> name(static_cast<size_t>(names.longest_name()));
    table.log_wide_data(names.get_subsys_vendor_name(
        name.data(), name.size(), header.vendor, header.subsystem_vendor, header.subsystem_device));
    table.log_wide_data(names.get_subsys_device_name(
        name.data(), name.size(), header.vendor, header.device, header.revision,
        header.subsystem_device, header.subsystem_vendor));
  } else {
    table.log_wide_data(L"Empty or not responding");
    table.log_wide_data(L"Empty or not responding");
  }
  table.end_row();
}

// Shows a report function's status as the task's word.
bool show_status(task& shown, const char* status) {
  if (std::strcmp(status, k_ok) == 0) return true;
  shown.status_fail_text = status;
  return false;
}

}  // namespace

void declare_pci_summary(Table& table, bool vpd) {
  std::span<const column> columns = k_summary_columns;
  table.declare(vpd ? columns : columns.first(columns.size() - k_vpd_columns));
}

void write_pci_function(Table& table, const pci_database& names, const pci_address& at,
                        const pci_header& header, const char* slot) {
  std::vector<wchar_t> name(static_cast<size_t>(names.longest_name()));
  table.start_row(format_text("%04x:%04x:%02x - %d:%d:%d", header.vendor, header.device,
                              header.revision, at.bus, at.device, at.function)
                      .c_str());
  table.log_data(at.bus);
  table.log_data(at.device);
  table.log_data(at.function);
  table.log_data(slot);
  table.log_data(header.vendor);
  table.log_wide_data(names.get_vendor_name(name.data(), name.size(), header.vendor));
  table.log_data(header.device);
  table.log_wide_data(names.get_device_name(name.data(), name.size(), header.vendor, header.device,
                                            header.revision));
  table.log_data(PCI_ClassName(header.base_class));
  table.log_data(PCI_SubClassName(static_cast<uint16_t>(header.base_class << 8 | header.subclass)));
}

void log_vpd(uint8_t bus, uint8_t device, uint8_t function, Table* table, int& silent_cards) {
  pci_vpd_xxx vpd;
  uint8_t capability = pcivpd_find_capability(bus, device, function);
  const int max_polls = silent_cards < k_vpd_silent_cards ? k_vpd_max_polls : k_vpd_few_polls;
  if (capability != 0 && !pcivpd_analyse_vpd(bus, device, function, capability, vpd, max_polls) &&
      ++silent_cards == k_vpd_silent_cards) {
    printd("pci: %d cards with silent VPD, %d ms for a byte of the next\n", silent_cards,
           k_vpd_few_polls);
  }
  for (auto entry : {pci_vpd_xxx::identifier, pci_vpd_xxx::part_number, pci_vpd_xxx::ec_level,
                     pci_vpd_xxx::manufacturer_id, pci_vpd_xxx::serial_number}) {
    table->log_data(vpd.text(entry));
  }
}

const char* pci_device_summary(FILE* out, bool slot_numbers, bool vpd) {
  printd("pci: pci device summary, slot numbers %d, vpd %d\n", slot_numbers, vpd);
  if (out == nullptr) return k_failed;
  const pci_database& names = pci_database::get_instance();
  std::vector<unsigned char> routing_table;
  if (!slot_numbers || !PCI_get_interrupt_routing(routing_table)) routing_table.clear();
  start_section(out, "PCI DEVICES");
  {
    const pci_session asked_by_a_worker;
    int silent_cards = 0;
    Table table(out, "PCI Device Summary", "PCI_DEVICE");
    declare_pci_summary(table, vpd);
    for_each_pci_function([&](const pci_address& at, const pci_header& header) {
      write_pci_function(table, names, at, header, slot_text(at, routing_table).c_str());
      if (vpd) log_vpd(at.bus, at.device, at.function, &table, silent_cards);
      table.end_row();
    });
  }
  end_section(out);
  return k_ok;
}

const char* list_pci_adapters(FILE* out) {
  if (out == nullptr) return k_failed;
  const pci_database& names = pci_database::get_instance();
  std::vector<uint16_t> slots(k_max_slots);
  int count = Dmi::get_instance().get_num_pci_slots(slots.data(), k_max_slots);
  if (count <= 0) return k_no_slots;
  slots.resize(static_cast<size_t>(count));
  start_section(out, "PCI ADAPTER INFORMATION");
  {
    const pci_session asked_by_a_worker;
    Table table(out, "PCI Adapters", "PCI_ADAPTER");
    table.declare(k_adapter_columns);
    for (uint16_t slot : slots) write_pci_adapter(table, names, slot);
  }
  end_section(out);
  return k_ok;
}

bool is_pci_blacklisted() {
  const char* maker = SysInfo::get_instance().OEM();
  printd("pci: checking blacklist for %s\n", maker);
  for (const char* entry : k_blacklist) {
    if (!begins_with_word(maker, entry)) continue;
    printd("pci: blacklisted, matches %s\n", entry);
    return true;
  }
  return false;
}

bool pci_probe::run(FILE* fp) {
  return show_status(*this, pci_device_summary(fp, !is_pci_blacklisted(), true));
}

bool pci_adapter_probe::test() { return !is_pci_blacklisted(); }

bool pci_adapter_probe::run(FILE* fp) { return show_status(*this, list_pci_adapters(fp)); }

}  // namespace kestrel
