// The embedded controller's version. The firmware table is compared in tests/machines.
#include <gtest/gtest.h>

#include "probes/smapi.h"

namespace kestrel {
namespace {

TEST(Smapi, EmbeddedControllerVersion) {
  auto version = [](uint32_t eax, uint32_t ecx, uint32_t edx, size_t size = 16) {
    std::string buffer(size, '#');
    _SMAPI_REGS registers{.eax = eax, .ebx = 6, .ecx = ecx, .edx = edx};
    return std::string(parse_h8_version(registers, buffer.data(), static_cast<int>(size)));
  };
  EXPECT_EQ(version(0x0001, 0x0A05, 0x4142), "10.05");
  EXPECT_EQ(version(0x0000, 0x3141, 0x3042), "1.A0B");
  EXPECT_EQ(version(0x0000, 0x3141, 0x10000), "1.A");
  EXPECT_EQ(version(0x0000, 0x3141, 0), "1.A");
  EXPECT_EQ(version(0x8601, 0x0A05, 0), "");  // failed
  EXPECT_EQ(version(0x0001, 0x0A05, 0, 4), "10.");
  _SMAPI_REGS untouched{.eax = 1, .ebx = 2, .ecx = 3, .edx = 4};
  EXPECT_FALSE(call_SMAPI(&untouched));
  EXPECT_EQ(untouched.ecx, 3u);
}

}  // namespace
}  // namespace kestrel
