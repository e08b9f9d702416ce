// A text that only grows at its end and keeps its memory when it is cleared. The report's lines are
// made in one: a row is a few dozen short pieces, and there may be a million rows.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <memory>
#include <string_view>
#include <utility>

namespace kestrel {

/// What `view` and `room` return is valid until the next change.
class text_buffer {
 public:
  std::string_view view() const { return {bytes_.get(), size_}; }
  void clear() { size_ = 0; }

  text_buffer& operator+=(char c) {
    *room(1) = c;
    ++size_;
    return *this;
  }
  text_buffer& operator+=(std::string_view text) {
    if (!text.empty()) std::memcpy(room(text.size()), text.data(), text.size());
    size_ += text.size();
    return *this;
  }
  /// The other's text, which is mostly short: copying a block of fixed size, some of it in vain, is
  /// what costs least. Every buffer with a text in it is larger than such a block.
  text_buffer& operator+=(const text_buffer& other) {
    if (other.size_ > k_block) return *this += other.view();
    if (other.size_ != 0) std::memcpy(room(k_block), other.bytes_.get(), k_block);
    size_ += other.size_;
    return *this;
  }
  void append(size_t count, char c) {
    if (count != 0) std::memset(room(count), c, count);
    size_ += count;
  }

  /// Where the next `count` bytes may be written; `end_at` keeps those in front of `end`.
  char* room(size_t count) {
    if (capacity_ - size_ < count) grow(count);
    return bytes_.get() + size_;
  }
  void end_at(const char* end) { size_ = static_cast<size_t>(end - bytes_.get()); }

 private:
  static constexpr size_t k_block = 64;
  static constexpr size_t k_smallest = 256;

  void grow(size_t count) {
    capacity_ = std::max(size_ + count, std::max(2 * capacity_, k_smallest));
    auto bytes = std::make_unique_for_overwrite<char[]>(capacity_);
    if (size_ != 0) std::memcpy(bytes.get(), bytes_.get(), size_);
    bytes_ = std::move(bytes);
  }

  std::unique_ptr<char[]> bytes_;
  size_t size_ = 0;
  size_t capacity_ = 0;
};

}  // namespace kestrel
