// Walks the tables: finds the name of a code, and joins the names of the bits that are set, with a
// name for a bit that has none and for no bit at all.
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

std::string bit_names(std::span<const mask_name> table, uint32_t bits, const char* unnamed) {
  std::string text;
  for (uint32_t bit = 1; bit != 0; bit <<= 1) {
    if ((bits & bit) == 0) continue;
    if (!text.empty()) text += ", ";
    text += names_of(table, bit, unnamed);
  }
  return text.empty() ? "None" : text;
}

}  // namespace kestrel
