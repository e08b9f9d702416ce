// Prepares the line that an alarm writes each second, and wipes it when its stage ends. The handler
// writes what is prepared for it and nothing else.
#include "tools/ks2/progress.h"

#include <signal.h>
#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "tools/ks2/shown_text.h"

namespace kestrel::ks2 {

namespace {

constexpr size_t k_longest_line = 300;
constexpr size_t k_longest_text = 60;  // characters

char line[k_longest_line];
volatile sig_atomic_t line_length = 0;
volatile sig_atomic_t is_shown = 0;

void write_line(const char* text, size_t length) {
  if (write(STDERR_FILENO, text, length) < 0) return;
}

void show_line(int) {
  const int saved = errno;
  if (line_length > 0) {
    write_line(line, static_cast<size_t>(line_length));
    is_shown = 1;
  }
  errno = saved;
}

void start_alarm() {
  struct sigaction action = {};
  action.sa_handler = show_line;
  action.sa_flags = SA_RESTART;
  sigaction(SIGALRM, &action, nullptr);
  const itimerval every_second = {
      {1, 0},
      {1, 0}
  };
  setitimer(ITIMER_REAL, &every_second, nullptr);
}

bool is_on_terminal() {
  static const bool is_terminal = isatty(STDERR_FILENO) != 0;
  return is_terminal;
}

}  // namespace

progress_stage::progress_stage(const std::string& text) {
  if (!is_on_terminal()) return;
  static const bool is_started = (start_alarm(), true);
  line_length = 0;
  const std::string shown_line = "\r\x1b[K" + shown(text, k_longest_text);
  const size_t length = std::min(shown_line.size(), k_longest_line);
  std::copy_n(shown_line.begin(), length, line);
  line_length = is_started ? static_cast<int>(length) : 0;
  if (is_shown != 0) show_line(0);
}

progress_stage::~progress_stage() {
  line_length = 0;
  if (is_shown != 0) write_line("\r\x1b[K", 4);
  is_shown = 0;
}

}  // namespace kestrel::ks2
