// The fixed prefix code for the upper six bits of a match position, as four tables. Only the lzh
// sources include this.
#pragma once

#include <array>
#include <cstdint>

namespace kestrel {

/// Lengths in bits and left-aligned codes by value (p_), values and lengths by first byte (d_).
struct position_code {
  std::array<uint8_t, 64> p_len{}, p_code{};
  std::array<uint8_t, 256> d_code{}, d_len{};
};

/// The canonical code: given out in rising order of values, the shorter codes first, each
/// left-aligned in a byte. The decoder's tables tell for each byte whose code it begins with.
constexpr position_code make_position_code() {
  constexpr unsigned k_values_of_length[] = {0, 0, 0, 1, 3, 8, 12, 24, 16};
  position_code code;
  unsigned value = 0, next = 0;
  for (unsigned length = 3; length <= 8; ++length) {
    for (unsigned i = 0; i < k_values_of_length[length]; ++i, ++value) {
      code.p_len[value] = static_cast<uint8_t>(length);
      code.p_code[value] = static_cast<uint8_t>(next);
      for (const unsigned end = next + (256U >> length); next < end; ++next) {
        code.d_code[next] = static_cast<uint8_t>(value);
        code.d_len[next] = static_cast<uint8_t>(length);
      }
    }
  }
  return code;
}

/// The code, and its tables under the coder's names.
inline constexpr position_code k_position_code = make_position_code();
inline constexpr const auto& Fixp_len = k_position_code.p_len;
inline constexpr const auto& Fixp_code = k_position_code.p_code;
inline constexpr const auto& Fixd_code = k_position_code.d_code;
inline constexpr const auto& Fixd_len = k_position_code.d_len;

}  // namespace kestrel
