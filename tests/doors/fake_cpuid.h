// Plays the processor for test programs.
#pragma once

#include <array>
#include <cstdint>
#include <map>

namespace kestrel {

struct played_cpu {
  bool is_x86 = true;
  std::map<uint32_t, std::array<uint32_t, 4>> leaves;  ///< EAX, EBX, ECX, EDX; zeros for others
};
/// The processor of this test program; assign `{}` to start anew.
played_cpu& fake_cpu();

}  // namespace kestrel
