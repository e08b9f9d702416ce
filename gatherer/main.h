// The run sequence, from configured settings to the return code.
#pragma once

namespace kestrel {

/// Configures the program, reads the arguments and runs; the result is the exit status.
int wmain(int argc, const wchar_t** argv);
/// Gathers, lists the probes (does not return) or shows the help (does not return).
int gatherer_run(int argc, const wchar_t** argv);
/// Prints the ids of the probes that would run and ends the program: 0, or 1 when standard output
/// failed.
[[noreturn]] void gatherer_list_probes();
/// Starts the debug log when it is asked for, and records the arguments for the self-report.
void gatherer_debug(int argc, const wchar_t** argv);

}  // namespace kestrel
