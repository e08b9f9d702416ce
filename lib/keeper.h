// A run's side of the process that starts its commands and ends what they leave: see
// keeper_process.h.
#pragma once

#include <sys/types.h>

#include <string>

#include "lib/keeper_process.h"

namespace kestrel {

/// The keeper of this process's commands, one of which runs at a time. It is started with the first
/// command, and again should it have died. Calls wait for it as long as only a hang takes.
class command_keeper {
 public:
  static command_keeper& of_this_process();
  command_keeper(const command_keeper&) = delete;
  command_keeper& operator=(const command_keeper&) = delete;
  ~command_keeper();

  /// Starts /bin/sh -c `command` in a process group of its own, with `output` as standard output
  /// and the environment `environment` (texts that NUL ends); the group, or -1 with errno.
  pid_t start(const std::string& command, const std::string& environment, int output);
  /// Ends the command and all that it started.
  void end();
  /// Asks to be told when the command has ended; then `descriptor` becomes readable.
  void ask_for_end();
  int descriptor() const { return socket_; }
  /// The command's raw wait status; -1 for one that hangs in the kernel, and without a keeper.
  int take_status();

 private:
  command_keeper() = default;
  bool make();
  bool is_ours() const;
  bool request(keeper_request::kind_of kind, const std::string& text = {}, int passed = -1);
  bool take_answer(keeper_answer& answer);
  void leave();

  int socket_ = -1;
  pid_t process_ = -1;
  pid_t owner_ = -1;
  pid_t group_ = -1;
};

}  // namespace kestrel
