// Finds the VPD capability of a card and walks the resources behind it through the registers that
// the caller gives. A card that lies about lengths or does not answer costs no more than its time.
#include "lib/pcivpd.h"

#include <algorithm>
#include <vector>

#include "lib/ascii.h"
#include "lib/debug.h"
#include "lib/stop.h"

namespace kestrel {
namespace {

constexpr uint8_t k_status = 0x06;
constexpr uint16_t k_status_has_capabilities = 0x10;
constexpr uint8_t k_capabilities_pointer = 0x34;
constexpr uint8_t k_first_capability = 0x40;  // what lies below is the standard header
constexpr uint8_t k_last_capability = 0xF8;   // the VPD capability takes 8 bytes of 256
constexpr int k_max_capabilities = 10;
constexpr uint8_t k_vpd_capability = 3;

// Registers of the VPD capability.
constexpr uint8_t k_address = 2;
constexpr uint8_t k_completion = 3;
constexpr uint8_t k_completed = 0x80;
constexpr uint8_t k_data = 4;

constexpr int64_t k_share = 4;                 // of the time that is left, for one function
constexpr int64_t k_least_milliseconds = 200;  // a card that works needs less

constexpr unsigned k_item_identifier = 0x02;
constexpr unsigned k_item_read_only = 0x10;
constexpr unsigned k_item_read_write = 0x11;

uint8_t at(uint8_t capability, uint8_t offset) { return static_cast<uint8_t>(capability + offset); }

// A pointer that lies could make us write into the header or between two registers.
bool is_safe_capability(uint8_t capability) {
  return capability >= k_first_capability && capability <= k_last_capability &&
         (capability & 3) == 0;
}

// Reads one capability of the list: its id and where the next one is.
bool analyse_capability(pcivpd_registers& registers, uint8_t pointer, uint8_t& id, uint8_t& next) {
  return registers.read_byte(pointer, id) && registers.read_byte(at(pointer, 1), next);
}

struct keyword_entry {
  unsigned char first;
  pci_vpd_xxx::entry entry;
};
constexpr keyword_entry k_keywords[] = {
    {'P', pci_vpd_xxx::part_number    },
    {'E', pci_vpd_xxx::ec_level       },
    {'M', pci_vpd_xxx::manufacturer_id},
    {'S', pci_vpd_xxx::serial_number  },
    {'C', pci_vpd_xxx::c_keyword      },
    {'R', pci_vpd_xxx::r_keyword      },
};

// Where a keyword is filed; entry_count when it is dropped.
size_t entry_of(unsigned char first, unsigned char second) {
  first = ascii_capital(first);
  for (const keyword_entry& row : k_keywords) {
    if (row.first == first) return row.entry;
  }
  second = ascii_capital(second);
  if (first != 'V') return pci_vpd_xxx::entry_count;
  if (is_ascii_digit(second)) return pci_vpd_xxx::vendor_digit + (second - '0');
  if (is_ascii_letter(second)) return pci_vpd_xxx::vendor_letter + (second - 'A');
  return pci_vpd_xxx::entry_count;
}

// Any other item ends the walk, the end tag among them.
bool is_decoded(unsigned item) {
  return item == k_item_identifier || item == k_item_read_only || item == k_item_read_write;
}

struct resource {
  unsigned item;
  uint32_t length;
};

// Reads the data of one card, within the time that one card gets.
class vpd_reader {
 public:
  vpd_reader(pcivpd_registers& registers, uint8_t capability, const pcivpd_limits& limits)
      : registers_(registers),
        capability_(capability),
        limits_(limits),
        deadline_(registers.milliseconds() + limits.milliseconds) {}

  // Whether the card let the time for a byte, or its own, go by.
  bool was_silent() const { return was_silent_; }

  // Reads the tag at the address and advances the address behind it.
  bool read_tag(uint32_t& address, resource& found) {
    uint8_t tag = 0;
    if (!read(address, tag)) return false;
    if ((tag & 0x80) == 0) {
      found = {static_cast<unsigned>(tag >> 3), tag & 7u};
      address += 1;
      return true;
    }
    uint16_t length = 0;
    if (!registers_.read_word(at(capability_, k_data + 1), length)) return false;
    found = {tag & 0x7Fu, length};
    address += 3;
    return true;
  }

  // As much of the resource's data as the card gives, all of it unless a read fails.
  std::vector<unsigned char> read_data(uint32_t address, uint32_t length) {
    std::vector<unsigned char> data;
    for (uint8_t byte = 0; data.size() < length && read(address++, byte);) data.push_back(byte);
    return data;
  }

 private:
  bool read(uint32_t address, uint8_t& byte) {
    return select_vpd_bytes(address) && registers_.read_byte(at(capability_, k_data), byte);
  }

  // Asks the card for the data at the address and waits until it has them.
  bool select_vpd_bytes(uint32_t address) {
    if (address > k_vpd_last_address) return false;
    if (!registers_.write_word(at(capability_, k_address), static_cast<uint16_t>(address))) {
      return false;
    }
    for (int poll = 0; poll < limits_.polls; ++poll) {
      if (is_stopping()) return false;
      if (registers_.milliseconds() >= deadline_) {
        was_silent_ = true;
        printd("pcivpd: the card's %d ms are over at address %04x\n",
               static_cast<int>(limits_.milliseconds), static_cast<unsigned>(address));
        return false;
      }
      if (poll > 0) registers_.pause();
      uint8_t flag = 0;
      if (!registers_.read_byte(at(capability_, k_completion), flag)) return false;
      if (flag & k_completed) return true;
    }
    was_silent_ = true;
    printd("pcivpd: no answer at address %04x\n", static_cast<unsigned>(address));
    return false;
  }

  pcivpd_registers& registers_;
  uint8_t capability_;
  pcivpd_limits limits_;
  int64_t deadline_;
  bool was_silent_ = false;
};

}  // namespace

uint8_t pcivpd_find_capability(pcivpd_registers& registers) {
  uint16_t status = 0;
  if (!registers.read_word(k_status, status)) return 0;
  if ((status & k_status_has_capabilities) == 0) return 0;
  uint8_t pointer = 0;
  if (!registers.read_byte(k_capabilities_pointer, pointer)) return 0;
  if (pointer < k_first_capability) return 0;
  for (int step = 0; step < k_max_capabilities; ++step) {
    uint8_t id = 0;
    uint8_t next = 0;
    if (!analyse_capability(registers, pointer, id, next)) return 0;
    if (id == k_vpd_capability) return is_safe_capability(pointer) ? pointer : 0;
    if (next == 0 || next == 0xFF) return 0;
    pointer = next;
  }
  return 0;
}

std::optional<pcivpd_limits> pcivpd_time::next() const {
  if (left_ <= 0) return {};
  return pcivpd_limits{silent_cards_ < k_vpd_silent_cards ? k_vpd_max_polls : k_vpd_few_polls,
                       std::clamp(left_ / k_share, k_least_milliseconds, k_vpd_max_milliseconds)};
}

void pcivpd_time::note(int64_t milliseconds, bool was_silent) {
  left_ -= milliseconds;
  if (!was_silent || ++silent_cards_ != k_vpd_silent_cards) return;
  printd("pci: %d cards with silent VPD, %d ms for a byte of the next\n", silent_cards_,
         k_vpd_few_polls);
}

bool pcivpd_analyse_vpd(pcivpd_registers& registers, uint8_t capability, pci_vpd_xxx& result,
                        const pcivpd_limits& limits) {
  result = {};
  uint8_t id = 0;
  if (!is_safe_capability(capability) || !registers.read_byte(capability, id)) return true;
  if (id != k_vpd_capability) return true;
  vpd_reader reader(registers, capability, limits);
  uint32_t address = 0;
  resource found = {};
  while (reader.read_tag(address, found) && is_decoded(found.item)) {
    printd("pcivpd: item %02x length %u\n", found.item, static_cast<unsigned>(found.length));
    const std::vector<unsigned char> data = reader.read_data(address, found.length);
    const bool is_whole = data.size() == found.length;
    // Of half a resource whole records count, but no half a name.
    if (!is_whole && found.item == k_item_identifier) break;
    if (!analyse_resource(found.item, data, result) || !is_whole) break;
    address += found.length;
  }
  return !reader.was_silent();
}

bool analyse_resource(unsigned item, byte_span data, pci_vpd_xxx& result) {
  if (item == k_item_identifier) result.texts[pci_vpd_xxx::identifier] = my_strncpy(data);
  if (item != k_item_read_only && item != k_item_read_write) return true;
  cursor in(data);
  while (in.left() > 0) {
    uint8_t first = in.get_u8();
    uint8_t second = in.get_u8();
    uint8_t length = in.get_u8();
    byte_span value = in.take(length);
    if (in.failed()) return false;
    size_t entry = entry_of(first, second);
    if (entry < pci_vpd_xxx::entry_count) result.texts[entry] = my_strncpy(value);
  }
  return true;
}

std::string my_strncpy(byte_span bytes) {
  std::string text;
  text.reserve(bytes.size());
  for (unsigned char byte : bytes) {
    text.push_back(byte >= 32 && byte <= 126 ? static_cast<char>(byte) : '.');
  }
  return text;
}

}  // namespace kestrel
