// Plays the driver library of a service processor. A command comes back with its data reversed and
// status 0; command FF is refused with result 7. `sp_driver_calls` tells what was called.
#include <algorithm>
#include <cstring>

#include "lib/sp.h"

extern "C" {

char sp_driver_calls[64];

static int state;

int OpenSPDriver(void** handle, int argument, int zero) {
  std::strcat(sp_driver_calls, argument == 3 && zero == 0 ? "open " : "bad ");
  *handle = &state;
  return argument == 3 ? 0 : 1;
}

int CloseSPDriver(void* handle, int zero) {
  std::strcat(sp_driver_calls, handle == &state && zero == 0 ? "close " : "bad ");
  return 0;
}

#ifndef KESTREL_SP_DRIVER_INCOMPLETE
int SystemDataIO(void* handle, kestrel::SP_IO_COMMAND* command, int zero) {
  std::strcat(sp_driver_calls, handle == &state && zero == 0 ? "data " : "bad ");
  if (command->command == 0xFF) return 7;
  command->status = 0;
  std::reverse(command->data, command->data + command->first_length);
  return 0;
}
#endif

}  // extern "C"
