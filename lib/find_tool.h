// Whether a tool that a probe needs is installed.
#pragma once

#include <optional>
#include <string>

namespace kestrel {

/// What a look-up may take in seconds; a shell that has found nothing by then hangs.
inline constexpr int k_look_up_seconds = 5;

/// Where the shell finds `tool`, as `which` tells it; nothing when it does not. The debug lines
/// begin with the tool's name. `table` is what is missing when the look-up hangs.
std::optional<std::string> find_tool(const char* tool, const char* table);

}  // namespace kestrel
