// Everything the user sees: progress text, banner, usage and the consent prompt.
#pragma once

#include <cstdarg>
#include <string>

namespace kestrel {

/// Prints on standard error, and into the debug log behind "console: ". Nothing when silent.
int printm(const char* format, ...) __attribute__((format(printf, 1, 2)));

/// Title, version and legal texts; nothing when silent.
void gatherer_banner();
/// Banner and usage; ends the program with status 1.
[[noreturn]] void gatherer_help(const wchar_t* program);
/// Asks for consent. 0 agreed or, in batch and silent runs, not asked, -1 declined (the end of
/// input declines).
int gatherer_disclaimer();

/// Reads one answer line from standard input and returns its first character, the newline for an
/// empty line, -1 at the end of input or when the run is asked to stop. Longer lines are drained.
int read_answer();

/// Notes a failed write: one line "path: text of errnum", shown behind the status word of the task
/// that runs now.
void report_file_error(const char* path, int errnum);
void report_file_error(const char* path, const char* text);
/// Shows what was noted since the last call.
void print_file_errors();

/// What `report_file_error` says of a file that is left under another name than the one it is for.
std::string kept_here_text(const char* name, const char* reason);

/// Notes the file that holds what was gathered; not copied. The last one counts.
void note_kept(const char* name);
/// Tells that the run was stopped, by which signal, and where its results are.
void print_stopped();

}  // namespace kestrel
