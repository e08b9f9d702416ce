// Executes the instruction where the processor has it; elsewhere nothing is known. Test programs
// link another body for it.
#include "lib/cpuid_linux.h"

#if defined(__x86_64__) || defined(__i386__)
#include <cpuid.h>
#endif

namespace kestrel {

#if defined(__x86_64__) || defined(__i386__)
bool cpuid(uint32_t leaf, uint32_t& eax, uint32_t& ebx, uint32_t& ecx, uint32_t& edx) {
  __cpuid_count(leaf, 0, eax, ebx, ecx, edx);
  return true;
}
#else
bool cpuid(uint32_t, uint32_t&, uint32_t&, uint32_t&, uint32_t&) { return false; }
#endif

}  // namespace kestrel
