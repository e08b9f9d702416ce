// The door to physical memory.
#pragma once

namespace kestrel {

/// The last 64 KB below 1 MB, where DSP0134 has the entry point of the firmware's tables searched
/// for.
inline constexpr unsigned long k_bios_area = 0xF0000;
inline constexpr int k_bios_area_size = 0x10000;  ///< bytes

/// Copies `length` bytes at the physical `address` through /dev/mem. False, and the buffer
/// untouched, when they cannot be read; the debug log says why.
bool copy_physical_memory(unsigned long address, void* buffer, int length);

}  // namespace kestrel
