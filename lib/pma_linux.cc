// The door to physical memory; test programs link another body for it.
#include "lib/pma_linux.h"

#include "lib/debug.h"
#include "lib/pma.h"

namespace kestrel {

bool copy_physical_memory(unsigned long address, [[maybe_unused]] void* buffer,
                          [[maybe_unused]] int length) {
#if defined(__i386__) || defined(__x86_64__)
  return copy_mapped_range("/dev/mem", address, buffer, length);
#else
  // There is no BIOS area elsewhere, and an address that nothing answers to would end the program.
  printd("pma: no physical memory at %08lx on this processor\n", address);
  return false;
#endif
}

}  // namespace kestrel
