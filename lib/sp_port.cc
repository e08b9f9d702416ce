// The service processor's protocol on its two ports; see sp.h.
#include <signal.h>
#include <sys/time.h>

#include <algorithm>

#include "lib/debug.h"
#include "lib/sp.h"
#include "lib/sp_port_linux.h"
#include "lib/util_linux.h"

namespace kestrel {
namespace {

// Bits of the status port.
constexpr unsigned char k_data_ready = 0x80;
constexpr unsigned char k_absent = 0x40;
constexpr unsigned char k_transmit_ready = 0x20;

constexpr unsigned char k_end = 0xC0;
constexpr unsigned char k_escape = 0xDB;
struct escape_pair {
  unsigned char byte;
  unsigned char sent;  ///< behind k_escape
};
constexpr escape_pair k_escapes[] = {
    {k_end,    0xDC},
    {k_escape, 0xDE}, // On purpose.
};

constexpr unsigned char k_start[] = {0x16, 0x02, 0x00, 0x03};
constexpr size_t k_sum_offset = 2;
constexpr unsigned char k_status_unanswered = 6;
// A processor that talks without ever starting a packet is given up after this many bytes.
constexpr int k_max_bytes_before_start = 0x10000;

constexpr unsigned char k_present_answer = 0xFD;
constexpr unsigned k_presence_pause = 50;  // ms
constexpr int k_timeout = 30;              // s

volatile sig_atomic_t is_timed_out = 0;
struct sigaction saved_action;

void note_timeout(int) { is_timed_out = 1; }

void arm_timer(int seconds) {
  itimerval timer = {};
  timer.it_value.tv_sec = seconds;
  setitimer(ITIMER_VIRTUAL, &timer, nullptr);
}

struct timeout_scope {
  timeout_scope() { set_timeout(); }
  timeout_scope(const timeout_scope&) = delete;
  timeout_scope& operator=(const timeout_scope&) = delete;
  ~timeout_scope() { clear_timeout(); }
};

bool wait_until(unsigned char ready_bit) {
  if ((sp_read_status() & ready_bit) != 0) return true;
  timeout_scope timeout;
  while ((sp_read_status() & ready_bit) == 0) {
    if (is_timed_out == 0) continue;
    printd("sp: timeout waiting for status %02x\n", ready_bit);
    return false;
  }
  return true;
}

unsigned get_raw_byte() { return wait_until(k_data_ready) ? sp_read_data() : k_sp_failure; }

unsigned send_raw_byte(unsigned char byte) {
  if (!wait_until(k_transmit_ready)) return k_sp_failure;
  sp_write_data(byte);
  return 0;
}

bool drain() {
  timeout_scope timeout;
  while ((sp_read_status() & k_data_ready) != 0) {
    if (is_timed_out != 0) return false;
    sp_read_data();
  }
  return true;
}

bool send_packet(byte_span packet) {
  for (unsigned char byte : packet) {
    if (send_sp_byte(byte) == k_sp_failure) return false;
  }
  return send_sp_end() != k_sp_failure;
}

bool find_start() {
  size_t matched = 0;
  for (int i = 0; i < k_max_bytes_before_start; ++i) {
    unsigned byte = get_sp_byte();
    if (byte == k_sp_failure) return false;
    if (byte != k_start[matched]) matched = 0;
    if (byte == k_start[matched]) ++matched;
    if (matched == std::size(k_start)) return true;
  }
  printd("sp: no packet in %d bytes\n", k_max_bytes_before_start);
  return false;
}

/// Reads bytes of a reply; after a failure all are 0.
class reply_reader {
 public:
  unsigned char get() {
    unsigned byte = failed_ ? k_sp_failure : get_sp_byte();
    failed_ = byte == k_sp_failure;
    return failed_ ? static_cast<unsigned char>(0) : static_cast<unsigned char>(byte);
  }
  void skip(int count) {
    while (count-- > 0) get();
  }
  bool failed() const { return failed_; }

 private:
  bool failed_ = false;
};

bool receive_reply(SP_IO_COMMAND& command) {
  if (!find_start()) return false;
  reply_reader reply;
  size_t length = reply.get();
  length = length << 8 | reply.get();
  reply.skip(1);  // the command code
  size_t first = reply.get();
  size_t second = reply.get();
  second |= static_cast<size_t>(reply.get()) << 8;
  unsigned char status = reply.get();
  reply.skip(1);
  if (reply.failed() || length < k_sp_length_overhead) return false;
  size_t size = std::min(length - k_sp_length_overhead, k_sp_max_data);
  for (size_t i = 0; i < size && !reply.failed(); ++i) command.data[i] = reply.get();
  reply.skip(static_cast<int>(length % 2) + 3);  // padding, checksum and end
  if (reply.failed()) return false;
  command.first_length = static_cast<uint8_t>(std::min(first, size));
  command.second_length = static_cast<uint16_t>(std::min(second, size - command.first_length));
  command.status = status;
  return true;
}

}  // namespace

void set_timeout() {
  is_timed_out = 0;
  struct sigaction action = {};
  action.sa_handler = note_timeout;
  sigaction(SIGVTALRM, &action, &saved_action);
  arm_timer(k_timeout);
}

void clear_timeout() {
  arm_timer(0);
  sigaction(SIGVTALRM, &saved_action, nullptr);
}

unsigned get_sp_byte() {
  unsigned byte = get_raw_byte();
  if (byte != k_escape) return byte;
  unsigned sent = get_raw_byte();
  for (const escape_pair& pair : k_escapes) {
    if (pair.sent == sent) return pair.byte;
  }
  return k_sp_failure;
}

unsigned send_sp_byte(unsigned char byte) {
  for (const escape_pair& pair : k_escapes) {
    if (pair.byte != byte) continue;
    return send_raw_byte(k_escape) == k_sp_failure ? k_sp_failure : send_raw_byte(pair.sent);
  }
  return send_raw_byte(byte);
}

unsigned send_sp_end() { return send_raw_byte(k_end); }

uint16_t checksum(byte_span bytes) {
  uint32_t sum = 0;
  for (size_t i = 0; i < bytes.size(); ++i) {
    sum += static_cast<uint32_t>(bytes[i]) << 8 * (i % 2);
    sum = (sum & 0xFFFF) + (sum >> 16);
  }
  return static_cast<uint16_t>(~sum);
}

std::vector<unsigned char> make_sp_packet(const SP_IO_COMMAND& command) {
  size_t size = command.first_length + size_t{command.second_length};
  if (size > k_sp_max_data) return {};
  size_t length = size + k_sp_length_overhead;
  std::vector<unsigned char> packet(std::begin(k_start), std::end(k_start));
  auto put = [&packet](size_t byte) { packet.push_back(static_cast<unsigned char>(byte)); };
  put(length >> 8);
  put(length);
  put(command.command);
  put(command.first_length);
  put(command.second_length);
  put(command.second_length >> 8);
  put(0);
  put(0);
  packet.insert(packet.end(), command.data, command.data + size);
  if (length % 2 != 0) put(0);
  uint16_t sum = checksum(byte_span(packet).subspan(k_sum_offset));
  put(sum);
  put(sum >> 8);
  return packet;
}

int send_sp_command(SP_IO_COMMAND* command) {
  command->status = k_status_unanswered;
  std::vector<unsigned char> packet = make_sp_packet(*command);
  bool done = !packet.empty() && drain() && send_packet(packet) && receive_reply(*command);
  return done ? 0 : 1;
}

bool is_sp_present() {
  sp_read_data();
  if ((sp_read_status() & (k_data_ready | k_absent)) != 0) return false;
  sp_write_data(k_end);
  MilliPause(k_presence_pause);
  return (sp_read_status() & k_data_ready) != 0 && sp_read_data() == k_present_answer &&
         (sp_read_status() & k_data_ready) == 0;
}

}  // namespace kestrel
