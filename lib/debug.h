// The debug log: a trace of what every module does, off unless the user asks for it.
// In file mode the log is opened, written and closed for every call, so that a crash in the middle
// of a probe loses nothing; stream mode keeps one stream open for long runs.
#pragma once

#include <cstdarg>
#include <cstdio>
#include <functional>
#include <string_view>

namespace kestrel {

/// True while any log target is on. Use it to guard arguments that cost something to build.
bool is_logging();

/// Turns file mode on and truncates the file. At most 4095 bytes of `path` are kept. The file is
/// created with mode 0600 and never through a symbolic link. An unopenable file is fatal.
void enable_log_to_file(const char* path);
void disable_log_to_file();  ///< the file stays
/// Opens `path` for writing and keeps it open; fatal when it cannot be opened.
void enable_log_to_stream(const char* path);
/// In a child process whose parent writes the log: every piece goes to `take` instead. `seconds` of
/// the processor's time, used before, are added to the time stamps.
void redirect_log(std::function<void(std::string_view text)> take, double seconds);

/// Writes one log line or a fragment of one. A time stamp (processor seconds) precedes the first
/// fragment of a line; a line ends where a *format* ends in a newline. Returns the characters
/// written, 0 with logging off.
int printd(const char* format, ...) __attribute__((format(printf, 1, 2)));

/// Write to the targets that are open now, without opening or closing anything.
int printd_noflush(const char* format, ...) __attribute__((format(printf, 1, 2)));
int vprintd_noflush(const char* format, va_list arguments) __attribute__((format(printf, 1, 0)));

/// One line preceded by local date and time ("Tue Nov 24 22:19:00 ").
int print_with_time(const char* format, ...) __attribute__((format(printf, 1, 2)));

/// Logs "what (errnum): text of the error".
int print_error(const char* what, int errnum);

/// Dumps `length` bytes, 16 a row. `prefix` stands in front of each row and may be null. With
/// `c_array` the dump is C source.
void print_hexdump(const char* title, const void* data, int length, const char* prefix,
                   bool c_array = false);

/// Logs the message, tells it on standard error and aborts the process.
[[noreturn]] void internal_error(const char* format, ...) __attribute__((format(printf, 1, 2)));

/// The steps of which one logged call consists; `printm` and the dumps write several pieces
/// between them.
void open_log_file();
void truncate_log_file();
void close_and_flush_log_file();

}  // namespace kestrel
