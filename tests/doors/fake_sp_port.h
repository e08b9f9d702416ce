// Plays the service processor behind its two ports: what it answers, late or never.
#pragma once

#include <string>

namespace kestrel {

struct played_sp {
  bool grants_access = true;
  unsigned char status_bits = 0x20;  ///< always set; 20 is "ready for a byte"
  std::string waiting = "";          ///< bytes to be read now
  std::string answer = "\xFD";       ///< comes when the end byte is written
  bool never_silent = false;         ///< there is always one more byte, 16
  int delay = 0;                     ///< status reads until a ready bit shows
  bool is_stuck = false;             ///< the ready bits never show

  std::string sent = "";  ///< all bytes written
  int timeouts = 0;       ///< waits that the timer had to end
  int opened = 0;         ///< times that the ports were opened and not closed again
  size_t taken = 0;       ///< of those waiting
  int polls = 0;          ///< status reads since the last byte
};
/// The service processor of this test program; assign `{}` to start anew.
played_sp& fake_sp();

}  // namespace kestrel
