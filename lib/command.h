// Shell commands whose output a probe reads. The child has /dev/null as standard input and standard
// error, and a process group of its own; past the deadline or the output limit (256 MB) the whole
// group is killed, which ends the stream: the rows read so far stay, and the debug log says so.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <cstdio>
#include <string>

namespace kestrel {

/// Seconds that a command may take, 0 for no limit; 600 at start.
void set_command_timeout(unsigned seconds);
unsigned get_command_timeout();  ///< that of the next command

/// Kills the process group of the command that is running now, if any. Async-signal-safe.
void kill_running_command();

/// A wait status in the terms of the debug lines.
struct command_result {
  int status = -1;         ///< raw wait status, -1 when there is none
  bool exited = false;     ///< the command ended by itself
  int exit_code = -1;      ///< its exit code, when it did
  bool signalled = false;  ///< it was ended by a signal
  int signal = 0;          ///< which one
  bool cut_short = false;  ///< we ended it: deadline or output limit
  bool succeeded() const { return exited && exit_code == 0; }
};

/// A running command as `popen(command, "r")` starts it (/bin/sh -c), owned by this object.
class command_stream {
 public:
  /// Starts `command`; a `timeout` in seconds holds where it is shorter than the general limit.
  /// On failure `is_open` is false and errno tells why.
  explicit command_stream(const char* command, int timeout = 0);
  command_stream(const command_stream&) = delete;
  command_stream& operator=(const command_stream&) = delete;
  ~command_stream();

  bool is_open() const { return stream_ != nullptr; }
  /// The command's standard output; owned by this object, null when not open. Never blocks past the
  /// deadline.
  FILE* stream() const { return stream_; }
  /// Closes the stream, waits for the command and ends what it left running in its group. At the
  /// deadline it is killed; one that hangs in the kernel is left behind a second later, with status
  /// -1.
  command_result close();

 private:
  static ssize_t read_output(void* self, char* buffer, size_t size);
  ssize_t read_some(char* buffer, size_t size);
  bool wait_for_end();
  int milliseconds_left() const;
  void cut_short(const char* reason);

  std::string command_;
  FILE* stream_ = nullptr;
  int pipe_ = -1;
  pid_t child_ = -1;
  int64_t deadline_ = 0;
  uint64_t bytes_ = 0;
  bool cut_ = false;
};

/// Runs `command` and reads its first line (without its newline) into `line`, "" when it has none.
/// The status is -1 when the command could not be started.
command_result first_line_of(const char* command, std::string& line, int timeout = 0);

}  // namespace kestrel
