// See cleanup.h.
#include "lib/cleanup.h"

#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <cstring>
#include <deque>
#include <string>

#include "lib/command.h"

namespace kestrel {
namespace {

constexpr int k_slots = 16;
constexpr size_t k_path_size = 256;

struct temporary_slot {
  volatile sig_atomic_t used;
  char path[k_path_size];
};
temporary_slot slots[k_slots];

volatile sig_atomic_t unfinished_descriptor = -1;
long long unfinished_length = 0;

int take_slot(const char* path) {
  if (strlen(path) >= k_path_size) return -1;
  for (int i = 0; i < k_slots; ++i) {
    if (slots[i].used != 0) continue;
    strcpy(slots[i].path, path);
    std::atomic_signal_fence(std::memory_order_release);
    slots[i].used = 1;
    return i;
  }
  return -1;
}

void end_by_signal(int number) {
  kill_running_command();
  for (const temporary_slot& slot : slots) {
    if (slot.used != 0) unlink(slot.path);
  }
  if (unfinished_descriptor >= 0) (void)!ftruncate(unfinished_descriptor, unfinished_length);
  signal(number, SIG_DFL);
  raise(number);
}

}  // namespace

temporary_file_note::temporary_file_note(const char* path) : slot_(take_slot(path)) {}

temporary_file_note::~temporary_file_note() {
  if (slot_ >= 0) slots[slot_].used = 0;
}

void note_temporary_file(const char* path) { take_slot(path); }

void forget_temporary_file(const char* path) {
  for (temporary_slot& slot : slots) {
    if (slot.used != 0 && strcmp(slot.path, path) == 0) slot.used = 0;
  }
}

unfinished_write_note::unfinished_write_note(int descriptor, long long length) {
  unfinished_length = length;
  std::atomic_signal_fence(std::memory_order_release);
  unfinished_descriptor = descriptor;
}

unfinished_write_note::~unfinished_write_note() { unfinished_descriptor = -1; }

void install_signal_handlers() {
  struct sigaction action = {};
  action.sa_handler = end_by_signal;
  for (int number : {SIGINT, SIGTERM, SIGHUP}) {
    struct sigaction old = {};
    // A signal that the caller chose to ignore (nohup) stays ignored.
    if (sigaction(number, nullptr, &old) == 0 && old.sa_handler != SIG_IGN) {
      sigaction(number, &action, nullptr);
    }
  }
}

const char* keep_text(const char* text) {
  static std::deque<std::string> kept;
  return kept.emplace_back(text).c_str();
}

}  // namespace kestrel
