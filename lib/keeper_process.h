// The process that all commands of a run are children of. Whatever a command leaves behind, in
// whatever session, becomes its child as well: it can end all that a command started and nothing
// else, and does so when the run dies, however it dies. It holds none of the run's files.
#pragma once

#include <sys/types.h>

#include <cstdint>

namespace kestrel {

/// What a run asks of its keeper through a socket: a head, behind that of a start `size` bytes: the
/// command, then the environment, each ended by NUL. The descriptor of the command's standard
/// output comes with the head.
struct keeper_request {
  enum kind_of : uint32_t {
    start,   ///< answered by the process, which leads a group, or by the error
    end,     ///< end all that the command started, now; not answered
    finish,  ///< answered once the command has ended, and all that it started with it
  };
  kind_of kind;
  uint32_t size;
};

/// `value` is the process or its raw wait status, -1 for one that hangs in the kernel.
struct keeper_answer {
  int32_t error;
  int32_t value;
};

/// Serves the run at the other end of `socket` until that is gone. All signals must be blocked.
[[noreturn]] void keep_commands(int socket);

}  // namespace kestrel
