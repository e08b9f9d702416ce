// The one flag behind stop.h, which signal handlers set.
#include "lib/stop.h"

#include <signal.h>

namespace kestrel {

namespace {
volatile sig_atomic_t requested = 0;
}

int stop_signal() { return requested; }

void request_stop(int signal) {
  if (requested == 0 || signal == 0) requested = signal;
}

}  // namespace kestrel
