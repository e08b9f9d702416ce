// Port input and output on processors that have it; elsewhere the ports cannot be opened. Test
// programs link another body for it.
#include "lib/sp_port_linux.h"

#include <cerrno>

#include "lib/debug.h"

#if defined(__x86_64__) || defined(__i386__)
#include <sys/io.h>
#endif

namespace kestrel {

#if defined(__x86_64__) || defined(__i386__)

namespace {
constexpr unsigned short k_data_port = 0xE8;
constexpr unsigned short k_status_port = 0xE9;
}  // namespace

bool sp_open_ports() {
  if (ioperm(k_data_port, 2, 1) == 0) return true;
  print_error("sp: ioperm", errno);
  return false;
}

void sp_close_ports() { ioperm(k_data_port, 2, 0); }

unsigned char sp_read_data() { return inb(k_data_port); }
void sp_write_data(unsigned char byte) { outb(byte, k_data_port); }
unsigned char sp_read_status() { return inb(k_status_port); }

#else

bool sp_open_ports() { return false; }
void sp_close_ports() {}
unsigned char sp_read_data() { return 0xFF; }
void sp_write_data(unsigned char) {}
unsigned char sp_read_status() { return 0xFF; }

#endif

}  // namespace kestrel
