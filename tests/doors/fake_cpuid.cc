// See fake_cpuid.h.
#include "tests/doors/fake_cpuid.h"

#include "lib/cpuid_linux.h"

namespace kestrel {

played_cpu& fake_cpu() {
  static played_cpu cpu;
  return cpu;
}

bool cpuid(uint32_t leaf, uint32_t& eax, uint32_t& ebx, uint32_t& ecx, uint32_t& edx) {
  if (!fake_cpu().is_x86) return false;
  auto found = fake_cpu().leaves.find(leaf);
  std::array<uint32_t, 4> registers = {};
  if (found != fake_cpu().leaves.end()) registers = found->second;
  eax = registers[0];
  ebx = registers[1];
  ecx = registers[2];
  edx = registers[3];
  return true;
}

}  // namespace kestrel
