// The machine's memory in numbers: what /proc/meminfo says, and the values derived from it.
#pragma once

#include <cstdint>
#include <string_view>

namespace kestrel {

/// Values of /proc/meminfo (proc(5)) in kilobytes of 1024 bytes, 0 where the kernel does not tell
/// them.
struct memory_handle_struct {
  uint64_t total = 0;
  uint64_t free = 0;
  uint64_t buffers = 0;
  uint64_t cached = 0;
  uint64_t swap_total = 0;
  uint64_t swap_free = 0;
};

/// All zero when /proc/meminfo cannot be read.
memory_handle_struct mem_get_info();
/// Takes a line of that file; one with another key changes nothing.
void parse_meminfo(std::string_view line, memory_handle_struct& info);

/// Each value in kilobytes, in bytes, and as text ("512 MB") in a buffer of `size`, which is
/// returned. What the kernel could take back at once (buffers and cache) counts as free. What is
/// used is the total less the free part, 0 where the parts exceed the total.
uint64_t mem_get_total(const memory_handle_struct& info);
uint64_t mem_get_total_bytes(const memory_handle_struct& info);
char* mem_get_total(const memory_handle_struct& info, char* out, int size);
uint64_t mem_get_free(const memory_handle_struct& info);
uint64_t mem_get_free_bytes(const memory_handle_struct& info);
char* mem_get_free(const memory_handle_struct& info, char* out, int size);
uint64_t mem_get_used(const memory_handle_struct& info);
uint64_t mem_get_used_bytes(const memory_handle_struct& info);
char* mem_get_used(const memory_handle_struct& info, char* out, int size);
uint64_t mem_get_swap_total(const memory_handle_struct& info);
uint64_t mem_get_swap_total_bytes(const memory_handle_struct& info);
char* mem_get_swap_total(const memory_handle_struct& info, char* out, int size);
uint64_t mem_get_swap_free(const memory_handle_struct& info);
uint64_t mem_get_swap_free_bytes(const memory_handle_struct& info);
char* mem_get_swap_free(const memory_handle_struct& info, char* out, int size);
uint64_t mem_get_swap_used(const memory_handle_struct& info);
uint64_t mem_get_swap_used_bytes(const memory_handle_struct& info);
char* mem_get_swap_used(const memory_handle_struct& info, char* out, int size);

/// Percent in use; 0 where the total is below 100 kB. The text ends in '%' and stands in `out`,
/// which is returned.
unsigned mem_get_memory_load(const memory_handle_struct& info);
char* mem_get_memory_load(const memory_handle_struct& info, char* out, int size);
unsigned mem_get_swap_load(const memory_handle_struct& info);
char* mem_get_swap_load(const memory_handle_struct& info, char* out, int size);

}  // namespace kestrel
