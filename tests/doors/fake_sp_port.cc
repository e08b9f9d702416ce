// See fake_sp_port.h.
#include "tests/doors/fake_sp_port.h"

#include <signal.h>
#include <sys/time.h>

#include <cstdlib>

#include "lib/sp_port_linux.h"

namespace kestrel {
namespace {

constexpr int k_polls_of_a_timeout = 1000;

// Half a minute of processor time has passed: the timer must have been set to that.
void play_timeout(played_sp& sp) {
  itimerval timer = {};
  getitimer(ITIMER_VIRTUAL, &timer);
  if (timer.it_value.tv_sec < 25 || timer.it_value.tv_sec > 30) std::abort();
  ++sp.timeouts;
  sp.polls = 1;
  raise(SIGVTALRM);
}

}  // namespace

played_sp& fake_sp() {
  static played_sp sp;
  return sp;
}

bool sp_open_ports() {
  if (fake_sp().grants_access) ++fake_sp().opened;
  return fake_sp().grants_access;
}

void sp_close_ports() { --fake_sp().opened; }

unsigned char sp_read_data() {
  played_sp& sp = fake_sp();
  if (!sp.never_silent) sp.polls = 0;
  if (sp.waiting.empty()) return sp.never_silent ? 0x16 : 0xFF;
  auto byte = static_cast<unsigned char>(sp.waiting[sp.taken]);
  if (++sp.taken == sp.waiting.size()) {
    sp.waiting.clear();
    sp.taken = 0;
  }
  return byte;
}

void sp_write_data(unsigned char byte) {
  played_sp& sp = fake_sp();
  sp.polls = 0;
  sp.sent.push_back(static_cast<char>(byte));
  if (byte == 0xC0) sp.waiting += sp.answer;
}

unsigned char sp_read_status() {
  played_sp& sp = fake_sp();
  if (++sp.polls > k_polls_of_a_timeout) play_timeout(sp);
  if (sp.is_stuck || sp.polls <= sp.delay) return 0;
  bool has_data = sp.never_silent || !sp.waiting.empty();
  return static_cast<unsigned char>(sp.status_bits | (has_data ? 0x80 : 0));
}

}  // namespace kestrel
