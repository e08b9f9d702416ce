// See terminal.h.
#include "tools/ks2/terminal.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>

#include "lib/mbcs.h"
#include "lib/utilstr.h"

extern char** environ;

namespace kestrel::ks2 {

namespace {

constexpr size_t k_default_width = 80;
constexpr size_t k_least_width = 20;
constexpr size_t k_greatest_width = 1000;

constexpr const char* k_styles[] = {"", "\x1b[1m", "\x1b[1;36m"};
constexpr const char* k_plain = "\x1b[0m";

/// PAGER, else less, else nothing in between.
constexpr const char* k_pager_command =
    "if [ -n \"$PAGER\" ]; then eval \"$PAGER\"; "
    "elif command -v less > /dev/null; then exec less; else exec cat; fi";

size_t clamp_width(int64_t width) {
  if (width <= 0) return 0;
  return std::min(std::max(static_cast<size_t>(width), k_least_width), k_greatest_width);
}

size_t terminal_width() {
  for (const int descriptor : {STDOUT_FILENO, STDERR_FILENO, STDIN_FILENO}) {
    winsize size = {};
    if (ioctl(descriptor, TIOCGWINSZ, &size) == 0 && size.ws_col > 0)
      return clamp_width(size.ws_col);
  }
  return k_default_width;
}

bool may_colour() {
  const char* const terminal = std::getenv("TERM");
  const char* const refused = std::getenv("NO_COLOR");
  return terminal != nullptr && std::string_view(terminal) != "dumb" &&
         (refused == nullptr || *refused == '\0');
}

}  // namespace

size_t output_width() {
  const char* const columns = std::getenv("COLUMNS");
  std::string_view digits = columns == nullptr ? "" : columns;
  int64_t width;
  if (scan_decimal(digits, width) && digits.empty() && width > 0) return clamp_width(width);
  return terminal_width();
}

paged_output::paged_output() {
  if (isatty(STDOUT_FILENO) == 0) return;
  is_coloured_ = may_colour();
  start_pager();
}

/// On failure everything goes straight to the terminal.
void paged_output::start_pager() {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) return;
  setenv("LESS", "FRX", 0);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, ends[0], STDIN_FILENO);
  const char* const words[] = {"sh", "-c", k_pager_command, nullptr};
  pid_t child;
  const int result =
      posix_spawn(&child, "/bin/sh", &actions, nullptr, const_cast<char**>(words), environ);
  posix_spawn_file_actions_destroy(&actions);
  close(ends[0]);
  FILE* const out = result == 0 ? fdopen(ends[1], "w") : nullptr;
  if (out == nullptr) {
    close(ends[1]);
    return;
  }
  std::fflush(stdout);
  out_ = out;
  pager_ = child;
}

paged_output::~paged_output() {
  if (pager_ == 0) return;
  std::fclose(out_);
  int status;
  while (waitpid(pager_, &status, 0) < 0 && errno == EINTR) {
  }
}

void paged_output::write(std::string_view text, style how) {
  const std::string local = wide_to_mbcs(utf8_to_wide(text));
  const bool is_styled = is_coloured_ && how != style::plain;
  if (is_styled) std::fputs(k_styles[static_cast<size_t>(how)], out_);
  std::fwrite(local.data(), 1, local.size(), out_);
  if (is_styled) std::fputs(k_plain, out_);
}

}  // namespace kestrel::ks2
