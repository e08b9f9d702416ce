// What a user must be told although the run goes on: a limit cut something short, a server or a
// device did not answer. The task that runs tells it behind its status word.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace kestrel {

/// Adds the line "subject: text" once, to the debug log now and to the console behind the status
/// word of the task that runs. A line that is there already is not added again.
void add_notice(std::string_view subject, std::string_view text);

/// The lines added since the last call, without newline.
std::vector<std::string> take_notices();

}  // namespace kestrel
