// The door to physical memory; test programs link another body for it.
#include "lib/pma_linux.h"

#include "lib/pma.h"

namespace kestrel {

bool copy_physical_memory(unsigned long address, void* buffer, int length) {
  return copy_mapped_range("/dev/mem", address, buffer, length);
}

}  // namespace kestrel
