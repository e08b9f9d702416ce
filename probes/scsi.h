// SCSI devices: an enumerator with one record a device, the commands that ask a device about
// itself, and the parsers of their replies. How a command reaches a device is for a derived class.
// Commands and replies: SCSI Primary Commands (SPC), SCSI Block Commands (SBC) and, for optical
// drives, the capabilities page of the Multi-Media Commands (MMC).
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "lib/cursor.h"

namespace kestrel {

inline constexpr size_t k_scsi_inquiry_size = 255;  ///< bytes asked for: a one-byte length's most
inline constexpr int k_scsi_optical_type = 5;       ///< peripheral device type of CD and DVD (SPC)

/// Row of a blacklist: a null field matches anything; a row of three nulls ends the list.
struct blacklist_t {
  const char* vendor;
  const char* model;
  const char* revision;
};

/// What is kept of one device.
struct scsi_device {
  int host = 0;  ///< bus number
  int channel = 0;
  int target = 0;
  int lun = 0;
  int type = 0;  ///< byte 0 of the INQUIRY data, peripheral qualifier included
  /// The reply to INQUIRY whatever length it tells: devices exist that send their texts and say 0.
  std::array<unsigned char, k_scsi_inquiry_size> inquiry = {};
  uint32_t capabilities = 0;  ///< optical drives: bits 0-7 read abilities, 8-15 write abilities
  bool blacklisted = false;   ///< never asked for its serial number
};

/// A reply to READ CAPACITY (10).
struct scsi_capacity {
  uint32_t last_block;  ///< address, from 0
  uint32_t block_size;  ///< bytes
};

/// Bits of a capability word: bytes 2 and 3 of the capabilities page 0x2A (MMC).
enum optical_mask : uint32_t {
  optical_cdr_read = 0x0001,
  optical_cdrw_read = 0x0002,
  optical_dvdrom_read = 0x0008,
  optical_dvdr_read = 0x0010,
  optical_dvdram_read = 0x0020,
  optical_cdr_write = 0x0100,
  optical_cdrw_write = 0x0200,
  optical_dvdr_write = 0x1000,
  optical_dvdram_write = 0x2000,
};

// Parsers of replies. Whatever a reply claims about its length, nothing past its end is read.

/// The serial number in a reply to INQUIRY for page 0x80; nothing from a device that ignored the
/// page and gave its standard data, `standard`, again.
std::optional<std::string> parse_scsi_serial(byte_span reply, byte_span standard);
/// Nothing for a reply of fewer than 8 bytes.
std::optional<scsi_capacity> parse_scsi_capacity(byte_span reply);
/// The capability word in a reply to MODE SENSE, with a header of 8 or of 4 bytes; nothing without
/// the capabilities page.
std::optional<uint32_t> parse_optical_capabilities(byte_span reply);

/// Walks the devices. Getters speak of the current one; without one they give 0 or "". Text getters
/// write into the caller's buffer, cut to its size, and return it.
class scsi_probe {
 public:
  scsi_probe() = default;
  scsi_probe(const scsi_probe&) = delete;
  scsi_probe& operator=(const scsi_probe&) = delete;

  /// The one enumerator of the process: the first use creates it and scans the machine.
  static scsi_probe& open();
  /// Destroys it from its fifth use on; the use count is never lowered on purpose, so that one scan
  /// serves a run.
  static void close();

  virtual int get_device_count();
  virtual int get_optical_drive_count();
  /// Go to the first or the next device; false, and no current one, when there is none.
  virtual bool get_first();
  virtual bool get_next();
  /// Sends one command to the current device. 0 and `returned` bytes in `reply`, or -1.
  virtual int send_command(byte_span cdb, std::span<unsigned char> reply, size_t& returned) = 0;
  /// The name of its node without "/dev/".
  virtual char* get_device_name(char* buffer, int size);
  /// The address: numbers of bus, channel, target and logical unit.
  virtual int get_host();
  virtual int get_channel();
  virtual int get_target();
  virtual int get_lun();
  /// Byte 0 of the INQUIRY data, and its name or "unknown-type-31".
  virtual int get_type();
  virtual char* get_type(char* buffer, int size);
  /// The texts of the INQUIRY data with their blanks: 8, 16 and 4 characters at most.
  virtual char* get_vendor(char* buffer, int size);
  virtual char* get_model(char* buffer, int size);
  virtual char* get_revision(char* buffer, int size);
  /// Ask the device; "" when it does not tell. A blacklisted one is not asked for its number.
  virtual char* get_serial(char* buffer, int size);
  virtual char* get_capacity(char* buffer, int size);
  /// Asks all devices at once for what these two tell of them: a disk that stands still takes 10 to
  /// 20 seconds to spin up before it tells its capacity.
  void ask_ahead();

  /// Asks the drive; false, and no capabilities, for what is no optical drive or does not tell.
  virtual bool read_optical_drive_capabilities();
  /// The capability word that was read, 0 before that.
  virtual uint32_t get_optical_drive_capabilities();
  /// "Write", "Read" or ""; never "Write" for DVD-ROM.
  virtual char* get_optical_cdr_capability(char* buffer, int size);
  virtual char* get_optical_cdrw_capability(char* buffer, int size);
  virtual char* get_optical_dvdrom_capability(char* buffer, int size);
  virtual char* get_optical_dvdr_capability(char* buffer, int size);
  virtual char* get_optical_dvdram_capability(char* buffer, int size);
  /// Whether the current drive has the ability.
  virtual bool get_optical_cdr_read() { return get_optical_cdr_read(capabilities()); }
  virtual bool get_optical_cdr_write() { return get_optical_cdr_write(capabilities()); }
  virtual bool get_optical_cdrw_read() { return get_optical_cdrw_read(capabilities()); }
  virtual bool get_optical_cdrw_write() { return get_optical_cdrw_write(capabilities()); }
  virtual bool get_optical_dvdrom_read() { return get_optical_dvdrom_read(capabilities()); }
  virtual bool get_optical_dvdr_read() { return get_optical_dvdr_read(capabilities()); }
  virtual bool get_optical_dvdr_write() { return get_optical_dvdr_write(capabilities()); }
  virtual bool get_optical_dvdram_read() { return get_optical_dvdram_read(capabilities()); }
  virtual bool get_optical_dvdram_write() { return get_optical_dvdram_write(capabilities()); }
  /// "Write" when the bit that belongs to `mask`, a read ability, is set among those for writing.
  virtual char* generic_optical_drive_capability(int mask, char* buffer, int size);

  virtual ~scsi_probe() = default;
  /// Makes the record at the cursor current; false past the last one.
  virtual bool get_current();
  virtual bool is_blacklisted();
  /// Whether vendor, model and revision of the current device, trimmed and whatever their case,
  /// match a row.
  virtual bool check_blacklist(const blacklist_t* list);

  /// The same questions to a given capability word; of several bits one is enough.
  static bool get_optical_drive_capability(uint32_t word, uint32_t mask) {
    return (word & mask) != 0;
  }
  static bool get_optical_cdr_read(uint32_t word) {
    return get_optical_drive_capability(word, optical_cdr_read);
  }
  static bool get_optical_cdr_write(uint32_t word) {
    return get_optical_drive_capability(word, optical_cdr_write);
  }
  static bool get_optical_cdrw_read(uint32_t word) {
    return get_optical_drive_capability(word, optical_cdrw_read);
  }
  static bool get_optical_cdrw_write(uint32_t word) {
    return get_optical_drive_capability(word, optical_cdrw_write);
  }
  static bool get_optical_dvdrom_read(uint32_t word) {
    return get_optical_drive_capability(word, optical_dvdrom_read);
  }
  static bool get_optical_dvdr_read(uint32_t word) {
    return get_optical_drive_capability(word, optical_dvdr_read);
  }
  static bool get_optical_dvdr_write(uint32_t word) {
    return get_optical_drive_capability(word, optical_dvdr_write);
  }
  static bool get_optical_dvdram_read(uint32_t word) {
    return get_optical_drive_capability(word, optical_dvdram_read);
  }
  static bool get_optical_dvdram_write(uint32_t word) {
    return get_optical_drive_capability(word, optical_dvdram_write);
  }

  static std::unique_ptr<scsi_probe> instance;  ///< null before `open`
  static int use_count;

 protected:
  /// Creates the platform's enumerator, scanned.
  static std::unique_ptr<scsi_probe> create();
  /// Fills type and INQUIRY data of the current device; it keeps zeros when it does not answer.
  bool read_inquiry();
  /// Sends a command to all devices but those blacklisted at once, one that may be slow to answer;
  /// each one's next `send_command` of it then has its answer. Does nothing where devices cannot be
  /// asked at once.
  virtual void ask_all(byte_span /*cdb*/, size_t /*reply_size*/, bool /*is_slow*/) {}

  std::vector<scsi_device> devices_;
  size_t index_ = 0;

 private:
  const scsi_device& current() const;
  uint32_t capabilities() { return get_optical_drive_capabilities(); }
  char* inquiry_text(size_t offset, size_t length, char* buffer, int size) const;

  scsi_device* device_ = nullptr;
};

/// A use of the shared enumerator.
class scsi_use {
 public:
  scsi_use() : probe_(scsi_probe::open()) {}
  scsi_use(const scsi_use&) = delete;
  scsi_use& operator=(const scsi_use&) = delete;
  ~scsi_use() { scsi_probe::close(); }
  scsi_probe* operator->() const { return &probe_; }
  scsi_probe& operator*() const { return probe_; }

 private:
  scsi_probe& probe_;
};

}  // namespace kestrel
