// Vital product data of a PCI card: finds the capability of one function, fetches the data byte by
// byte through the card's address register and decodes its resources (PCI Local Bus standard
// 2.2, appendix I). The card is reached through an interface, so that a test can play it.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "lib/cursor.h"

namespace kestrel {

/// Configuration registers of one PCI function, and the time that passes while it works. Every
/// access moves exactly the width it names, in the machine's byte order; `offset` is in bytes.
/// False when it failed, and `value` unchanged.
class pcivpd_registers {
 public:
  virtual ~pcivpd_registers() = default;
  virtual bool read_byte(uint8_t offset, uint8_t& value) = 0;
  virtual bool read_word(uint8_t offset, uint16_t& value) = 0;
  virtual bool write_word(uint8_t offset, uint16_t value) = 0;
  /// Waits a millisecond.
  virtual void pause() = 0;
  /// Milliseconds of a clock that never goes back.
  virtual int64_t milliseconds() = 0;
};

/// The decoded texts of one function; an absent one is empty.
struct pci_vpd_xxx {
  /// Where a text is filed: by its keyword, the case of whose letters does not count.
  enum entry : size_t {
    identifier,                         ///< product name
    part_number,                        ///< keywords that begin with P
    ec_level,                           ///< E, engineering change level
    manufacturer_id,                    ///< M
    serial_number,                      ///< S
    vendor_digit,                       ///< V0 to V9
    vendor_letter = vendor_digit + 10,  ///< VA to VZ
    c_keyword = vendor_letter + 26,     ///< C, as CP, extended capability
    r_keyword,                          ///< R, as RV, checksum
    entry_count,                        ///< other keywords are dropped
  };
  std::array<std::optional<std::string>, entry_count> texts;

  /// Lives until the text is changed.
  const char* text(entry which) const { return texts[which] ? texts[which]->c_str() : ""; }
};

inline constexpr int k_vpd_max_polls = 1000;              ///< of the completion flag, for one byte
inline constexpr int k_vpd_few_polls = 100;               ///< behind cards that stayed silent
inline constexpr int k_vpd_silent_cards = 2;              ///< so many get the polls whole
inline constexpr int64_t k_vpd_max_milliseconds = 2000;   ///< for one function in all
inline constexpr int64_t k_vpd_all_milliseconds = 10000;  ///< for all functions of a run
inline constexpr uint32_t k_vpd_last_address = 0x7FFF;    ///< bit 15 would turn a read into a write

/// What one function gets.
struct pcivpd_limits {
  int polls = k_vpd_max_polls;  ///< of the completion flag, for one byte
  int64_t milliseconds = k_vpd_max_milliseconds;
};

/// Shares the time out among the functions of a run: a quarter of what is left for one, so that the
/// quick behind the slow get theirs, and none once it is over.
class pcivpd_time {
 public:
  /// Nothing when no time is left.
  std::optional<pcivpd_limits> next() const;
  /// Notes what a function took, and whether it was silent (see `pcivpd_analyse_vpd`).
  void note(int64_t milliseconds, bool was_silent);

 private:
  int64_t left_ = k_vpd_all_milliseconds;
  int silent_cards_ = 0;
};

/// Offset of the VPD capability; 0 when there is none, a register cannot be read, or the list of
/// capabilities leads astray.
uint8_t pcivpd_find_capability(pcivpd_registers& registers);
/// Decodes what the card answers, as far as it does: a failed access, a card that stays silent, a
/// record past its resource and the time limit end the decode with what was decoded, the whole
/// records of a resource that was read in part among them. False when the card was silent or used
/// its time up.
bool pcivpd_analyse_vpd(pcivpd_registers& registers, uint8_t capability, pci_vpd_xxx& result,
                        const pcivpd_limits& limits = {});

/// Files one resource: item 2 is the identifier, 0x10 and 0x11 are keyword records, others are
/// ignored. False when a record reaches past the resource.
bool analyse_resource(unsigned item, byte_span data, pci_vpd_xxx& result);
/// Copies exactly these bytes, those outside 32 to 126 as '.'.
std::string my_strncpy(byte_span bytes);

}  // namespace kestrel
