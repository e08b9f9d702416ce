// Texts that firmware leaves in the BIOS area, the 65536 bytes at physical address 0xF0000.
#pragma once

#include <optional>
#include <string>

#include "lib/cursor.h"

namespace kestrel {

/// The first printable text there that looks like a version ("Ver", "Rev", "v1" ... around a dotted
/// number); nothing when there is none or the area cannot be read.
std::optional<std::string> get_bios_version();

/// The same over any bytes.
std::optional<std::string> find_bios_version(byte_span area);

}  // namespace kestrel
