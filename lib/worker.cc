// The child process behind worker.h: a frame is a kind ('R' record, 'L' debug log), the number of
// bytes in host order, and the bytes.
#include "lib/worker.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <climits>
#include <cstring>
#include <ctime>
#include <new>
#include <thread>

#include "lib/blocked_signals.h"
#include "lib/debug.h"
#include "lib/descriptors.h"
#include "lib/stop.h"

namespace kestrel {

struct worker_link::shared_state {
  std::atomic<uint64_t> steps = 0;
  char asked[4096] = "";
};

namespace {

using std::chrono::milliseconds;
using steady = std::chrono::steady_clock;

constexpr size_t k_frame_head = 1 + sizeof(uint32_t);
constexpr size_t k_read_size = 65536;
constexpr milliseconds k_longest_wait{250};  // until progress and stop are looked at again
constexpr milliseconds k_killed_patience{100};
constexpr int k_round = 20;  // milliseconds, once around all workers
constexpr milliseconds k_stopping_patience{1000};

// The parent's handlers would clean up after him, who still runs.
void reset_signals(const sigset_t& before) {
  for (int number = 1; number < NSIG; ++number) {
    struct sigaction old = {};
    if (sigaction(number, nullptr, &old) == 0 && old.sa_handler != SIG_IGN) {
      signal(number, SIG_DFL);
    }
  }
  sigprocmask(SIG_SETMASK, &before, nullptr);
}

void close_others(std::vector<int> kept) {
  std::sort(kept.begin(), kept.end());
  int first = 0;
  for (const int descriptor : kept) {
    close_descriptors(first, descriptor - 1);
    first = descriptor + 1;
  }
  close_descriptors(first, INT_MAX);
}

bool read_all(int from, char* bytes, size_t size) {
  while (size > 0) {
    const ssize_t count = read(from, bytes, size);
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return false;
    bytes += count;
    size -= static_cast<size_t>(count);
  }
  return true;
}

bool write_all(int to, const char* bytes, size_t size) {
  while (size > 0) {
    const ssize_t written = write(to, bytes, size);
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return false;
    bytes += written;
    size -= static_cast<size_t>(written);
  }
  return true;
}

std::string frame_of(char kind, std::string_view bytes) {
  std::string frame(k_frame_head, kind);
  const auto size = static_cast<uint32_t>(bytes.size());
  memcpy(&frame[1], &size, sizeof size);
  return frame.append(bytes);
}

void log_received(std::string_view text) {
  open_log_file();
  printd_noflush("%.*s", static_cast<int>(text.size()), text.data());
  close_and_flush_log_file();
}

}  // namespace

// --- the worker's side ----------------------------------------------------------------------

void worker_link::write_frame(char kind, std::string_view bytes) {
  const std::string frame = frame_of(kind, bytes);
  if (!write_all(pipe_, frame.data(), frame.size())) _exit(1);
}

bool worker_link::receive(std::string& request) {
  char head[k_frame_head];
  if (!read_all(requests_, head, sizeof head)) return false;
  uint32_t size = 0;
  memcpy(&size, &head[1], sizeof size);
  request.resize(size);
  return read_all(requests_, request.data(), size);
}

void worker_link::send(std::string_view record) {
  write_frame('R', record);
  progress();
}

void worker_link::progress() { state_->steps.fetch_add(1, std::memory_order_release); }

void worker_link::progress(std::string_view next) {
  const size_t length = next.copy(state_->asked, sizeof state_->asked - 1);
  state_->asked[length] = '\0';
  progress();
}

// --- the parent's side ----------------------------------------------------------------------

void worker::unmap::operator()(worker_link::shared_state* state) const {
  munmap(state, sizeof *state);
}

worker::worker(const std::function<void(worker_link&)>& work, std::vector<int> kept) {
  void* memory = mmap(nullptr, sizeof(worker_link::shared_state), PROT_READ | PROT_WRITE,
                      MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  if (memory == MAP_FAILED) return;
  state_.reset(new (memory) worker_link::shared_state);
  int ends[2], asking[2];
  if (pipe2(ends, O_CLOEXEC) != 0) return;
  if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, asking) != 0) {
    close(ends[0]);
    close(ends[1]);
    return;
  }
  const pid_t parent = getpid();
  const double used = static_cast<double>(clock()) / CLOCKS_PER_SEC;
  {
    const blocked_signals blocked;
    child_ = fork();
    if (child_ == 0) {
      prctl(PR_SET_PDEATHSIG, SIGKILL);
      if (getppid() != parent) _exit(1);
      reset_signals(blocked.before());
      kept.insert(kept.end(), {ends[1], asking[0]});
      close_others(kept);
      worker_link link(ends[1], asking[0], state_.get());
      redirect_log([&link](std::string_view text) { link.write_frame('L', text); }, used);
      work(link);
      _exit(0);
    }
  }
  const int errnum = errno;
  close(ends[1]);
  close(asking[0]);
  pipe_ = ends[0];
  requests_ = asking[1];
  moved_ = steady::now();
  if (child_ <= 0) leave();
  errno = errnum;
}

worker::~worker() { leave(); }

// A child that hangs in the kernel may outlive even SIGKILL, until its call returns.
void worker::leave() {
  for (int* end : {&pipe_, &requests_}) {
    if (*end >= 0) close(*end);
    *end = -1;
  }
  if (child_ <= 0) return;
  kill(child_, SIGKILL);
  // A run that ends leaves them to the system.
  const auto patience = steady::now() + (is_stopping() ? milliseconds(0) : k_killed_patience);
  while (waitpid(child_, nullptr, WNOHANG) == 0) {
    if (steady::now() > patience) {
      printd("worker: process %d does not end\n", static_cast<int>(child_));
      break;
    }
    std::this_thread::sleep_for(milliseconds(1));
  }
  child_ = -1;
}

bool worker::ask(std::string_view request) {
  const std::string frame = frame_of('?', request);
  // No signal where the worker is gone.
  return requests_ >= 0 && send(requests_, frame.data(), frame.size(), MSG_NOSIGNAL) ==
                               static_cast<ssize_t>(frame.size());
}

std::string worker::asked() const { return state_ == nullptr ? "" : state_->asked; }

bool worker::take_frame(std::string& record) {
  while (unread_.size() - position_ >= k_frame_head) {
    uint32_t size = 0;
    memcpy(&size, &unread_[position_ + 1], sizeof size);
    if (unread_.size() - position_ - k_frame_head < size) break;
    const char kind = unread_[position_];
    const std::string_view bytes = std::string_view(unread_).substr(position_ + k_frame_head, size);
    position_ += k_frame_head + size;
    if (kind == 'R') {
      record = bytes;
      return true;
    }
    log_received(bytes);
  }
  unread_.erase(0, position_);
  position_ = 0;
  return false;
}

std::optional<worker::event> worker::wait_for_bytes(int slice, int patience) {
  pollfd readable = {pipe_, POLLIN, 0};
  if (!(is_stopping() && is_stop_final_) && poll(&readable, 1, slice) > 0) return event::record;
  if (is_stopping() && is_stop_final_) return event::stopped;
  const uint64_t now = state_->steps.load(std::memory_order_acquire);
  if (now != steps_) moved_ = steady::now();
  steps_ = now;
  const milliseconds limit(patience);
  if (steady::now() - moved_ >= (is_stopping() ? std::min(limit, k_stopping_patience) : limit)) {
    return event::silent;
  }
  return {};
}

std::optional<worker::event> worker::next_within(int slice, std::string& record, int patience) {
  if (last_ != event::record) return last_;
  if (child_ <= 0) return last_ = event::broken;
  if (take_frame(record)) return event::record;
  const std::optional<event> waited = wait_for_bytes(slice, patience);
  if (!waited) return {};
  if (*waited != event::record) return finish(*waited);
  const size_t before = unread_.size();
  unread_.resize(before + k_read_size);
  ssize_t count = 0;
  while ((count = read(pipe_, &unread_[before], k_read_size)) < 0 && errno == EINTR) continue;
  unread_.resize(before + static_cast<size_t>(std::max<ssize_t>(count, 0)));
  if (count <= 0) return finish(event::ended);
  moved_ = steady::now();
  if (take_frame(record)) return event::record;
  return {};
}

worker::event worker::next(std::string& record, int patience) {
  if (state_ != nullptr) steps_ = state_->steps.load(std::memory_order_acquire);
  moved_ = steady::now();
  const int slice = static_cast<int>(std::min<int64_t>(k_longest_wait.count(), patience / 4 + 1));
  for (;;) {
    if (const std::optional<event> got = next_within(slice, record, patience)) return *got;
  }
}

worker::event worker::finish(event last) {
  if (last == event::ended) {
    int status = 0;
    pid_t ended = 0;
    while ((ended = waitpid(child_, &status, 0)) < 0 && errno == EINTR) continue;
    if (ended != child_ || !WIFEXITED(status) || WEXITSTATUS(status) != 0) last = event::broken;
    child_ = -1;
  }
  if (last != event::ended) {
    printd("worker: %s at '%s'\n",
           last == event::silent    ? "no progress"
           : last == event::stopped ? "stopped"
                                    : "died",
           asked().c_str());
  }
  leave();
  return last_ = last;
}

void take_from_all(
    std::vector<std::unique_ptr<worker>> workers, int patience,
    const std::function<bool(size_t whose, worker::event got, const std::string& record)>& take) {
  std::string record;
  for (size_t left = workers.size(); left > 0;) {
    const int slice = std::max(1, k_round / static_cast<int>(left));
    for (size_t i = 0; i < workers.size(); ++i) {
      if (workers[i] == nullptr) continue;
      const std::optional<worker::event> got = workers[i]->next_within(slice, record, patience);
      if (!got || (take(i, *got, record) && *got == worker::event::record)) continue;
      workers[i].reset();
      --left;
    }
  }
}

bool ask_worker(const std::function<std::string()>& work, std::string& answer, int patience) {
  worker asked([&work](worker_link& link) { link.send(work()); });
  if (!asked.is_started()) {
    answer = work();
    return true;
  }
  const worker::event got = asked.next(answer, patience);
  if (got == worker::event::record) return true;
  errno = got == worker::event::silent ? ETIMEDOUT : got == worker::event::stopped ? EINTR : EIO;
  return false;
}

}  // namespace kestrel
