// The signal handler and the fixed notes that it reads: temporaries to remove, files to rename, a
// half written item to cut off, a private folder to remove. Whatever runs in the handler is
// async-signal-safe.
#include "lib/cleanup.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <deque>
#include <string>

#include "lib/blocked_signals.h"
#include "lib/command.h"
#include "lib/stop.h"

namespace kestrel {
namespace {

constexpr int k_slots = 16;
constexpr size_t k_path_size = 4096;
constexpr int k_patience = 1500;          // milliseconds until a stopping run is ended
constexpr int k_closing_patience = 5000;  // the same while it closes its files
// One request can come twice: timeout(1) signals its child and then the group that it is in.
constexpr long k_echo = 250;
constexpr size_t k_stack_size = 65536;

struct file_slot {
  volatile sig_atomic_t used;
  file_identity file;
  char path[k_path_size];
  volatile sig_atomic_t is_kept;
  char final_name[k_path_size];
};
file_slot slots[k_slots];

volatile sig_atomic_t unfinished_descriptor = -1;
long long unfinished_length = 0;

char private_folder[k_path_size];
char told_of_folder[k_path_size + 64];  // "" when nothing is to be told

volatile sig_atomic_t is_orderly_stop_possible = 0;
volatile sig_atomic_t patience = k_patience;
timespec stop_time = {};
pid_t run_process = 0;

// Those that do not end a process, cannot be caught, or have a meaning of their own here.
constexpr int k_not_handled[] = {SIGKILL, SIGSTOP, SIGTSTP, SIGTTIN,  SIGTTOU, SIGCONT,
                                 SIGCHLD, SIGURG,  SIGPIPE, SIGWINCH, SIGXFSZ};
// Behind these the program cannot be trusted to close anything.
constexpr int k_crashes[] = {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT};

template <size_t count>
bool is_one_of(const int (&numbers)[count], int number) {
  return std::find(numbers, numbers + count, number) != numbers + count;
}

void clean_up() {
  kill_running_command();
  if (unfinished_descriptor >= 0) (void)!ftruncate(unfinished_descriptor, unfinished_length);
  for (const file_slot& slot : slots) {
    if (slot.used == 0 || !slot.file.is_at(slot.path)) continue;
    if (slot.is_kept == 0) {
      unlink(slot.path);
    } else {
      (void)!rename(slot.path, slot.final_name);
    }
  }
  if (private_folder[0] == '\0' || rmdir(private_folder) == 0) return;
  if (errno == ENOTEMPTY) (void)!write(STDERR_FILENO, told_of_folder, strlen(told_of_folder));
}

[[noreturn]] void die_by(int number) {
  signal(number, SIG_DFL);
  sigset_t only;
  sigemptyset(&only);
  sigaddset(&only, number);
  raise(number);
  sigprocmask(SIG_UNBLOCK, &only, nullptr);
  _exit(128 + number);
}

void arm_watchdog(long milliseconds) {
  itimerval timer = {};
  timer.it_value.tv_sec = milliseconds / 1000;
  timer.it_value.tv_usec = milliseconds % 1000 * 1000;
  setitimer(ITIMER_REAL, &timer, nullptr);
}

void handle(int number, void (*handler)(int)) {
  struct sigaction action = {};
  action.sa_handler = handler;
  action.sa_flags = SA_RESTART | SA_ONSTACK;
  sigfillset(&action.sa_mask);
  sigaction(number, &action, nullptr);
}

bool is_echo(int number) {
  timespec now = {};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return number == stop_signal() &&
         (now.tv_sec - stop_time.tv_sec) * 1000 + (now.tv_nsec - stop_time.tv_nsec) / 1000000 <
             k_echo;
}

void end_by_signal(int number) {
  const int errnum = errno;
  if (getpid() != run_process) {
    die_by(number);  // a child between fork and what it becomes: the files are not its own
  } else if (is_one_of(k_crashes, number) || is_orderly_stop_possible == 0) {
    clean_up();
    die_by(number);
  } else if (!is_stopping()) {
    request_stop(number);
    clock_gettime(CLOCK_MONOTONIC, &stop_time);
    kill_running_command();
    handle(SIGALRM, end_by_signal);  // the caller may have chosen to ignore it
    arm_watchdog(patience);
  } else if (!is_echo(number)) {
    clean_up();
    die_by(number == SIGALRM ? stop_signal() : number);
  }
  errno = errnum;
}

void note_full_file(int) {}  // the write fails with EFBIG

void handle_unless_ignored(int number, void (*handler)(int)) {
  struct sigaction old = {};
  if (sigaction(number, nullptr, &old) == 0 && old.sa_handler == SIG_DFL) handle(number, handler);
}

// A stack that overflowed has no room for the handler.
void provide_signal_stack() {
  alignas(16) static char stack[k_stack_size];
  stack_t old = {};
  if (sigaltstack(nullptr, &old) != 0 || (old.ss_flags & SS_DISABLE) == 0) return;
  const stack_t provided = {stack, 0, sizeof stack};
  sigaltstack(&provided, nullptr);
}

int take_slot(const char* path) {
  if (strlen(path) >= k_path_size) return -1;
  for (int i = 0; i < k_slots; ++i) {
    if (slots[i].used != 0) continue;
    strcpy(slots[i].path, path);
    return i;
  }
  return -1;
}

}  // namespace

int noted_file::create(const char* path) {
  forget();
  const int slot = take_slot(path);
  if (slot < 0) {
    errno = EMFILE;
    return -1;
  }
  // A signal finds the file noted, or it is not there.
  const blocked_signals blocked;
  const int descriptor = open(path, O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
  if (descriptor < 0) return -1;
  slots[slot].file = file_identity::of(descriptor);
  slots[slot].is_kept = 0;
  slots[slot].used = 1;
  slot_ = slot;
  return descriptor;
}

const char* noted_file::path() const { return slot_ < 0 ? "" : slots[slot_].path; }

bool noted_file::is_kept() const { return slot_ >= 0 && slots[slot_].is_kept != 0; }

bool noted_file::is_there() const { return slot_ >= 0 && slots[slot_].file.is_at(path()); }

void noted_file::remove() {
  const int errnum = errno;
  if (is_there()) unlink(path());
  forget();
  errno = errnum;
}

void noted_file::forget() {
  if (slot_ >= 0) slots[slot_].used = 0;
  slot_ = -1;
}

void noted_file::keep_as(const char* name) {
  if (slot_ < 0 || strlen(name) >= k_path_size) return;
  strcpy(slots[slot_].final_name, name);
  std::atomic_signal_fence(std::memory_order_release);
  slots[slot_].is_kept = 1;
}

bool noted_file::rename() {
  if (!is_there()) errno = ENOENT;
  const bool is_renamed = is_there() && ::rename(path(), slots[slot_].final_name) == 0;
  const int errnum = errno;
  forget();
  errno = errnum;
  return is_renamed;
}

unfinished_write_note::unfinished_write_note(int descriptor, long long length) {
  unfinished_length = length;
  std::atomic_signal_fence(std::memory_order_release);
  unfinished_descriptor = descriptor;
}

unfinished_write_note::~unfinished_write_note() { unfinished_descriptor = -1; }

void note_private_folder(const char* path, bool is_told) {
  private_folder[0] = told_of_folder[0] = '\0';
  if (path == nullptr || strlen(path) >= k_path_size) return;
  if (is_told) {
    snprintf(told_of_folder, sizeof told_of_folder, "\n%s: files of this run are kept here\n",
             path);
  }
  const blocked_signals blocked;
  strcpy(private_folder, path);
}

void install_signal_handlers() {
  run_process = getpid();
  provide_signal_stack();
  for (int number = 1; number < NSIG; ++number) {
    if (!is_one_of(k_not_handled, number)) handle_unless_ignored(number, end_by_signal);
  }
  handle_unless_ignored(SIGXFSZ, note_full_file);
}

void set_orderly_stop(bool is_possible) { is_orderly_stop_possible = is_possible ? 1 : 0; }

void begin_closing() {
  patience = k_closing_patience;
  if (is_stopping()) arm_watchdog(patience);
}

void end_by_stop_signal() {
  clean_up();
  die_by(stop_signal());
}

const char* keep_text(const char* text) {
  static std::deque<std::string> kept;
  return kept.emplace_back(text).c_str();
}

}  // namespace kestrel
