// The PCI tables: functions from configuration space, slots from the firmware's table, names from
// the PCI database, and what the cards' VPD tells.
#include "probes/pci_probe.h"

#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "lib/ascii.h"
#include "lib/debug.h"
#include "lib/dmi.h"
#include "lib/notice.h"
#include "lib/section.h"
#include "lib/sysinfo.h"
#include "lib/table.h"
#include "lib/utilstr.h"
#include "probes/pci_linux.h"

namespace kestrel {
namespace {

template <auto Member>
auto place(const pci_function& shown) {
  return shown.at.*Member;
}
template <auto Member>
auto id(const pci_function& shown) {
  return shown.header.*Member;
}
const char* class_name(const pci_function& shown) { return PCI_ClassName(shown.header.base_class); }
const char* subclass_name(const pci_function& shown) {
  return PCI_SubClassName(
      static_cast<uint16_t>(shown.header.base_class << 8 | shown.header.subclass));
}
template <pci_vpd_xxx::entry Entry>
const char* vpd_text(const pci_function& shown) {
  return shown.vpd.text(Entry);
}

constexpr cell_of<pci_function> k_summary_cells[] = {
    {"Bus",             show<place<&pci_address::bus>>                       },
    {"Device",          show<place<&pci_address::device>>                    },
    {"Function",        show<place<&pci_address::function>>                  },
    {"Slot",            show<&pci_function::slot>.wide(8)                    },
    {"Vendor ID",       show_hex<id<&pci_header::vendor>>                    },
    {"Vendor Name",     show<&pci_function::vendor_name>.wide(30)            },
    {"Device ID",       show_hex<id<&pci_header::device>>                    },
    {"Device Name",     show<&pci_function::device_name>.wide(50)            },
    {"Class",           show<class_name>.wide(10)                            },
    {"Sub Class",       show<subclass_name>.wide(15)                         },
    {"Product Name",    show<vpd_text<pci_vpd_xxx::identifier>>.wide(10)     },
    {"Part Number",     show<vpd_text<pci_vpd_xxx::part_number>>.wide(10)    },
    {"EC Level",        show<vpd_text<pci_vpd_xxx::ec_level>>.wide(10)       },
    {"Manufacturer ID", show<vpd_text<pci_vpd_xxx::manufacturer_id>>.wide(15)},
    {"Serial Number",   show<vpd_text<pci_vpd_xxx::serial_number>>.wide(10)  },
};
constexpr size_t k_vpd_cells = 5;  // the last ones

struct pci_slot {
  int id;
  std::string name;
  const char* is_in_use;
  std::wstring vendor, adapter;
};

constexpr cell_of<pci_slot> k_slot_cells[] = {
    {"Slot ID",   show<&pci_slot::id>              },
    {"Slot Name", show<&pci_slot::name>.wide(25)   },
    {"In Use",    show<&pci_slot::is_in_use>       },
    {"Vendor",    show<&pci_slot::vendor>.wide(25) },
    {"Adapter",   show<&pci_slot::adapter>.wide(70)},
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

pci_slot describe_slot(const pci_database& names, int id) {
  Dmi& dmi = Dmi::get_instance();
  pci_slot slot = {id, dmi.get_pci_slot_name(id), dmi.is_pci_slot_in_use(id) ? "Yes" : "No",
                   L"Empty or not responding", L"Empty or not responding"};
  pci_header card;
  if (pci_get_pci_device_for_slot(id, card)) {
    std::vector<wchar_t> name(static_cast<size_t>(names.longest_name()));
    slot.vendor = names.get_subsys_vendor_name(name.data(), name.size(), card.vendor,
                                               card.subsystem_vendor, card.subsystem_device);
    slot.adapter =
        names.get_subsys_device_name(name.data(), name.size(), card.vendor, card.device,
                                     card.revision, card.subsystem_device, card.subsystem_vendor);
  }
  return slot;
}

// Takes what it cost from `time`. A function that gets none any more is told.
pci_vpd_xxx read_vpd(const pci_address& card, pcivpd_time& time) {
  pci_vpd_xxx found;
  const uint8_t capability = pcivpd_find_capability(card.bus, card.device, card.function);
  if (capability == 0) return found;
  const std::optional<pcivpd_limits> limits = time.next();
  if (!limits) {
    constexpr int k_seconds = k_vpd_all_milliseconds / 1000;
    add_notice("PCI DEVICES", format_text("VPD stopped after %d s", k_seconds));
    return found;
  }
  const int64_t start = pci_milliseconds();
  const bool is_done =
      pcivpd_analyse_vpd(card.bus, card.device, card.function, capability, found, *limits);
  time.note(pci_milliseconds() - start, !is_done);
  return found;
}

// Shows a report function's status as the task's word.
bool show_status(task& shown, const char* status) {
  if (std::strcmp(status, k_ok) == 0) return true;
  shown.status_fail_text = status;
  return false;
}

}  // namespace

pci_function::pci_function(const pci_database& names, const pci_address& address,
                           const pci_header& fields, std::string slot_name)
    : at(address), header(fields), slot(std::move(slot_name)) {
  std::vector<wchar_t> name(static_cast<size_t>(names.longest_name()));
  vendor_name = names.get_vendor_name(name.data(), name.size(), header.vendor);
  device_name = names.get_device_name(name.data(), name.size(), header.vendor, header.device,
                                      header.revision);
}

std::string pci_function::row_name() const {
  return format_text("%04x:%04x:%02x - %d:%d:%d", header.vendor, header.device, header.revision,
                     at.bus, at.device, at.function);
}

std::span<const cell_of<pci_function>> pci_summary_cells(bool vpd) {
  const std::span<const cell_of<pci_function>> all = k_summary_cells;
  return vpd ? all : all.first(all.size() - k_vpd_cells);
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
    pcivpd_time time_for_vpd;
    record_table<pci_function> table(out, "PCI Device Summary", "PCI_DEVICE",
                                     pci_summary_cells(vpd));
    for_each_pci_function([&](const pci_address& at, const pci_header& header) {
      pci_function found(names, at, header, slot_text(at, routing_table));
      if (vpd) found.vpd = read_vpd(at, time_for_vpd);
      table.add(found.row_name(), found);
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
    record_table table(out, "PCI Adapters", "PCI_ADAPTER", k_slot_cells);
    for (uint16_t slot : slots) table.add(std::to_string(slot), describe_slot(names, slot));
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
