// The look-ups that serve every decoder of the system: a code with a name, and a bit field whose
// set bits have names. The tables themselves are constexpr arrays beside the code that needs
// them.
#pragma once

#include <cstdint>
#include <span>
#include <string>

namespace kestrel {

/// A value of a field and the words that stand for it.
struct code_name {
  uint32_t code;
  const char* name;
};

/// A bit of a field, or several, and the words that stand for them.
struct mask_name {
  uint32_t mask;
  const char* name;
};

/// The name of `code`, or `fallback` when the table does not have it.
const char* name_of(std::span<const code_name> table, uint32_t code, const char* fallback);

/// The names of all rows whose mask shares a bit with `bits`, in table order, joined with
/// `separator`; `none` when there is no such row.
std::string names_of(std::span<const mask_name> table, uint32_t bits, const char* none = "None",
                     const char* separator = ", ");

/// The names of all set bits from the lowest up, joined with ", "; a bit that no row names is
/// called `unnamed`; "None" when no bit is set. Each mask of the table is one bit.
std::string bit_names(std::span<const mask_name> table, uint32_t bits, const char* unnamed);

}  // namespace kestrel
