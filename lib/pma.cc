// See pma.h. The kernel may refuse any part of physical memory (system RAM on most builds), so
// every failure is only traced.
#include "lib/pma.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstring>

#include "lib/debug.h"

namespace kestrel {

namespace {

// A recorded machine's memory is a regular file: mapping past its end succeeds, reading dies.
bool is_past_end(int file, uint64_t address, uint64_t length) {
  struct stat status;
  if (fstat(file, &status) == -1 || !S_ISREG(status.st_mode)) return false;
  const auto size = static_cast<uint64_t>(status.st_size);
  return length > size || address > size - length;
}

bool copy_range(int file, unsigned long address, void* buffer, size_t length, size_t alignment) {
  if (is_past_end(file, address, length)) {
    printd("pma: recorded memory ends inside that range\n");
    return false;
  }
  const size_t map_length = length + alignment;
  void* mapping = mmap(nullptr, map_length, PROT_READ, MAP_PRIVATE, file,
                       static_cast<off_t>(address - alignment));
  if (mapping == MAP_FAILED) {
    print_error("mmmap /dev/mem", errno);
    return false;
  }
  std::memcpy(buffer, static_cast<const unsigned char*>(mapping) + alignment, length);
  if (munmap(mapping, map_length) == -1) print_error("munmap", errno);
  return true;
}

}  // namespace

bool copy_mapped_range(const char* path, unsigned long address, void* buffer, int length) {
  printd("pma: copying %d bytes from %#lx\n", length, address);
  if (length < 0) return false;
  const int file = open(path, O_RDONLY | O_CLOEXEC);
  if (file == -1) print_error(path, errno);

  const auto page_size = static_cast<size_t>(sysconf(_SC_PAGESIZE));
  const size_t alignment = address % page_size;
  const auto size = static_cast<size_t>(length);
  printd("pma: offset %#08x length %u align %u pagesize %u\n",
         static_cast<unsigned>(address - alignment), static_cast<unsigned>(size + alignment),
         static_cast<unsigned>(alignment), static_cast<unsigned>(page_size));
  if (file == -1) return false;

  const bool copied = copy_range(file, address, buffer, size, alignment);
  if (close(file) == -1) print_error("close /dev/mem", errno);
  return copied;
}

}  // namespace kestrel
