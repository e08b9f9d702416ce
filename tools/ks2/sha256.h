// SHA-256 (FIPS 180-4) and base64 (RFC 4648): with them a page names the only script and style that
// a browser may run on it.
#pragma once

#include <array>
#include <string>
#include <string_view>

namespace kestrel::ks2 {

using sha256_digest = std::array<unsigned char, 32>;

sha256_digest sha256(std::string_view bytes);

std::string base64(std::string_view bytes);

}  // namespace kestrel::ks2
