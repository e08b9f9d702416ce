// Access to a service processor: through its maker's driver library where one is installed, else
// through two I/O ports with a framed byte protocol. A packet, before bytes are escaped:
//
//   16 02 00 03 | length, high byte first | command | first length | second length, low byte first
//   00 00 | first and second data | 00 if the length is odd | checksum, low byte first
//
// The length counts the data and 6 bytes. On the ports C0 is sent as DB DC and DB as DB DE, and a
// bare C0 ends the packet. A reply has the status where a request has its first 00.
//
// No program talks to one: only the tests link it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <optional>
#include <vector>

#include "lib/cursor.h"
#include "lib/date.h"

namespace kestrel {

/// Bytes that a packet's length counts besides the data.
inline constexpr size_t k_sp_length_overhead = 6;
/// The most data that the 16-bit length of a packet can tell of.
inline constexpr size_t k_sp_max_data = 0xFFFF - k_sp_length_overhead;

/// A command, and then its reply, in the driver library's layout.
struct SP_IO_COMMAND {
  uint8_t command;
  uint8_t first_length;
  uint16_t second_length;
  uint8_t status;  ///< of the reply, 0 for success
  unsigned char data[k_sp_max_data];
};
static_assert(offsetof(SP_IO_COMMAND, second_length) == 2 && offsetof(SP_IO_COMMAND, data) == 5);

// --- the protocol on the ports, which must be open ------------------------------------------

/// What the byte routines return when the processor was not ready in time or broke the rules.
inline constexpr unsigned k_sp_failure = 0xFFFF;

/// The next byte, escapes undone, or k_sp_failure.
unsigned get_sp_byte();
/// Sends a byte, escaped; 0, or k_sp_failure.
unsigned send_sp_byte(unsigned char byte);
/// Sends the end of a packet; 0, or k_sp_failure.
unsigned send_sp_end();
/// One's complement of the one's-complement sum of little-endian 16-bit words; an odd last byte
/// counts as a word.
uint16_t checksum(byte_span bytes);
/// The packet of a command, before escapes; empty when it has more data than a packet holds.
std::vector<unsigned char> make_sp_packet(const SP_IO_COMMAND& command);
/// Sends the command and takes the reply into it. 0, or 1 when that failed; data may then be
/// overwritten. The lengths of the reply never tell of more data than came.
int send_sp_command(SP_IO_COMMAND* command);
/// Whether a service processor answers on the ports.
bool is_sp_present();
/// From here 30 seconds of the process's own processor time may pass until waiting is given up; a
/// handler for SIGVTALRM is in place meanwhile.
void set_timeout();
void clear_timeout();  ///< puts the earlier handler back

// --- the service processor ------------------------------------------------------------------

/// One conversation with the service processor.
class ServiceProcessor {
 public:
  /// Loads the driver library; without it the ports are used.
  ServiceProcessor();
  ServiceProcessor(const ServiceProcessor&) = delete;
  ServiceProcessor& operator=(const ServiceProcessor&) = delete;
  ~ServiceProcessor();

  /// False when there is no service processor or no right to reach it; true also when it is open
  /// already. `argument` is for the driver.
  bool OpenComm(int argument);
  /// Closes it if it is open, as the destructor does.
  void CloseComm();
  /// 0: done, the command holds the reply; 1: not open, or the transfer failed; 2: null command.
  /// With a driver library: what that returned.
  int SendCommand(SP_IO_COMMAND* command);

  // Questions. `command` is the command's code and then its first data, in one text. False, and
  // nothing changed, when the command fails, its reply has a status other than 0, or too little
  // data.

  /// The reply's first byte, 0 to 255.
  bool get_1_byte(const char* command, int* value);
  /// The reply as a text up to its first NUL, cut to the `size` bytes of `buffer`.
  bool get_string(const char* command, char* buffer, int size);
  /// The reply as an SP_CLOCK.
  bool get_time(const char* command, gathered_datetime* value);
  /// Lists the codes of all commands, a line of two hexadecimal digits each, which are the reply to
  /// a command 0 without data.
  bool list_supported_commands(FILE* out);

 private:
  // The functions of the driver library.
  using open_function = int(void** handle, int argument, int zero);
  using close_function = int(void* handle, int zero);
  using data_function = int(void* handle, SP_IO_COMMAND* command, int zero);

  bool load_driver();
  void unload_driver();
  std::optional<std::vector<unsigned char>> ask(std::string_view command);

  void* library_ = nullptr;
  open_function* open_driver_ = nullptr;
  close_function* close_driver_ = nullptr;
  data_function* data_io_ = nullptr;
  void* driver_ = nullptr;  ///< the driver's handle
  bool is_open_ = false;
};

}  // namespace kestrel
