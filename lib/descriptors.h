// Descriptors that a child process does not keep.
#pragma once

namespace kestrel {

/// Closes all from `first` to `last`, in one call where the kernel has it (close_range(2), 5.9),
/// else those below 1024: more than a run ever has open. Async-signal-safe.
void close_descriptors(int first, int last);

}  // namespace kestrel
