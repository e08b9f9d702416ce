// See decode.h.
#include "lib/decode.h"

namespace kestrel {

const char* name_of(std::span<const code_name> table, uint32_t code, const char* fallback) {
  for (const code_name& row : table) {
    if (row.code == code) return row.name;
  }
  return fallback;
}

std::string names_of(std::span<const mask_name> table, uint32_t bits, const char* none,
                     const char* separator) {
  std::string text;
  for (const mask_name& row : table) {
    if ((bits & row.mask) == 0) continue;
    if (!text.empty()) text += separator;
    text += row.name;
  }
  return text.empty() ? none : text;
}

}  // namespace kestrel
