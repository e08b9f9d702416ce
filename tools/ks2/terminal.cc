// Asks environment and terminal for width and colours, and starts the pager that PAGER names, or
// less, where the terminal can do more than print lines.
#include "tools/ks2/terminal.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <new>

#include "lib/utilstr.h"
#include "tools/ks2/shown_text.h"

extern char** environ;

namespace kestrel::ks2 {

namespace {

constexpr size_t k_block = 64 * 1024;
constexpr size_t k_default_width = 80;
constexpr size_t k_least_width = 20;
constexpr size_t k_greatest_width = 1000;

constexpr const char* k_styles[] = {"", "\x1b[1m", "\x1b[1;36m"};
constexpr const char* k_plain = "\x1b[0m";

/// PAGER, else less, else nothing in between; that, too, where PAGER is no command.
constexpr const char* k_pager_command =
    "if [ -n \"$PAGER\" ] && sh -n -c \"$PAGER\"; then (eval \"$PAGER\"); "
    "case $? in 126|127) exec cat;; esac; "
    "elif [ -z \"$PAGER\" ] && command -v less > /dev/null; then exec less; else exec cat; fi";

size_t clamp_width(int64_t width) {
  if (width <= 0) return 0;
  return std::min(std::max(static_cast<size_t>(width), k_least_width), k_greatest_width);
}

size_t terminal_width() {
  if (isatty(STDOUT_FILENO) == 0) return k_no_width;
  for (const int descriptor : {STDOUT_FILENO, STDERR_FILENO, STDIN_FILENO}) {
    winsize size = {};
    if (ioctl(descriptor, TIOCGWINSZ, &size) == 0 && size.ws_col > 0)
      return clamp_width(size.ws_col);
  }
  return k_default_width;
}

/// Whether the terminal can do more than print lines.
bool is_capable() {
  const char* const terminal = std::getenv("TERM");
  return terminal != nullptr && *terminal != '\0' && std::string_view(terminal) != "dumb";
}

bool may_colour() {
  const char* const refused = std::getenv("NO_COLOR");
  return refused == nullptr || *refused == '\0';
}

/// Starts a shell with the pager, whose input is `input`; 0 on failure. Signals do to it what they
/// usually do, whatever they do here.
pid_t spawn_pager(int input) {
  posix_spawn_file_actions_t actions;
  posix_spawnattr_t attributes;
  posix_spawn_file_actions_init(&actions);
  posix_spawnattr_init(&attributes);
  posix_spawn_file_actions_adddup2(&actions, input, STDIN_FILENO);
  sigset_t usual;
  sigemptyset(&usual);
  for (const int signal : {SIGINT, SIGQUIT, SIGPIPE}) sigaddset(&usual, signal);
  posix_spawnattr_setsigdefault(&attributes, &usual);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF);
  const char* const words[] = {"sh", "-c", k_pager_command, nullptr};
  pid_t child;
  const int result =
      posix_spawn(&child, "/bin/sh", &actions, &attributes, const_cast<char**>(words), environ);
  posix_spawnattr_destroy(&attributes);
  posix_spawn_file_actions_destroy(&actions);
  return result == 0 ? child : 0;
}

/// Length of the text's beginning of at most `most` bytes that ends with a whole character.
size_t whole_characters(std::string_view text, size_t most) {
  if (text.size() <= most) return text.size();
  size_t end = most;
  while (end + 3 > most && end > 1 && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80) --end;
  return end;
}

}  // namespace

size_t output_width() {
  const char* const columns = std::getenv("COLUMNS");
  std::string_view digits = columns == nullptr ? "" : columns;
  int64_t width;
  if (scan_decimal(digits, width) && digits.empty() && width > 0) return clamp_width(width);
  return terminal_width();
}

template <class Write>
void text_output::write_styled(style how, Write write_text) {
  const bool is_styled = is_coloured_ && how != style::plain;
  if (is_styled) block_ += k_styles[static_cast<size_t>(how)];
  write_text();
  if (is_styled) block_ += k_plain;
}

void text_output::write(std::string_view text, style how) {
  write_styled(how, [this, text]() mutable {
    while (!text.empty()) {
      const size_t size = whole_characters(text, k_block);
      block_ += text.substr(0, size);
      if (block_.size() >= k_block) flush();
      text.remove_prefix(size);
    }
  });
}

void text_output::write(shown_reader text, style how) {
  write_styled(how, [this, &text] {
    for (wchar_t c; is_wanted() && text.next(c);) {
      append_character(block_, c);
      if (block_.size() >= k_block) flush();
    }
  });
}

void text_output::flush_at_end() noexcept {
  try {
    flush();
  } catch (const std::bad_alloc&) {
    block_.clear();
  }
}

void text_output::flush() {
  if (readers_ == audience::people) {
    print_text(out_, block_);
  } else {
    std::fwrite(block_.data(), 1, block_.size(), out_);
  }
  block_.clear();
}

paged_output::paged_output(audience readers) : text_output(stdout, readers) {
  if (isatty(STDOUT_FILENO) == 0 || !is_capable()) return;
  is_coloured_ = may_colour();
  start_pager();
}

/// On failure everything goes straight to the terminal.
void paged_output::start_pager() {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) return;
  setenv("LESS", "FRX", 0);
  std::fflush(stdout);
  FILE* const out = fdopen(ends[1], "w");
  if (out == nullptr) close(ends[1]);
  // The keys that would end this program are the pager's.
  struct sigaction ignored = {};
  ignored.sa_handler = SIG_IGN;
  sigaction(SIGINT, &ignored, &interrupt_);
  sigaction(SIGQUIT, &ignored, &quit_);
  if (out != nullptr) pager_ = spawn_pager(ends[0]);
  close(ends[0]);
  if (pager_ != 0) {
    out_ = out;
    return;
  }
  give_signals_back();
  if (out != nullptr) std::fclose(out);
}

void paged_output::give_signals_back() {
  sigaction(SIGINT, &interrupt_, nullptr);
  sigaction(SIGQUIT, &quit_, nullptr);
}

paged_output::~paged_output() {
  if (pager_ == 0) return;
  flush_at_end();
  std::fclose(out_);
  out_ = stdout;
  int status;
  while (waitpid(pager_, &status, 0) < 0 && errno == EINTR) {
  }
  give_signals_back();
}

}  // namespace kestrel::ks2
