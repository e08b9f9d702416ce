// The door to the processor's identification instruction.
#pragma once

#include <cstdint>

namespace kestrel {

/// Executes CPUID for a leaf (subleaf 0). False, and the registers untouched, only where the
/// processor is no x86 and has no such instruction. Leaves: Intel 64 and IA-32 Architectures
/// Software Developer's Manual, volume 2.
bool cpuid(uint32_t leaf, uint32_t& eax, uint32_t& ebx, uint32_t& ecx, uint32_t& edx);

}  // namespace kestrel
