// Plays PCI configuration space for test programs: functions with registers, and cards that answer
// VPD address cycles at once, late, never, or until they break.
#pragma once

#include <array>
#include <climits>
#include <map>
#include <span>
#include <vector>

#include "lib/pcivpd.h"

namespace kestrel {

struct played_function : pcivpd_registers {
  std::array<unsigned char, 256> registers = {};
  uint8_t vpd_at = 0;  ///< where the VPD capability is, 0 for none
  std::vector<unsigned char> vpd;
  int polls_needed = 1;      ///< until the completion flag is set
  int reads_left = INT_MAX;  ///< then every read fails

  std::vector<unsigned> addresses;  ///< of all VPD cycles, in order
  int polls = 0;                    ///< of the completion flag since the last cycle began
  bool harmed = false;              ///< a write that was no VPD read request

  void set8(unsigned at, unsigned value) { registers[at] = static_cast<unsigned char>(value); }
  void set16(unsigned at, unsigned value);
  /// Gives the function a VPD capability at `at`, reached from the header.
  void add_vpd(uint8_t at, std::vector<unsigned char> bytes);

  bool read(uint8_t offset, std::span<unsigned char> buffer);
  bool write(uint8_t offset, std::span<const unsigned char> bytes);

  bool read_byte(uint8_t offset, uint8_t& value) override { return read(offset, {&value, 1}); }
  bool read_word(uint8_t offset, uint16_t& value) override;
  bool write_word(uint8_t offset, uint16_t value) override;
  void pause() override;
  int64_t milliseconds() override;
};

struct played_pci {
  std::map<unsigned, played_function> functions;  ///< by pci_key
  std::vector<unsigned char> routing_table;
  bool unlisted = false;               ///< a listing tells nothing: every function may be there
  int64_t milliseconds = 0;            ///< the clock; a pause moves it by one
  std::vector<unsigned> header_reads;  ///< keys whose header was asked for, in order
};
/// The configuration space of this test program; assign `{}` to start anew.
played_pci& fake_pci();

/// Bus, device and function as one number.
constexpr unsigned pci_key(unsigned bus, unsigned device, unsigned function) {
  return bus << 8 | device << 3 | function;
}

}  // namespace kestrel
