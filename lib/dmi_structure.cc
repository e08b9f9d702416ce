// One SMBIOS structure: where it ends, its fields and its strings. See dmi.h.
#include <algorithm>

#include "lib/dmi.h"

namespace kestrel {

namespace {

constexpr unsigned k_header_size = 4;
constexpr unsigned k_type_without_strings = 5;
// Firmware text is read with the length as a signed byte.
constexpr unsigned k_longest_before_strings = 127;

bool is_zero_word(byte_span bytes, size_t offset) {
  cursor at(bytes, offset);
  return at.get_u16() == 0 && !at.failed();
}

}  // namespace

unsigned Dmi::getLengthOfStructure(byte_span rest) {
  const smbios_structure header(rest);
  const unsigned formatted = header.length();
  if (formatted < k_header_size || formatted > rest.size()) return 0;
  if (header.type() == k_type_without_strings) {
    return is_zero_word(rest, formatted) ? formatted + 2 : formatted;
  }
  for (size_t end = formatted; end + 2 <= rest.size(); ++end) {
    if (is_zero_word(rest, end)) return static_cast<unsigned>(end + 2);
  }
  return 0;
}

/// Stands at the field, and ends where the formatted area does.
cursor smbios_structure::field(unsigned offset) const {
  return cursor(bytes_.first(std::min<size_t>(length(), bytes_.size())), offset);
}

bool smbios_structure::has(unsigned offset, unsigned width) const {
  const cursor at = field(offset);
  return !at.failed() && width <= at.left();
}

std::string smbios_structure::string(unsigned number) const {
  if (number == 0 || length() > k_longest_before_strings || length() >= bytes_.size()) return "";
  byte_span strings = bytes_.subspan(length());
  while (!strings.empty() && strings.front() != 0) {
    const auto end = std::find(strings.begin(), strings.end(), 0);
    if (--number == 0) return {strings.begin(), end};
    if (end == strings.end()) break;
    strings = strings.subspan(static_cast<size_t>(end - strings.begin()) + 1);
  }
  return "";
}

std::string Dmi::getString(int number, const smbios_structure& structure) {
  return number < 0 ? "" : structure.string(static_cast<unsigned>(number));
}

std::string Dmi::getArchitectedString(int number, const smbios_structure& structure) {
  constexpr size_t k_longest = 64;
  std::string text = getString(number, structure).substr(0, k_longest);
  const size_t open = text.find("-[");
  if (open == std::string::npos) return text;
  const size_t close = text.find("]-", open + 2);
  if (close == std::string::npos) return text;
  const std::string inner = text.substr(open + 2, close - open - 2);
  return inner.substr(0, inner.find('-'));
}

}  // namespace kestrel
