// A stretch of code that no signal may interrupt: around fork, where a signal would find a child
// that nobody knows yet, or run the parent's clean-up in the child.
#pragma once

#include <signal.h>

namespace kestrel {

/// Blocks every signal while it lives.
class blocked_signals {
 public:
  blocked_signals() {
    sigset_t all;
    sigfillset(&all);
    sigprocmask(SIG_BLOCK, &all, &before_);
  }
  blocked_signals(const blocked_signals&) = delete;
  blocked_signals& operator=(const blocked_signals&) = delete;
  ~blocked_signals() { sigprocmask(SIG_SETMASK, &before_, nullptr); }

  /// The mask that was in force; a child sets it once it is ready for signals.
  const sigset_t& before() const { return before_; }

 private:
  sigset_t before_ = {};
};

}  // namespace kestrel
