// What the keeper does: it reads requests from its socket, starts each command in a group of its
// own, finds all that descends from it in /proc, and ends that when asked or when the run is gone.
#include "lib/keeper_process.h"

#include <dirent.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/uio.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "lib/descriptors.h"
#include "lib/file.h"
#include "lib/utilstr.h"

namespace kestrel {
namespace {

using std::chrono::milliseconds;
using steady = std::chrono::steady_clock;

constexpr int k_socket = 3;               // behind the standard streams
constexpr milliseconds k_patience{1000};  // for what was killed

pid_t number_in(std::string_view text) {
  int64_t number = 0;
  scan_decimal(text, number);
  return to_int(number);
}

// Kernels that were built without the list of children have only the table of all processes.
std::vector<pid_t> search_children() {
  std::vector<pid_t> found;
  DIR* processes = opendir("/proc");
  if (processes == nullptr) return found;
  while (const dirent* entry = readdir(processes)) {
    const pid_t process = number_in(entry->d_name);
    if (process <= 0) continue;
    char line[512] = "";
    const file_ptr in = open_regular_file(("/proc/" + std::to_string(process) + "/stat").c_str());
    if (in == nullptr || fgets(line, sizeof line, in.get()) == nullptr) continue;
    const char* name_end = strrchr(line, ')');  // behind it: a blank, the state, the parent
    if (name_end != nullptr && strlen(name_end) > 4 && number_in(name_end + 4) == getpid()) {
      found.push_back(process);
    }
  }
  closedir(processes);
  return found;
}

std::vector<pid_t> list_children() {
  const std::string path = "/proc/self/task/" + std::to_string(getpid()) + "/children";
  const file_ptr in = open_regular_file(path.c_str());
  if (in == nullptr) return search_children();
  std::vector<pid_t> found;
  for (int process = 0; fscanf(in.get(), "%d", &process) == 1;) found.push_back(process);
  return found;
}

int raw_status(const siginfo_t& ended) {
  if (ended.si_code == CLD_EXITED) return (ended.si_status & 0xFF) << 8;
  return ended.si_status | (ended.si_code == CLD_DUMPED ? 0x80 : 0);
}

// The child shares the keeper's memory until it runs the shell: no call but plain system calls.
pid_t run_shell(const char* command, char* const* environment, int output, int& error) {
  const char* const arguments[] = {"sh", "-c", command, nullptr};
  const pid_t keeper = getpid();
  sigset_t none;
  sigemptyset(&none);
  volatile int failure = 0;
  const pid_t child = vfork();
  if (child == 0) {
    setpgid(0, 0);
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != keeper || dup2(output, STDOUT_FILENO) < 0) _exit(127);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    execve("/bin/sh", const_cast<char* const*>(arguments), environment);
    failure = errno;
    _exit(127);
  }
  error = child < 0 ? errno : failure;
  if (child > 0 && error != 0) waitpid(child, nullptr, 0);
  return error == 0 ? child : 0;
}

class keeper {
 public:
  [[noreturn]] void serve();

 private:
  bool take_request();
  void start(int output, std::string text);
  void answer(int error, int value);
  bool has_ended();
  bool kill_children();
  void end_all();

  pid_t leader_ = 0;         // not reaped while it is running: its number stays its group's
  bool is_running_ = false;  // or not asked for yet
  bool is_killed_ = false;
  bool is_awaited_ = false;
  int status_ = -1;
  std::vector<pid_t> left_behind_;
};

bool keeper::has_ended() {
  siginfo_t ended = {};
  if (waitid(P_PID, static_cast<id_t>(leader_), &ended, WEXITED | WNOHANG | WNOWAIT) != 0 ||
      ended.si_pid == 0) {
    return false;
  }
  status_ = raw_status(ended);
  return true;
}

// False when none is left that may still end.
bool keeper::kill_children() {
  kill(-leader_, SIGKILL);
  bool is_any_left = false;
  for (const pid_t child : list_children()) {
    const bool is_ended =
        child == leader_ ? has_ended()
                         : kill(child, SIGKILL) != 0 || waitpid(child, nullptr, WNOHANG) == child;
    const bool is_stuck =
        std::find(left_behind_.begin(), left_behind_.end(), child) != left_behind_.end();
    if (!is_ended && !is_stuck) is_any_left = true;
  }
  return is_any_left;
}

// One killed orphans others, which then are children too. What hangs in the kernel is not waited
// for again.
void keeper::end_all() {
  const auto patience = steady::now() + k_patience;
  auto pause = std::chrono::microseconds(50);
  while (kill_children()) {
    if (steady::now() > patience) {
      left_behind_ = list_children();
      return;
    }
    std::this_thread::sleep_for(pause);
    pause = std::min(pause * 2, std::chrono::microseconds(10000));
  }
}

void keeper::answer(int error, int value) {
  const keeper_answer text = {error, value};
  if (send(k_socket, &text, sizeof text, MSG_NOSIGNAL) != sizeof text) _exit(1);
}

void keeper::start(int output, std::string text) {
  text += '\0';
  std::vector<char*> parts;
  for (size_t at = 0; at < text.size() - 1; at = text.find('\0', at) + 1) {
    parts.push_back(&text[at]);
  }
  parts.push_back(nullptr);
  int error = EINVAL;
  leader_ = parts[0] == nullptr ? 0 : run_shell(parts[0], &parts[1], output, error);
  is_running_ = leader_ > 0;
  is_killed_ = is_awaited_ = false;
  status_ = -1;
  answer(error, leader_);
}

// The descriptor that came with a message, -1 for none.
int received_descriptor(msghdr& message) {
  const cmsghdr* head = CMSG_FIRSTHDR(&message);
  if (head == nullptr || head->cmsg_type != SCM_RIGHTS) return -1;
  int descriptor = -1;
  memcpy(&descriptor, CMSG_DATA(head), sizeof descriptor);
  return descriptor;
}

// False when the run is gone.
bool keeper::take_request() {
  keeper_request request = {};
  alignas(cmsghdr) char space[CMSG_SPACE(sizeof(int))] = {};
  iovec bytes = {&request, sizeof request};
  msghdr message = {};
  message.msg_iov = &bytes;
  message.msg_iovlen = 1;
  message.msg_control = space;
  message.msg_controllen = sizeof space;
  if (recvmsg(k_socket, &message, MSG_WAITALL | MSG_CMSG_CLOEXEC) != sizeof request) return false;
  if (request.kind == keeper_request::start) {
    const int output = received_descriptor(message);
    std::string text(request.size, '\0');
    if (recv(k_socket, text.data(), text.size(), MSG_WAITALL) !=
        static_cast<ssize_t>(text.size())) {
      return false;
    }
    start(output, std::move(text));
    close(output);
  } else if (request.kind == keeper_request::finish) {
    is_awaited_ = is_running_;
  } else if (is_running_) {
    end_all();
    is_killed_ = true;
  }
  return true;
}

void keeper::serve() {
  sigset_t all_but_child;
  sigfillset(&all_but_child);
  sigdelset(&all_but_child, SIGCHLD);
  for (;;) {
    pollfd readable = {k_socket, POLLIN, 0};
    const bool is_asked = ppoll(&readable, 1, nullptr, &all_but_child) > 0;
    if (is_asked && !take_request()) break;
    if (!is_awaited_ || (!has_ended() && !is_killed_)) continue;
    end_all();
    waitpid(leader_, nullptr, WNOHANG);
    is_awaited_ = is_running_ = false;
    answer(0, status_);
  }
  if (is_running_) end_all();
  _exit(0);
}

void do_nothing(int) {}

}  // namespace

// A session of its own keeps it from the signals of the run's group and its commands from the
// terminal. SIGCHLD needs a handler, or it would not end the wait for requests.
void keep_commands(int socket) {
  setsid();
  prctl(PR_SET_NAME, "command-keeper");
  prctl(PR_SET_CHILD_SUBREAPER, 1);
  for (int number = 1; number < NSIG; ++number) signal(number, SIG_DFL);
  signal(SIGCHLD, do_nothing);
  const int null = open("/dev/null", O_RDWR | O_CLOEXEC);
  for (int standard = 0; standard < k_socket; ++standard) {
    if (dup2(null, standard) < 0) _exit(1);
  }
  if (socket != k_socket && dup3(socket, k_socket, O_CLOEXEC) < 0) _exit(1);
  close_descriptors(k_socket + 1, INT_MAX);
  keeper().serve();
}

}  // namespace kestrel
