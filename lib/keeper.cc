// Starts the keeper with the run's first command and talks to it over a socket: a request with the
// command and the pipe for its output, an answer with the process or its status.
#include "lib/keeper.h"

#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/uio.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <thread>

#include "lib/blocked_signals.h"
#include "lib/debug.h"
#include "lib/mounts.h"
#include "lib/utilstr.h"

namespace kestrel {
namespace {

using std::chrono::milliseconds;
using steady = std::chrono::steady_clock;

constexpr int k_patience = 10000;  // milliseconds; ending a command takes it one second at the most
constexpr milliseconds k_reaping_patience{1000};

bool send_all(int to, const char* bytes, size_t size) {
  while (size > 0) {
    const ssize_t sent = send(to, bytes, size, MSG_NOSIGNAL);
    if (sent < 0 && errno == EINTR) continue;
    if (sent <= 0) return false;
    bytes += sent;
    size -= static_cast<size_t>(sent);
  }
  return true;
}

bool send_head(int to, keeper_request head, int passed) {
  alignas(cmsghdr) char space[CMSG_SPACE(sizeof(int))] = {};
  iovec bytes = {&head, sizeof head};
  msghdr message = {};
  message.msg_iov = &bytes;
  message.msg_iovlen = 1;
  if (passed >= 0) {
    message.msg_control = space;
    message.msg_controllen = sizeof space;
    cmsghdr* rights = CMSG_FIRSTHDR(&message);
    rights->cmsg_level = SOL_SOCKET;
    rights->cmsg_type = SCM_RIGHTS;
    rights->cmsg_len = CMSG_LEN(sizeof passed);
    memcpy(CMSG_DATA(rights), &passed, sizeof passed);
  }
  ssize_t sent = 0;
  while ((sent = sendmsg(to, &message, MSG_NOSIGNAL)) < 0 && errno == EINTR) continue;
  return sent == sizeof head;
}

}  // namespace

command_keeper& command_keeper::of_this_process() {
  static command_keeper only;
  return only;
}

command_keeper::~command_keeper() {
  if (is_ours()) leave();
}

// A child of the run (lib/worker.h) has closed the socket and must not end the keeper.
bool command_keeper::is_ours() const { return process_ > 0 && owner_ == getpid(); }

bool command_keeper::make() {
  int ends[2];
  if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) return false;
  // A shell looks at its folder before anything else, and would hang there.
  const bool is_folder_safe = remote_on_way(".") == nullptr;
  {
    const blocked_signals blocked;
    process_ = fork();
    if (process_ == 0 && !is_folder_safe && chdir("/") != 0) _exit(1);
    if (process_ == 0) keep_commands(ends[1]);
  }
  const int errnum = errno;
  close(ends[1]);
  socket_ = ends[0];
  owner_ = getpid();
  if (process_ < 0) leave();
  errno = errnum;
  return process_ > 0;
}

// The keeper ends when its socket is gone; the group is that of a keeper that was killed.
void command_keeper::leave() {
  if (socket_ >= 0) close(socket_);
  socket_ = -1;
  if (process_ <= 0) return;
  const auto patience = steady::now() + k_reaping_patience;
  auto pause = std::chrono::microseconds(50);
  while (waitpid(process_, nullptr, WNOHANG) == 0) {
    if (steady::now() > patience) {
      printd("command: process %d does not end\n", static_cast<int>(process_));
      kill(process_, SIGKILL);
      break;
    }
    std::this_thread::sleep_for(pause);
    pause *= 2;
  }
  process_ = -1;
  if (group_ > 0) kill(-group_, SIGKILL);
  group_ = -1;
}

bool command_keeper::request(keeper_request::kind_of kind, const std::string& text, int passed) {
  const keeper_request head = {kind, static_cast<uint32_t>(text.size())};
  return send_head(socket_, head, passed) && send_all(socket_, text.data(), text.size());
}

bool command_keeper::take_answer(keeper_answer& answer) {
  const auto patience = steady::now() + milliseconds(k_patience);
  pollfd readable = {socket_, POLLIN, 0};
  int ready = 0;
  while ((ready = poll(&readable, 1, k_patience)) < 0 && errno == EINTR &&
         steady::now() < patience) {
    continue;
  }
  ssize_t taken = -1;
  while (ready > 0 && (taken = recv(socket_, &answer, sizeof answer, MSG_WAITALL)) < 0 &&
         errno == EINTR) {
    continue;
  }
  if (taken == sizeof answer) return true;
  printd("command: no answer from process %d\n", static_cast<int>(process_));
  leave();
  errno = ready == 0 ? ETIMEDOUT : EIO;
  return false;
}

pid_t command_keeper::start(const std::string& command, const std::string& environment,
                            int output) {
  const std::string text = std::string(until_nul(command)) + '\0' + environment;
  // One that died is only found out by its silence.
  for (int attempt = 0; attempt < 2; ++attempt) {
    if (!is_ours() && !make()) return -1;
    if (request(keeper_request::start, text, output)) break;
    leave();
  }
  keeper_answer answer = {EIO, 0};
  if (!is_ours() || !take_answer(answer)) return -1;
  errno = answer.error;
  group_ = answer.error == 0 ? answer.value : -1;
  return group_;
}

void command_keeper::end() {
  if (is_ours()) request(keeper_request::end);
}

void command_keeper::ask_for_end() {
  if (is_ours()) request(keeper_request::finish);
}

int command_keeper::take_status() {
  keeper_answer answer = {0, -1};
  if (!is_ours() || !take_answer(answer)) return -1;
  group_ = -1;
  return answer.value;
}

}  // namespace kestrel
