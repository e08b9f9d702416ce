// One bounded reader for bytes that came from outside: firmware tables, VPD, netlink, SCSI replies,
// gather files. A short read yields 0 and sets a failed state; nothing is ever read past the end.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

namespace kestrel {

/// Bytes that stay their owner's.
using byte_span = std::span<const unsigned char>;

/// Reads forward through bytes that must outlive it. What goes past the end sets `failed` for good
/// and leaves the cursor at the end.
class cursor {
 public:
  explicit cursor(byte_span bytes, size_t position = 0) : bytes_(bytes) { seek(position); }

  /// All getters give 0 when too few bytes are left.
  uint8_t get_u8() { return static_cast<uint8_t>(get(1)); }
  /// Little-endian getters, the order of firmware tables and gather files.
  uint16_t get_u16() { return static_cast<uint16_t>(get(2)); }
  uint32_t get_u32() { return static_cast<uint32_t>(get(4)); }
  uint64_t get_u64() { return get(8); }
  /// Big-endian getters, the order of SCSI replies.
  uint16_t get_be16() { return static_cast<uint16_t>(get_be(2)); }
  uint32_t get_be32() { return static_cast<uint32_t>(get_be(4)); }
  /// Getters in the order of this machine, which is that of its kernel's messages.
  uint16_t get_host16() { return static_cast<uint16_t>(get_host(2)); }
  uint32_t get_host32() { return static_cast<uint32_t>(get_host(4)); }

  /// The next `count` bytes, empty (and failed) when there are fewer.
  byte_span take(size_t count) {
    if (count > left()) {
      fail();
      return {};
    }
    byte_span piece = bytes_.subspan(position_, count);
    position_ += count;
    return piece;
  }
  /// All that is left.
  byte_span take_rest() { return take(left()); }
  void skip(size_t count) { take(count); }
  /// Goes to `position`, counted from the first byte.
  void seek(size_t position) {
    if (position > bytes_.size()) {
      fail();
    } else {
      position_ = position;
    }
  }

  size_t position() const { return position_; }
  size_t left() const { return bytes_.size() - position_; }
  bool failed() const { return failed_; }

 private:
  uint64_t get(size_t count) {
    uint64_t value = 0;
    byte_span piece = take(count);
    for (size_t i = piece.size(); i-- > 0;) value = value << 8 | piece[i];
    return value;
  }
  uint64_t get_be(size_t count) {
    uint64_t value = 0;
    for (unsigned char byte : take(count)) value = value << 8 | byte;
    return value;
  }
  uint64_t get_host(size_t count) {
    return std::endian::native == std::endian::little ? get(count) : get_be(count);
  }
  void fail() {
    failed_ = true;
    position_ = bytes_.size();
  }

  byte_span bytes_;
  size_t position_ = 0;
  bool failed_ = false;
};

/// Puts little-endian fields one behind the other into room that must outlive it and hold them.
class field_writer {
 public:
  explicit field_writer(std::span<unsigned char> room) : room_(room) {}

  void put_u8(uint8_t value) { put(value, 1); }
  void put_u16(uint16_t value) { put(value, 2); }
  void put_u32(uint32_t value) { put(value, 4); }

 private:
  void put(uint32_t value, size_t count) {
    for (; count > 0; --count, value >>= 8) {
      room_.front() = static_cast<unsigned char>(value);
      room_ = room_.subspan(1);
    }
  }

  std::span<unsigned char> room_;
};

/// The text in a fixed-width field: up to the first NUL or the field's end.
inline std::string text_field(byte_span field) {
  std::string text;
  for (unsigned char byte : field) {
    if (byte == 0) break;
    text.push_back(static_cast<char>(byte));
  }
  return text;
}

}  // namespace kestrel
