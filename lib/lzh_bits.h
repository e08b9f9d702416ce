// What LzH reads from and writes to (a stream or memory, in blocks) and the bits inside. Only the
// lzh sources include this.
#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <span>
#include <utility>

namespace kestrel {

/// Eight bytes as a big-endian number, so that numbers and texts sort alike.
inline uint64_t load_word(const unsigned char* bytes) {
  uint64_t word;
  std::memcpy(&word, bytes, sizeof word);
  if constexpr (std::endian::native == std::endian::little) word = __builtin_bswap64(word);
  return word;
}

/// At most `limit` bytes of a stream, or memory.
class byte_source {
 public:
  byte_source(FILE* file, uint64_t limit) : file_(file), left_(limit) {}
  explicit byte_source(std::span<const unsigned char> bytes)
      : next_(bytes.data()), end_(bytes.data() + bytes.size()), taken_(bytes.size()) {}
  byte_source(const byte_source&) = delete;
  byte_source& operator=(const byte_source&) = delete;

  bool at_end() { return next_ == end_ && !read_block(); }
  /// Only when not at_end().
  unsigned char get() { return *next_++; }
  /// Takes what is left of the block, or the next one. Empty at the end.
  std::span<const unsigned char> take_block() {
    at_end();
    return {std::exchange(next_, end_), end_};
  }
  /// The part of the block that is left, of which skip() takes bytes.
  std::span<const unsigned char> at_hand() const { return {next_, end_}; }
  void skip(size_t count) { next_ += count; }

  /// Bytes taken out.
  uint64_t consumed() const { return taken_ - at_hand().size(); }
  bool failed() const { return failed_; }

 private:
  bool read_block() {
    if (left_ == 0) return false;
    const size_t wanted = static_cast<size_t>(std::min<uint64_t>(left_, block_.size()));
    const size_t count = std::fread(block_.data(), 1, wanted, file_);
    failed_ = count != wanted && std::ferror(file_) != 0;
    left_ = count == wanted ? left_ - count : 0;
    taken_ += count;
    next_ = block_.data();
    end_ = next_ + count;
    return count != 0;
  }

  FILE* file_ = nullptr;
  uint64_t left_ = 0;
  const unsigned char* next_ = nullptr;
  const unsigned char* end_ = nullptr;
  uint64_t taken_ = 0;
  bool failed_ = false;
  std::array<unsigned char, 8192> block_;
};

/// A stream, or memory that must not overflow. After a failure nothing more is written.
class byte_sink {
 public:
  explicit byte_sink(FILE* file) : file_(file) {}
  explicit byte_sink(std::span<unsigned char> room) : room_(room) {}

  void write(const unsigned char* bytes, size_t count) {
    if (failed_ || count == 0) return;
    if (file_ != nullptr) {
      failed_ = std::fwrite(bytes, 1, count, file_) != count;
    } else if (count > room_.size()) {
      failed_ = true;
    } else {
      std::memcpy(room_.data(), bytes, count);
      room_ = room_.subspan(count);
    }
  }
  bool failed() const { return failed_; }

 private:
  FILE* file_ = nullptr;
  std::span<unsigned char> room_;
  bool failed_ = false;
};

/// Copies what the source still has.
inline void copy_bytes(byte_source& in, byte_sink& out) {
  while (!in.at_end() && !out.failed()) {
    const auto piece = in.at_hand();
    out.write(piece.data(), piece.size());
    in.skip(piece.size());
  }
}

/// Packs codes into bytes, the first bit highest.
class bit_writer {
 public:
  explicit bit_writer(byte_sink& sink) : sink_(sink) {}

  /// Appends the low `length` bits of `code`, 32 at most.
  void Putcode(unsigned length, uint32_t code) {
    bits_ = bits_ << length | code;
    count_ += length;
    if (count_ < 32) return;
    count_ -= 32;
    if (block_.size() - used_ < 4) hand_on();
    uint32_t word = static_cast<uint32_t>(bits_ >> count_);
    if constexpr (std::endian::native == std::endian::little) word = __builtin_bswap32(word);
    std::memcpy(block_.data() + used_, &word, sizeof word);
    used_ += sizeof word;
  }
  /// Fills the last byte up with zero bits and hands everything on.
  void EncodeEnd() {
    hand_on();
    Putcode((8 - count_ % 8) % 8, 0);
    for (; count_ > 0; count_ -= 8) put(bits_ >> (count_ - 8));
    hand_on();
  }
  /// Bytes made so far; after EncodeEnd() all of them.
  uint64_t code_size() const { return handed_on_ + used_; }

 private:
  void put(uint64_t byte) { block_[used_++] = static_cast<unsigned char>(byte); }
  void hand_on() {
    sink_.write(block_.data(), used_);
    handed_on_ += used_;
    used_ = 0;
  }

  byte_sink& sink_;
  uint64_t bits_ = 0;   ///< the last bit is the lowest
  unsigned count_ = 0;  ///< bits that wait, fewer than 32
  uint64_t handed_on_ = 0;
  size_t used_ = 0;
  std::array<unsigned char, 8192> block_;
};

/// Takes bits out of bytes, the highest first. What is asked for must be at hand since refill().
class bit_reader {
 public:
  explicit bit_reader(byte_source& source) : source_(source) {}

  /// Sees to it that 56 bits are at hand, more than any symbol and position take together (21 and
  /// 14). Past the end of the input they are zero; false when some are.
  bool refill() {
    if (source_.at_hand().size() < sizeof bits_) return refill_bytewise();
    // What lies below count_ now is what the next refill brings once more.
    bits_ |= load_word(source_.at_hand().data()) >> count_;
    source_.skip((63 - count_) / 8);
    count_ |= 56;
    return true;
  }
  size_t GetBit() {
    const size_t bit = peek(1);
    drop(1);
    return bit;
  }
  size_t peek(unsigned count) const { return static_cast<size_t>(bits_ >> (64 - count)); }
  void drop(unsigned count) {
    bits_ <<= count;
    count_ -= count;
  }

  /// Bytes of which bits were taken, those past the end included.
  uint64_t used() const { return source_.consumed() + zeros_ - count_ / 8; }
  /// Whether bits were taken that the input does not hold.
  bool past_end() const { return 8 * zeros_ > count_; }

 private:
  bool refill_bytewise() {
    for (; count_ <= 56; count_ += 8) {
      if (source_.at_end()) {
        ++zeros_;
      } else {
        bits_ |= uint64_t{source_.get()} << (56 - count_);
      }
    }
    return zeros_ == 0;
  }

  byte_source& source_;
  uint64_t bits_ = 0;  ///< the next bit is the highest
  unsigned count_ = 0;
  uint64_t zeros_ = 0;  ///< bytes past the end
};

}  // namespace kestrel
