// Plays physical memory for test programs: whatever a test lays into it, and nothing else.
#pragma once

#include <initializer_list>
#include <map>
#include <vector>

#include "lib/cursor.h"

namespace kestrel {

using byte_vector = std::vector<unsigned char>;

/// A request is served from all ranges that it overlaps, in ascending order, with zeroes between
/// them; one that overlaps none is refused, as the kernel refuses system RAM.
struct fake_memory {
  struct request {
    unsigned long address;
    int length;
    bool operator==(const request&) const = default;
  };
  std::map<unsigned long, byte_vector> ranges;
  bool fail = false;  ///< refuse everything
  std::vector<request> requests;
};

/// The memory of this test program; assign `{}` to start anew.
fake_memory& played_memory();

/// A "_DMI_" entry point with a good checksum.
byte_vector smbios_entry_point(unsigned long address, size_t length, unsigned char revision = 0x24);

/// One structure: header, the fields behind it, and the string set.
byte_vector smbios_bytes(unsigned char type, unsigned handle, const byte_vector& fields,
                         std::initializer_list<const char*> strings = {});

/// Starts anew with a machine that has this table at `address` (inside or outside the BIOS area).
void play_smbios(byte_span table, unsigned long address = 0x100000, unsigned char revision = 0x24);

}  // namespace kestrel
