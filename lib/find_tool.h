// Whether a tool that a probe needs is installed.
#pragma once

#include <optional>
#include <string>

namespace kestrel {

/// Where the shell finds `tool`, as `which` tells it; nothing when it does not. The debug lines
/// begin with the tool's name.
std::optional<std::string> find_tool(const char* tool);

}  // namespace kestrel
