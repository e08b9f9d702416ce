// Values as JSON.
#pragma once

#include <string>
#include <string_view>

#include "tools/ks2/report_text.h"
#include "tools/ks2/terminal.h"

namespace kestrel::ks2 {

/// The text as a JSON string, quotes included. Control and other unsafe characters are escaped,
/// bytes that are no UTF-8 become U+FFFD.
std::string json_string(std::string_view text);
/// Writes the text as such a string.
void write_json_string(report_text text, text_output& out);
/// Whether JSON takes the digits as a number, and every reader as the same one (15 digits at most:
/// many keep numbers as doubles).
bool is_json_integer(std::string_view digits);

}  // namespace kestrel::ks2
