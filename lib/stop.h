// A run that was asked to end: by a signal, from outside. What waits looks here, returns with what
// it has, and the run packs that and ends.
#pragma once

namespace kestrel {

/// The signal that asked the run to end, 0 while none did. Async-signal-safe.
int stop_signal();
inline bool is_stopping() { return stop_signal() != 0; }

/// Asks the run to end; the first signal stays. 0 takes it back. Async-signal-safe.
void request_stop(int signal);

}  // namespace kestrel
