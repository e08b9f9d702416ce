// See bios.h. Firmware has no common place for its version, so this looks for what people write: a
// digit, a dot, a digit, inside a stretch of text that also says "Ver", "Rev", "Rel" or "v1".
#include "lib/bios.h"

#include <algorithm>
#include <string_view>
#include <vector>

#include "lib/ascii.h"
#include "lib/debug.h"
#include "lib/pma_linux.h"

namespace kestrel {

namespace {

constexpr const char* k_markers[] = {"Ver", "Rev", "Rel", "v0",  "v1",  "v2",  "v3",  "v4",
                                     "v5",  "v6",  "v7",  "v8",  "v9",  "v 0", "v 1", "v 2",
                                     "v 3", "v 4", "v 5", "v 6", "v 7", "v 8", "v 9"};

// Control characters, everything from 0x80 up, and '$' part one text from the next.
bool is_boundary(unsigned char byte) { return byte < 32 || byte >= 0x80 || byte == '$'; }

bool has_marker(std::string_view text) {
  return std::any_of(std::begin(k_markers), std::end(k_markers), [&](const char* marker) {
    return text.find(marker) != std::string_view::npos;
  });
}

size_t next_boundary(byte_span area, size_t from) {
  while (from < area.size() && !is_boundary(area[from])) ++from;
  return from;
}

}  // namespace

std::optional<std::string> find_bios_version(byte_span area) {
  size_t start = 0;  // the last boundary before the dot; one at 0 does not count
  size_t end = 0;    // the first boundary behind it, kept while dots of the same text follow
  bool rejected = false;
  for (size_t dot = 2; dot + 1 < area.size(); ++dot) {
    if (is_boundary(area[dot - 2])) start = dot - 2;
    if (area[dot] != '.') continue;
    printd("bios: dot found at offset %x\n", static_cast<unsigned>(dot));
    if (!is_ascii_digit(area[dot - 1]) || !is_ascii_digit(area[dot + 1])) continue;
    printd("bios: number dot number found at %x\n", static_cast<unsigned>(dot));
    if (start == 0) continue;
    printd("bios: Start found at %x\n", static_cast<unsigned>(start));
    if (end < dot) {
      end = next_boundary(area, dot + 2);
      rejected = end == area.size();
    }
    if (rejected) continue;
    // The boundary that ends the text stays in it unless it is a NUL, on purpose.
    const std::string text = text_field(area.subspan(start + 1, end - start));
    if (has_marker(text)) return text;
    rejected = true;
  }
  return std::nullopt;
}

std::optional<std::string> get_bios_version() {
  printd("bios: scanning for bios version\n");
  std::vector<unsigned char> area(k_bios_area_size);
  if (!copy_physical_memory(k_bios_area, area.data(), k_bios_area_size)) return std::nullopt;
  return find_bios_version(area);
}

}  // namespace kestrel
