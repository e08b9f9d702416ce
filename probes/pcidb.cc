// See pcidb.h.
#include "probes/pcidb.h"

#include <cerrno>
#include <cstring>
#include <cwchar>

#include "gatherer/kestrel2.h"
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
constexpr char k_record_kinds[] = "VDROSX";
constexpr char k_unknown[] = "Unknown";
constexpr int k_line_buffer = 256;  // a longer line is read in pieces, each as a line
constexpr size_t k_longest_name = 256;
constexpr int k_max_lines = 1 << 20;  // a file that is no database must not fill the memory

bool is_white(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

std::string_view skip_white(std::string_view text) {
  while (!text.empty() && is_white(text.front())) text.remove_prefix(1);
  return text;
}

int hex_digit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  return -1;
}

// Reads hexadecimal digits, clamped to 32 bits, and advances `text` past them.
bool scan_hex(std::string_view& text, uint32_t& value) {
  if (text.size() > 2 && text[0] == '0' && (text[1] | 0x20) == 'x' && hex_digit(text[2]) >= 0) {
    text.remove_prefix(2);
  }
  size_t digits = 0;
  uint64_t sum = 0;
  for (; digits < text.size() && hex_digit(text[digits]) >= 0; ++digits) {
    sum = sum << 4 | static_cast<uint64_t>(hex_digit(text[digits]));
    if (sum > UINT32_MAX) sum = UINT32_MAX;
  }
  text.remove_prefix(digits);
  if (digits > 0) value = static_cast<uint32_t>(sum);
  return digits > 0;
}

bool is_record(const char* line) {
  return *line != '\0' && std::strchr(k_record_kinds, *line) != nullptr;
}

int count_records(FILE* in) {
  char line[k_line_buffer];
  int count = 0;
  for (int i = 0; i < k_max_lines && std::fgets(line, sizeof line, in); ++i) {
    if (is_record(line)) ++count;
  }
  return count;
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
  line = line.substr(0, line.find('\0'));
  if (line.empty() || std::strchr(k_record_kinds, line.front()) == nullptr) return std::nullopt;
  pcidb_record found = {line.front(), 0, {}};
  std::string_view rest = skip_white(line.substr(1));
  if (!scan_hex(rest, found.id)) return found;
  rest = skip_white(rest);
  found.name = rest.substr(0, rest.find('\n')).substr(0, k_longest_name);
  return found;
}

void pci_database::clear() {
  records_.clear();
  vendors_.clear();
  names_.clear();
  longest_name_ = sizeof k_unknown;
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
  int count = count_records(in);
  printd("pcidb: --- END OF FILE ---\npcidb: %u records in %s\n", static_cast<unsigned>(count),
         name);
  records_.reserve(static_cast<size_t>(count));
  std::rewind(in);
  char line[k_line_buffer];
  while (size() < count && std::fgets(line, sizeof line, in)) {
    if (auto found = parse_pcidb_line(line)) {
      store(*found);
    } else {
      printd("pcidb: ignored <%s>", line);
    }
  }
  return size();
}

void pci_database::store(const pcidb_record& found) {
  if (found.kind == 'V') vendors_.push_back(size());
  records_.push_back({found.kind, found.id, static_cast<uint32_t>(names_.size())});
  names_.append(found.name).push_back('\0');
  int length = static_cast<int>(found.name.size()) + 1;
  if (length > longest_name_) longest_name_ = length;
}

int pci_database::get_vendor(unsigned vendor) const {
  for (int index : vendors_) {
    if (records_[static_cast<size_t>(index)].id == vendor) return index;
  }
  return -1;
}

int pci_database::get_device(unsigned vendor, unsigned device, unsigned revision) const {
  int start = get_vendor(vendor);
  if (start < 0) return -1;
  size_t i = static_cast<size_t>(start) + 1;
  for (; i < records_.size() && records_[i].kind != 'V'; ++i) {
    if (records_[i].kind != 'D' || records_[i].id != device) continue;
    bool revised =
        i + 1 < records_.size() && records_[i + 1].kind == 'R' && records_[i + 1].id == revision;
    return static_cast<int>(revised ? i + 1 : i);
  }
  return -1;
}

int pci_database::get_subsys_device(unsigned vendor, unsigned device, unsigned revision,
                                    unsigned subsystem_vendor, unsigned subsystem_device) const {
  int plain = get_device(vendor, device, revision);
  if (plain < 0 || (subsystem_vendor == 0 && subsystem_device == 0)) return plain;
  int owner = -1;  // the O record of this vendor; 0 inside the block of another one
  uint32_t both = static_cast<uint32_t>(subsystem_vendor) << 16 | subsystem_device;
  for (int i = plain + 1; i < size(); ++i) {
    const record& row = records_[static_cast<size_t>(i)];
    if (row.kind == 'V' || row.kind == 'D') break;
    if (row.kind == 'X' && row.id == both) return i;
    if (row.kind == 'O') owner = row.id == subsystem_vendor ? i : 0;
    if (row.kind == 'S' && owner != 0 && row.id == subsystem_device) return owner < 1 ? plain : i;
  }
  return owner < 1 ? plain : owner;
}

int pci_database::get_subsys_vendor(unsigned vendor, unsigned subsystem_vendor,
                                    unsigned subsystem_device) const {
  bool has_subsystem = subsystem_vendor != 0 || subsystem_device != 0;
  return get_vendor(has_subsystem ? subsystem_vendor : vendor);
}

const char* pci_database::name_at(int index) const {
  if (index < 0 || index >= size()) return k_unknown;
  return names_.c_str() + records_[static_cast<size_t>(index)].name;
}

const char* pci_database::get_vendor_name(unsigned vendor) const {
  printd("pcidb: get vendor for %04x\n", vendor);
  return logged(name_at(get_vendor(vendor)));
}

const char* pci_database::get_device_name(unsigned vendor, unsigned device,
                                          unsigned revision) const {
  printd("pcidb: get device for %04x:%04x-%02x\n", vendor, device, revision);
  return logged(name_at(get_device(vendor, device, revision)));
}

const char* pci_database::get_subsys_device_name(unsigned vendor, unsigned device,
                                                 unsigned revision, unsigned subsystem_vendor,
                                                 unsigned subsystem_device) const {
  printd("pcidb: subsystem device for %04x:%04x-%02x (%04x:%04x)\n", vendor, device, revision,
         subsystem_vendor, subsystem_device);
  return logged(
      name_at(get_subsys_device(vendor, device, revision, subsystem_vendor, subsystem_device)));
}

const char* pci_database::get_subsys_vendor_name(unsigned vendor, unsigned subsystem_vendor,
                                                 unsigned subsystem_device) const {
  printd("pcidb: subsystem vendor for %04x (%04x:%04x)\n", vendor, subsystem_vendor,
         subsystem_device);
  return logged(name_at(get_subsys_vendor(vendor, subsystem_vendor, subsystem_device)));
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
