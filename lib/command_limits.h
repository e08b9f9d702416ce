// How long the commands of a run may take: what hung once is not waited for again as long, and all
// of them together have an end.
#pragma once

#include <chrono>
#include <string>

namespace kestrel {

/// Seconds that a command may take, 0 for no limit; 600 at start. Forgets what was noted.
void set_command_timeout(unsigned seconds);
unsigned get_command_timeout();  // for the tests; no program calls it

/// The tool of a command that names none: its first word behind an export, without
/// folders.
std::string tool_of(const std::string& command);

/// Seconds that the next command of `tool` gets, 0 for no limit: `own` (0: none) or the general
/// limit, whichever is shorter. A tool that ran into its limit gets 5, after three times 1, a
/// look-up by `which` at once. All commands of the run have half an hour together (three times the
/// general limit, where that is longer, and no end without one); then each of the others gets 5.
int seconds_for(const std::string& tool, int own);

/// Notes what a command took, and whether it ran into its limit.
void note_command(const std::string& tool, std::chrono::milliseconds time, bool ran_into_limit);

}  // namespace kestrel
