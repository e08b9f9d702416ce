// The processor that the program runs on, as its identification instruction describes it: one
// section with its name and its feature flags. Nothing is read from the operating system.
#pragma once

#include <array>
#include <cstdint>

#include "gatherer/probe.h"

namespace kestrel {

/// What identifies a processor. In a row of the name table, and in what is looked up, k_any matches
/// everything.
struct cpu_signature {
  static constexpr int k_any = -1;
  int type = k_any;
  int family = k_any;
  int extended_family = k_any;
  int model = k_any;
  int extended_model = k_any;
  int stepping = k_any;
};

/// Splits register EAX of CPUID leaf 1 (Intel 64 and IA-32 Architectures Software Developer's
/// Manual, volume 2). The type has 4 bits here, of which the upper two are reserved.
cpu_signature parse_cpu_signature(uint32_t eax);
/// The 12 characters of leaf 0 and a terminator.
std::array<char, 13> cpu_vendor_text(uint32_t ebx, uint32_t ecx, uint32_t edx);

/// The section of the processor: one row with its names, one row a feature flag.
class cpu_probe : public probe_task {
 public:
  using probe_task::probe_task;
  /// False where the processor is no x86.
  bool test() override;
  bool run(FILE* fp) override;

  /// Sets the three names to literals: "Unknown" for a family or model that the vendor's table does
  /// not have. An unknown vendor leaves them as they are. `vendor` is the text of leaf 0.
  static void get_display_strings(const char* vendor, const cpu_signature& cpu,
                                  const char** vendor_name, const char** family_name,
                                  const char** model_name);
};

}  // namespace kestrel
