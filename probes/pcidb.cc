// Loads the database as one text, indexes its records by kind and place, and looks names up. A line
// that is no record, or too long, costs itself only.
#include "probes/pcidb.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <cwchar>

#include "gatherer/settings.h"
#include "lib/ascii.h"
#include "lib/debug.h"
#include "lib/file.h"
#include "lib/mbcs.h"
#include "lib/utilstr.h"

#ifndef KESTREL_DATA_FOLDER
#define KESTREL_DATA_FOLDER "../share/kestrel"
#endif

namespace kestrel {
namespace {

constexpr char k_filename[] = "pcidb.txt";
constexpr char k_unknown[] = "Unknown";
constexpr size_t k_longest_line = 255;  // a longer one is read in pieces, each as a line
constexpr size_t k_longest_name = 256;
constexpr size_t k_max_text = 16 << 20;  // a file that is no database must not fill the memory

std::string_view skip_white(std::string_view text) {
  while (!text.empty() && is_ascii_space(text.front())) text.remove_prefix(1);
  return text;
}

// Reads hexadecimal digits, clamped to 32 bits, and advances `text` past them.
bool scan_hex(std::string_view& text, uint32_t& value) {
  if (text.size() > 2 && text[0] == '0' && ascii_capital(text[1]) == 'X' &&
      is_ascii_hex_digit(text[2])) {
    text.remove_prefix(2);
  }
  uint32_t read_value = UINT32_MAX;  // when it does not fit
  const auto read = std::from_chars(text.data(), text.data() + text.size(), read_value, 16);
  text.remove_prefix(static_cast<size_t>(read.ptr - text.data()));
  if (read.ec == std::errc::invalid_argument) return false;
  value = read_value;
  return true;
}

constexpr bool is_record_kind(char c) {
  return c == 'V' || c == 'D' || c == 'X' || c == 'S' || c == 'O' || c == 'R';
}

// The line at an offset, its end included, or as much of it as is read at once.
std::string_view line_at(std::string_view text, size_t at) {
  const char* begin = text.data() + at;
  const size_t longest = std::min(text.size() - at, k_longest_line);
  const void* end = std::memchr(begin, '\n', longest);
  if (end == nullptr) return {begin, longest};
  return {begin, static_cast<size_t>(static_cast<const char*>(end) - begin) + 1};
}

// Names a record for the log, where an unknown one is written in lower case.
const char* logged(const char* name) {
  printd("pcidb: found %s\n", name == k_unknown ? "unknown" : name);
  return name;
}

wchar_t* widen(wchar_t* out, size_t size, const char* name) {
  if (size == 0) return out;
  std::wstring wide = utf8_to_wide(name).substr(0, size - 1);
  std::wmemcpy(out, wide.c_str(), wide.size() + 1);
  return out;
}

}  // namespace

std::optional<pcidb_record> parse_pcidb_line(std::string_view line) {
  line = until_nul(line);
  if (line.empty() || !is_record_kind(line.front())) return std::nullopt;
  pcidb_record found = {line.front(), 0, {}};
  std::string_view rest = skip_white(line.substr(1));
  if (!scan_hex(rest, found.id)) return found;
  rest = skip_white(rest);
  found.name = rest.substr(0, rest.find('\n')).substr(0, k_longest_name);
  return found;
}

/// Goes from record to record, from a place on or from the first one.
class pci_database::walk {
 public:
  explicit walk(std::string_view text) : text_(text) {}
  walk(std::string_view text, const place& from) : text_(text), index_(from.index - 1) {
    next_ = from.at;
    next();
  }
  bool next() {
    while (next_ < text_.size()) {
      at_ = next_;
      line_ = line_at(text_, at_);
      next_ += line_.size();
      if (!is_record_kind(line_.front())) continue;
      ++index_;
      return true;
    }
    return false;
  }
  char kind() const { return line_.front(); }
  std::string_view line() const { return line_; }
  uint32_t id() const {
    std::string_view rest = skip_white(line_.substr(1));
    uint32_t id = 0;
    scan_hex(rest, id);
    return id;
  }
  place here() const { return {id(), index_, at_}; }

 private:
  std::string_view text_, line_;
  size_t at_ = 0, next_ = 0;
  int index_ = -1;
};

void pci_database::clear() {
  text_ = {};
  count_ = 0;
  longest_name_ = sizeof k_unknown;
  vendors_.clear();
  devices_.clear();
  names_.clear();
}

int pci_database::load() {
  int count = load(k_filename);
  const char* folder = get_filename(filename_save_path);
  if (count > 0 || folder == nullptr) return count;
  count = load(format_text("%s%c%s", folder, '/', k_filename).c_str());
  if (count > 0) return count;
  return load(format_text("%s/%s/%s", folder, KESTREL_DATA_FOLDER, k_filename).c_str());
}

int pci_database::load(const char* path) {
  clear();
  printd("pcidb: trying to load %s\n", path);
  file_ptr in = open_regular_file(path);
  if (!in) {
    print_error(path, errno);
    return 0;
  }
  return load(in.get(), path);
}

int pci_database::load(FILE* in, const char* name) {
  clear();
  printd("pcidb: --- pcidevs.txt ---\n");
  read_text(in);
  index_records();
  printd("pcidb: --- END OF FILE ---\npcidb: %u records in %s\n", static_cast<unsigned>(count_),
         name);
  if (is_logging()) log_ignored_lines();
  return count_;
}

// Most of the text is never looked at: it is neither copied nor cleared before.
void pci_database::read_text(FILE* in) {
  const long size = std::fseek(in, 0, SEEK_END) == 0 ? std::ftell(in) : 0;
  std::rewind(in);
  const size_t wanted = std::min(static_cast<size_t>(std::max(size, 0L)), k_max_text);
  bytes_ = std::make_unique_for_overwrite<char[]>(wanted);
  text_ = {bytes_.get(), std::fread(bytes_.get(), 1, wanted, in)};
}

void pci_database::index_records() {
  for (walk record(text_); record.next(); ++count_) {
    if (record.kind() == 'V') vendors_.push_back(record.here());
    // Kind and id take two characters at least: most lines need no closer look.
    if (record.line().size() < static_cast<size_t>(longest_name_) + 2) continue;
    const auto length = static_cast<int>(parse_pcidb_line(record.line())->name.size());
    longest_name_ = std::max(longest_name_, length + 1);
  }
}

// Up to the last record.
void pci_database::log_ignored_lines() const {
  int seen = 0;
  for (size_t at = 0; seen < count_;) {
    const std::string_view line = line_at(text_, at);
    at += line.size();
    if (is_record_kind(line.front())) {
      ++seen;
    } else {
      printd("pcidb: ignored <%s>", std::string(line).c_str());
    }
  }
}

pci_database::place pci_database::find_vendor(unsigned vendor) const {
  for (const place& record : vendors_) {
    if (record.id == vendor) return record;
  }
  return {};
}

const std::vector<pci_database::place>& pci_database::devices_of(const place& vendor) const {
  const auto [entry, is_new] = devices_.try_emplace(vendor.index);
  if (!is_new) return entry->second;
  for (walk record(text_, vendor); record.next() && record.kind() != 'V';) {
    if (record.kind() == 'D') entry->second.push_back(record.here());
  }
  return entry->second;
}

pci_database::place pci_database::find_device(unsigned vendor, unsigned device,
                                              unsigned revision) const {
  const place maker = find_vendor(vendor);
  if (maker.index < 0) return {};
  for (const place& found : devices_of(maker)) {
    if (found.id != device) continue;
    walk next(text_, found);
    const bool revised = next.next() && next.kind() == 'R' && next.id() == revision;
    return revised ? next.here() : found;
  }
  return {};
}

pci_database::place pci_database::find_subsys_device(unsigned vendor, unsigned device,
                                                     unsigned revision, unsigned subsystem_vendor,
                                                     unsigned subsystem_device) const {
  const place plain = find_device(vendor, device, revision);
  if (plain.index < 0 || (subsystem_vendor == 0 && subsystem_device == 0)) return plain;
  constexpr int k_foreign = 0;  // no O record is the first of the file
  place owner;                  // the O record of this vendor; k_foreign in the block of another
  const uint32_t both = static_cast<uint32_t>(subsystem_vendor) << 16 | subsystem_device;
  for (walk row(text_, plain); row.next();) {
    if (row.kind() == 'V' || row.kind() == 'D') break;
    const place here = row.here();
    if (row.kind() == 'X' && here.id == both) return here;
    if (row.kind() == 'O') owner = here.id == subsystem_vendor ? here : place{0, k_foreign, 0};
    if (row.kind() == 'S' && owner.index != k_foreign && here.id == subsystem_device) {
      return owner.index < 0 ? plain : here;
    }
  }
  return owner.index <= k_foreign ? plain : owner;
}

pci_database::place pci_database::find_subsys_vendor(unsigned vendor, unsigned subsystem_vendor,
                                                     unsigned subsystem_device) const {
  const bool has_subsystem = subsystem_vendor != 0 || subsystem_device != 0;
  return find_vendor(has_subsystem ? subsystem_vendor : vendor);
}

int pci_database::get_vendor(unsigned vendor) const { return find_vendor(vendor).index; }

int pci_database::get_device(unsigned vendor, unsigned device, unsigned revision) const {
  return find_device(vendor, device, revision).index;
}

int pci_database::get_subsys_device(unsigned vendor, unsigned device, unsigned revision,
                                    unsigned subsystem_vendor, unsigned subsystem_device) const {
  return find_subsys_device(vendor, device, revision, subsystem_vendor, subsystem_device).index;
}

int pci_database::get_subsys_vendor(unsigned vendor, unsigned subsystem_vendor,
                                    unsigned subsystem_device) const {
  return find_subsys_vendor(vendor, subsystem_vendor, subsystem_device).index;
}

const char* pci_database::name_of(const place& record) const {
  if (record.index < 0) return k_unknown;
  const auto parsed = parse_pcidb_line(line_at(text_, record.at));
  return names_.emplace(parsed->name).first->c_str();
}

const char* pci_database::get_vendor_name(unsigned vendor) const {
  printd("pcidb: get vendor for %04x\n", vendor);
  return logged(name_of(find_vendor(vendor)));
}

const char* pci_database::get_device_name(unsigned vendor, unsigned device,
                                          unsigned revision) const {
  printd("pcidb: get device for %04x:%04x-%02x\n", vendor, device, revision);
  return logged(name_of(find_device(vendor, device, revision)));
}

const char* pci_database::get_subsys_device_name(unsigned vendor, unsigned device,
                                                 unsigned revision, unsigned subsystem_vendor,
                                                 unsigned subsystem_device) const {
  printd("pcidb: subsystem device for %04x:%04x-%02x (%04x:%04x)\n", vendor, device, revision,
         subsystem_vendor, subsystem_device);
  return logged(
      name_of(find_subsys_device(vendor, device, revision, subsystem_vendor, subsystem_device)));
}

const char* pci_database::get_subsys_vendor_name(unsigned vendor, unsigned subsystem_vendor,
                                                 unsigned subsystem_device) const {
  printd("pcidb: subsystem vendor for %04x (%04x:%04x)\n", vendor, subsystem_vendor,
         subsystem_device);
  return logged(name_of(find_subsys_vendor(vendor, subsystem_vendor, subsystem_device)));
}

wchar_t* pci_database::get_vendor_name(wchar_t* out, size_t size, unsigned vendor) const {
  return widen(out, size, get_vendor_name(vendor));
}

wchar_t* pci_database::get_device_name(wchar_t* out, size_t size, unsigned vendor, unsigned device,
                                       unsigned revision) const {
  return widen(out, size, get_device_name(vendor, device, revision));
}

wchar_t* pci_database::get_subsys_device_name(wchar_t* out, size_t size, unsigned vendor,
                                              unsigned device, unsigned revision,
                                              unsigned subsystem_device,
                                              unsigned subsystem_vendor) const {
  return widen(
      out, size,
      get_subsys_device_name(vendor, device, revision, subsystem_vendor, subsystem_device));
}

wchar_t* pci_database::get_subsys_vendor_name(wchar_t* out, size_t size, unsigned vendor,
                                              unsigned subsystem_vendor,
                                              unsigned subsystem_device) const {
  return widen(out, size, get_subsys_vendor_name(vendor, subsystem_vendor, subsystem_device));
}

pci_database* pci_database::instance = nullptr;

pci_database& pci_database::get_instance() {
  static pci_database shared;
  if (instance == nullptr) {
    instance = &shared;
    shared.load();
  }
  return *instance;
}

}  // namespace kestrel
