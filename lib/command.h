// Shell commands whose output a probe reads. The child has /dev/null as standard input and standard
// error, no other descriptor, no terminal, default signals, and the environment of command_path.h;
// past the deadline or the output limit (256 MB), and when the run is asked to end, the command is
// ended, which ends the stream: the rows read so far stay, and a notice says so.
//
// What a command started ends with it, in whatever group or session it is, and all of it ends with
// the run, also when that is killed. Left behind is only what hangs in the kernel, what runs as
// another user without our being root, what a service of the system started for it; and, before
// Linux 3.4 or when the keeper (keeper_process.h) is killed by its own number, what left its group.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>

#include "lib/command_limits.h"

namespace kestrel {

/// Kills the process group of the command that is running now, if any. Async-signal-safe.
void kill_running_command();

/// Why we ended a command.
enum class command_cut { none, deadline, output, stop };

/// A wait status in the terms of the debug lines.
struct command_result {
  int status = -1;         ///< raw wait status, -1 when there is none
  bool exited = false;     ///< the command ended by itself
  int exit_code = -1;      ///< its exit code, when it did
  bool signalled = false;  ///< it was ended by a signal
  int signal = 0;          ///< which one
  command_cut cut = command_cut::none;
  int seconds = 0;  ///< its limit, 0 for none
  bool succeeded() const { return exited && exit_code == 0; }
  bool was_cut() const { return cut != command_cut::none; }
};

/// Tells by a notice what a limit cut: "subject: stopped after 600 s, 607 rows". Nothing for other
/// results.
void tell_cut(const command_result& result, std::string_view subject, size_t rows);

/// A running command as `popen(command, "r")` starts it (/bin/sh -c), owned by this object. One at
/// a time.
class command_stream {
 public:
  /// Starts `command`. A `timeout` in seconds holds where it is shorter than the other limits of
  /// `tool` (null: the command's first word), see command_limits.h. On failure `is_open` is false
  /// and errno tells why: EINTR when the run was asked to end.
  explicit command_stream(const char* command, int timeout = 0, const char* tool = nullptr);
  command_stream(const command_stream&) = delete;
  command_stream& operator=(const command_stream&) = delete;
  ~command_stream();

  bool is_open() const { return stream_ != nullptr; }
  /// The command's standard output; owned by this object, null when not open. Never blocks past the
  /// deadline.
  FILE* stream() const { return stream_; }
  /// The lines that it gave so far.
  size_t lines() const { return lines_; }
  /// Closes the stream, waits for the command and ends what it left running. At the deadline it is
  /// killed; one that hangs in the kernel is left behind a second later, with status -1.
  command_result close();
  /// The same, and tells when it was cut: `subject` is the table, which got `rows`.
  command_result finish(std::string_view subject, size_t rows);

 private:
  static ssize_t read_output(void* self, char* buffer, size_t size);
  ssize_t read_some(char* buffer, size_t size);
  bool wait_for(int descriptor);
  std::chrono::milliseconds time_left() const;
  void cut_short(command_cut why);

  std::string command_, tool_;
  FILE* stream_ = nullptr;
  int pipe_ = -1;
  pid_t child_ = -1;
  int seconds_ = 0;
  std::chrono::steady_clock::time_point start_;
  uint64_t bytes_ = 0;
  size_t lines_ = 0;
  command_cut cut_ = command_cut::none;
};

/// Runs `command` and reads its first line (without its newline) into `line`, "" when it has none.
/// The status is -1 when the command could not be started.
command_result first_line_of(const char* command, std::string& line, int timeout = 0,
                             const char* tool = nullptr);

}  // namespace kestrel
