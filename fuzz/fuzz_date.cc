// The date parser with any hint: the first four bytes are the hint, the rest is the text.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "lib/date.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  uint32_t hint = 0;
  if (size < sizeof hint) return 0;
  std::memcpy(&hint, data, sizeof hint);
  const std::string text(reinterpret_cast<const char*>(data) + sizeof hint, size - sizeof hint);
  kestrel::gathered_datetime value;
  value.setDate(text.c_str(), hint);
  if (std::strcmp(value.altstring(), text.c_str()) != 0) std::abort();
  const bool in_range = value.year != 0 && value.month - 1 < 12 && value.day - 1 < 31 &&
                        value.hour <= 24 && value.minute <= 60 && value.second <= 60;
  if (value.is_valid() && !in_range) std::abort();
  value.format();
  return 0;
}
