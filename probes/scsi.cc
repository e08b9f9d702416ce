// Sends INQUIRY, READ CAPACITY and MODE SENSE to the current device and parses what it answers,
// which may be shorter than it claims or not what was asked for.
#include "probes/scsi.h"

#include <algorithm>

#include "lib/ascii.h"
#include "lib/debug.h"
#include "lib/utilstr.h"

namespace kestrel {
namespace {

constexpr int k_uses_before_close = 5;

constexpr const char* k_type_names[] = {
    "Disk",
    "Tape",
    "Printer",
    "Processor",
    "Write-Once",
    "CD-ROM",
    "Scanner",
    "Magneto-Optical",
    "Changer",
    "Communications",
    "unknown-type-10",
    "unknown-type 11",  // With a blank in the report on purpose.
    "RAID",
    "Enclosure",
};

// Their firmware does not survive a question about its abilities.
constexpr blacklist_t k_optical_blacklist[] = {
    {"OEM",   "CD-ROM F522E", "1.00" },
    {nullptr, nullptr,        nullptr},
};

constexpr unsigned char k_inquiry[] = {0x12, 0, 0, 0, k_scsi_inquiry_size, 0};
constexpr unsigned char k_inquiry_serial[] = {0x12, 0x01, 0x80, 0, k_scsi_inquiry_size, 0};
constexpr unsigned char k_read_capacity[] = {0x25, 0, 0, 0, 0, 0, 0, 0, 0, 0};
constexpr size_t k_capacity_size = 8;
constexpr size_t k_sense_size = 24;
constexpr unsigned char k_mode_sense[] = {0x5A, 0x08, 0x2A, 0, 0, 0, 0, 0, k_sense_size, 0};
constexpr unsigned char k_serial_page = 0x80;
constexpr unsigned char k_capabilities_page = 0x2A;

// The fields of the standard INQUIRY data, 8, 16 and 4 characters.
constexpr size_t k_vendor = 8, k_model = 16, k_revision = 32;

size_t room(int size) { return static_cast<size_t>(std::max(size, 0)); }

char* put_text(char* buffer, int size, const std::string& text) {
  return format_string(buffer, room(size), "%s", text.c_str());
}

bool field_matches(const char* wanted, const char* field) {
  std::string_view trimmed = trim_whitespace(std::string_view(field));
  return wanted == nullptr || same_word(wanted, trimmed);
}

const char* shown(const char* field) { return field == nullptr ? "" : field; }

/// Sends a command whose reply may fill `buffer`; the reply, empty when the command failed.
byte_span ask(scsi_probe& probe, byte_span cdb, std::span<unsigned char> buffer) {
  size_t returned = 0;
  if (probe.send_command(cdb, buffer, returned) != 0) return {};
  return buffer.first(std::min(returned, buffer.size()));
}

/// What the capabilities page tells that stands there, if it does.
std::optional<uint32_t> capabilities_at(byte_span reply, size_t position) {
  cursor page(reply, position);
  const bool is_asked_page = page.get_u8() == k_capabilities_page;
  page.skip(1);  // its length
  const uint32_t abilities = page.get_u16();
  if (!is_asked_page || page.failed()) return std::nullopt;
  return abilities;
}

}  // namespace

// --- replies --------------------------------------------------------------------------------

std::optional<std::string> parse_scsi_serial(byte_span reply, byte_span standard) {
  cursor at(reply, 1);  // behind the device's type
  const bool is_asked_page = at.get_u8() == k_serial_page;
  at.skip(1);
  const size_t length = at.get_u8();
  if (!is_asked_page || at.left() == 0) return std::nullopt;
  cursor first(reply, at.position()), first_of_standard(standard, at.position());
  const bool is_the_same = first.get_u8() == first_of_standard.get_u8();
  if (is_the_same && !first_of_standard.failed()) return std::nullopt;
  return text_field(at.take(std::min(length, at.left())));
}

std::optional<scsi_capacity> parse_scsi_capacity(byte_span reply) {
  cursor at(reply);
  scsi_capacity capacity = {};
  capacity.last_block = at.get_be32();
  capacity.block_size = at.get_be32();
  if (at.failed()) return std::nullopt;
  return capacity;
}

std::optional<uint32_t> parse_optical_capabilities(byte_span reply) {
  constexpr size_t k_header = 8, k_short_header = 4;
  const auto capabilities = capabilities_at(reply, k_header);
  if (capabilities || cursor(reply).get_u8() == 0) return capabilities;
  // A drive that answers in the form of the six-byte command.
  return capabilities_at(reply, k_short_header);
}

// --- the shared enumerator ------------------------------------------------------------------

std::unique_ptr<scsi_probe> scsi_probe::instance;
int scsi_probe::use_count = 0;

scsi_probe& scsi_probe::open() {
  if (instance == nullptr) instance = create();
  ++use_count;
  return *instance;
}

void scsi_probe::close() {
  if (use_count >= k_uses_before_close) instance.reset();
}

// --- the walk -------------------------------------------------------------------------------

int scsi_probe::get_device_count() { return static_cast<int>(devices_.size()); }

int scsi_probe::get_optical_drive_count() {
  auto is_optical = [](const scsi_device& device) { return device.type == k_scsi_optical_type; };
  return static_cast<int>(std::count_if(devices_.begin(), devices_.end(), is_optical));
}

bool scsi_probe::get_first() {
  index_ = 0;
  return get_current();
}

bool scsi_probe::get_next() {
  if (index_ < devices_.size()) ++index_;
  return get_current();
}

bool scsi_probe::get_current() {
  device_ = index_ < devices_.size() ? &devices_[index_] : nullptr;
  return device_ != nullptr;
}

const scsi_device& scsi_probe::current() const {
  static const scsi_device none;
  return device_ == nullptr ? none : *device_;
}

bool scsi_probe::read_inquiry() {
  std::array<unsigned char, k_scsi_inquiry_size> data = {};
  byte_span reply = ask(*this, k_inquiry, data);
  if (reply.empty() || device_ == nullptr) return false;
  device_->type = data[0];
  device_->inquiry = data;
  return true;
}

// --- what a device is -----------------------------------------------------------------------

char* scsi_probe::get_device_name(char* buffer, int size) { return put_text(buffer, size, ""); }
int scsi_probe::get_host() { return current().host; }
int scsi_probe::get_channel() { return current().channel; }
int scsi_probe::get_target() { return current().target; }
int scsi_probe::get_lun() { return current().lun; }
int scsi_probe::get_type() { return current().type; }

char* scsi_probe::get_type(char* buffer, int size) {
  int type = get_type();
  if (type < 0 || type >= static_cast<int>(std::size(k_type_names))) {
    return format_string(buffer, room(size), "unknown-type-%d", type);
  }
  return put_text(buffer, size, k_type_names[type]);
}

char* scsi_probe::inquiry_text(size_t offset, size_t length, char* buffer, int size) const {
  return put_text(buffer, size, text_field(byte_span(current().inquiry).subspan(offset, length)));
}

char* scsi_probe::get_vendor(char* buffer, int size) {
  return inquiry_text(k_vendor, 8, buffer, size);
}
char* scsi_probe::get_model(char* buffer, int size) {
  return inquiry_text(k_model, 16, buffer, size);
}
char* scsi_probe::get_revision(char* buffer, int size) {
  return inquiry_text(k_revision, 4, buffer, size);
}

char* scsi_probe::get_serial(char* buffer, int size) {
  put_text(buffer, size, "");
  if (is_blacklisted()) {
    printd("scsi: get_serial() skipping blacklisted device\n");
    return buffer;
  }
  unsigned char data[k_scsi_inquiry_size] = {};
  auto serial = parse_scsi_serial(ask(*this, k_inquiry_serial, data), current().inquiry);
  if (!serial) {
    printd("scsi: This device appears to ignore the EVPD bit\n");
    return buffer;
  }
  return put_text(buffer, size, *serial);
}

// The last block's address goes in as the number of blocks on purpose.
// The numbers first: a device that hangs with its capacity has told its own by then.
void scsi_probe::ask_ahead() {
  ask_all(k_inquiry_serial, k_scsi_inquiry_size, false);
  ask_all(k_read_capacity, k_capacity_size, true);
}

char* scsi_probe::get_capacity(char* buffer, int size) {
  printd("scsi: READ CAPACITY\n");
  unsigned char data[k_capacity_size] = {};
  auto capacity = parse_scsi_capacity(ask(*this, k_read_capacity, data));
  if (!capacity) return put_text(buffer, size, "");
  printd("scsi:\tlba         : %u\nscsi:\tsector_size : %u\n", capacity->last_block,
         capacity->block_size);
  return calculate_storage_capacity(capacity->last_block, capacity->block_size, buffer, size, 1000);
}

bool scsi_probe::is_blacklisted() { return current().blacklisted; }

bool scsi_probe::check_blacklist(const blacklist_t* list) {
  char vendor[9], model[17], revision[5];
  get_vendor(vendor, sizeof vendor);
  get_model(model, sizeof model);
  get_revision(revision, sizeof revision);
  // A quote is missing in the log on purpose.
  printd("scsi: checking blacklist for '%s' '%s '%s'\n", vendor, model, revision);
  for (const blacklist_t* row = list;
       row->vendor != nullptr || row->model != nullptr || row->revision != nullptr; ++row) {
    bool matches = field_matches(row->vendor, vendor) && field_matches(row->model, model) &&
                   field_matches(row->revision, revision);
    printd("scsi: %smatch for '%s' '%s' '%s'\n", matches ? "" : "no ", shown(row->vendor),
           shown(row->model), shown(row->revision));
    if (!matches) continue;
    printd("scsi: %s %s %s blacklisted\n", vendor, model, revision);
    return true;
  }
  return false;
}

// --- optical drives -------------------------------------------------------------------------

bool scsi_probe::read_optical_drive_capabilities() {
  if (device_ == nullptr) return false;
  device_->capabilities = 0;
  if (get_type() != k_scsi_optical_type || check_blacklist(k_optical_blacklist)) return false;
  printd("scsi: MODE SENSE\n");
  unsigned char data[k_sense_size] = {};
  byte_span reply = ask(*this, k_mode_sense, data);
  if (reply.empty()) return false;
  auto capabilities = parse_optical_capabilities(reply);
  if (!capabilities) {
    printd("scsi: device appears not to support CD Capabilities\n");
    return false;
  }
  device_->capabilities = *capabilities;
  printd("scsi: capabilities = %08x\n", device_->capabilities);
  return true;
}

uint32_t scsi_probe::get_optical_drive_capabilities() { return current().capabilities; }

char* scsi_probe::generic_optical_drive_capability(int mask, char* buffer, int size) {
  auto read = static_cast<uint32_t>(mask);
  const char* text = get_optical_drive_capability(capabilities(), read << 8) ? "Write"
                     : get_optical_drive_capability(capabilities(), read)    ? "Read"
                                                                             : "";
  return put_text(buffer, size, text);
}

char* scsi_probe::get_optical_cdr_capability(char* buffer, int size) {
  return generic_optical_drive_capability(optical_cdr_read, buffer, size);
}
char* scsi_probe::get_optical_cdrw_capability(char* buffer, int size) {
  return generic_optical_drive_capability(optical_cdrw_read, buffer, size);
}
char* scsi_probe::get_optical_dvdr_capability(char* buffer, int size) {
  return generic_optical_drive_capability(optical_dvdr_read, buffer, size);
}
char* scsi_probe::get_optical_dvdram_capability(char* buffer, int size) {
  return generic_optical_drive_capability(optical_dvdram_read, buffer, size);
}
// No drive writes DVD-ROM.
char* scsi_probe::get_optical_dvdrom_capability(char* buffer, int size) {
  return put_text(buffer, size, get_optical_dvdrom_read() ? "Read" : "");
}

}  // namespace kestrel
