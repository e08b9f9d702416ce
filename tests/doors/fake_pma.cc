// See fake_pma.h.
#include "tests/doors/fake_pma.h"

#include <algorithm>
#include <cstring>

#include "lib/pma_linux.h"

namespace kestrel {

fake_memory& played_memory() {
  static fake_memory memory;
  return memory;
}

bool copy_physical_memory(unsigned long address, void* buffer, int length) {
  fake_memory& memory = played_memory();
  memory.requests.push_back({address, length});
  byte_vector copy(static_cast<size_t>(std::max(length, 0)));
  bool served = false;
  for (const auto& [start, bytes] : memory.ranges) {
    const unsigned long first = std::max(address, start);
    const unsigned long end = std::min(address + copy.size(), start + bytes.size());
    if (memory.fail || first >= end) continue;
    std::memcpy(copy.data() + (first - address), bytes.data() + (first - start), end - first);
    served = true;
  }
  if (served) std::memcpy(buffer, copy.data(), copy.size());
  return served;
}

byte_vector smbios_entry_point(unsigned long address, size_t length, unsigned char revision) {
  byte_vector entry = {'_', 'D', 'M', 'I', '_', 0, 0, 0, 0, 0, 0, 0, 1, 0, revision};
  for (unsigned i = 0; i < 2; ++i) entry[6 + i] = static_cast<unsigned char>(length >> 8 * i);
  for (unsigned i = 0; i < 4; ++i) entry[8 + i] = static_cast<unsigned char>(address >> 8 * i);
  for (size_t i = 0; i < entry.size(); ++i) {
    if (i != 5) entry[5] = static_cast<unsigned char>(entry[5] - entry[i]);
  }
  return entry;
}

byte_vector smbios_bytes(unsigned char type, unsigned handle, const byte_vector& fields,
                         std::initializer_list<const char*> strings) {
  byte_vector bytes(4 + fields.size());
  bytes[0] = type;
  bytes[1] = static_cast<unsigned char>(bytes.size());
  bytes[2] = static_cast<unsigned char>(handle);
  bytes[3] = static_cast<unsigned char>(handle >> 8);
  std::copy(fields.begin(), fields.end(), bytes.begin() + 4);
  for (const char* text : strings) bytes.insert(bytes.end(), text, text + std::strlen(text) + 1);
  bytes.insert(bytes.end(), strings.size() == 0 ? 2 : 1, 0);
  return bytes;
}

void play_smbios(byte_span table, unsigned long address, unsigned char revision) {
  constexpr unsigned long k_anchor = k_bios_area + 0xFFE0;
  fake_memory& memory = played_memory();
  memory = {};
  memory.ranges[address] = byte_vector(table.begin(), table.end());
  memory.ranges[k_anchor] = smbios_entry_point(address, table.size(), revision);
}

}  // namespace kestrel
