// Copies a range out of a file that stands for physical memory by mapping it read-only.
#pragma once

namespace kestrel {

/// Copies `length` bytes at offset `address` of `path` into `buffer`. False, and the buffer
/// untouched, when the file cannot be opened or mapped, or is a regular file that ends before the
/// range does; the debug log says why.
bool copy_mapped_range(const char* path, unsigned long address, void* buffer, int length);

}  // namespace kestrel
