// Running shell commands without ever hanging on one: see command.h.
#include "lib/command.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstring>
#include <ctime>

#include "lib/blocked_signals.h"
#include "lib/debug.h"
#include "lib/getline.h"

namespace kestrel {
namespace {

constexpr uint64_t k_output_limit = 256u << 20;
constexpr int64_t k_no_deadline = INT64_MAX;
constexpr int64_t k_killed_patience = 1000;  // milliseconds

unsigned command_timeout = 600;
volatile sig_atomic_t running_group = 0;

int64_t now_in_milliseconds() {
  timespec now = {};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<int64_t>(now.tv_sec) * 1000 + now.tv_nsec / 1000000;
}

// In the child: its own group, nothing on its standard input and error, the pipe on its output.
[[noreturn]] void become_shell(const char* command, int output, const sigset_t& signals) {
  setpgid(0, 0);
  int null = open("/dev/null", O_RDWR);
  if (null < 0 || dup2(null, STDIN_FILENO) < 0 || dup2(null, STDERR_FILENO) < 0 ||
      dup2(output, STDOUT_FILENO) < 0) {
    _exit(127);
  }
  if (null > STDERR_FILENO) close(null);
  signal(SIGINT, SIG_DFL);
  signal(SIGTERM, SIG_DFL);
  signal(SIGPIPE, SIG_DFL);
  sigprocmask(SIG_SETMASK, &signals, nullptr);
  execl("/bin/sh", "sh", "-c", command, static_cast<char*>(nullptr));
  _exit(127);
}

command_result decode_status(int status) {
  command_result result;
  result.status = status;
  result.exited = WIFEXITED(status);
  if (result.exited) result.exit_code = WEXITSTATUS(status);
  result.signalled = WIFSIGNALED(status);
  if (result.signalled) result.signal = WTERMSIG(status);
  return result;
}

}  // namespace

void set_command_timeout(unsigned seconds) { command_timeout = seconds; }

unsigned get_command_timeout() { return command_timeout; }

void kill_running_command() {
  if (running_group > 0) kill(-static_cast<pid_t>(running_group), SIGKILL);
}

command_stream::command_stream(const char* command, int timeout) : command_(command) {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) return;
  int64_t seconds = command_timeout;
  if (timeout > 0 && (seconds == 0 || timeout < seconds)) seconds = timeout;
  deadline_ = seconds == 0 ? k_no_deadline : now_in_milliseconds() + seconds * 1000;
  {
    const blocked_signals blocked;
    child_ = fork();
    if (child_ == 0) become_shell(command, ends[1], blocked.before());
    if (child_ > 0) {
      setpgid(child_, child_);  // in both processes: whichever comes first
      running_group = child_;
    }
  }
  int errnum = errno;
  ::close(ends[1]);
  if (child_ < 0) {
    ::close(ends[0]);
    errno = errnum;
    return;
  }
  pipe_ = ends[0];
  cookie_io_functions_t functions = {read_output, nullptr, nullptr, nullptr};
  stream_ = fopencookie(this, "r", functions);
  if (stream_ == nullptr) {
    cut_short("no stream");
    close();
  }
}

command_stream::~command_stream() {
  if (child_ > 0) close();
}

int command_stream::milliseconds_left() const {
  if (deadline_ == k_no_deadline) return -1;
  int64_t left = deadline_ - now_in_milliseconds();
  return left <= 0 ? 0 : left > INT_MAX ? INT_MAX : static_cast<int>(left);
}

void command_stream::cut_short(const char* reason) {
  if (cut_) return;
  cut_ = true;
  kill(-child_, SIGKILL);
  printd("command: '%s' killed: %s\n", command_.c_str(), reason);
}

ssize_t command_stream::read_output(void* self, char* buffer, size_t size) {
  return static_cast<command_stream*>(self)->read_some(buffer, size);
}

// A killed command's output ends here even if a grandchild in another group still holds the pipe.
ssize_t command_stream::read_some(char* buffer, size_t size) {
  while (!cut_) {
    if (milliseconds_left() == 0) {  // also while more output keeps coming
      cut_short("deadline passed");
      break;
    }
    pollfd readable = {pipe_, POLLIN, 0};
    int ready = poll(&readable, 1, milliseconds_left());
    if (ready == 0 || (ready < 0 && errno == EINTR)) continue;
    ssize_t count = read(pipe_, buffer, size);
    if (count < 0 && errno == EINTR) continue;
    if (count > 0) bytes_ += static_cast<uint64_t>(count);
    if (bytes_ > k_output_limit) {
      cut_short("more output than is kept");
      break;
    }
    return count;
  }
  return 0;
}

command_result command_stream::close() {
  if (stream_ != nullptr) fclose(stream_);
  stream_ = nullptr;
  if (pipe_ >= 0) ::close(pipe_);
  pipe_ = -1;
  if (child_ <= 0) return {};
  const bool is_ended = wait_for_end();
  // What the command left running in its group must not outlive it. The command itself is waited
  // for last: until then its number belongs to no other group.
  kill(-child_, SIGKILL);
  int status = 0;
  pid_t ended = 0;
  const int options = is_ended ? 0 : WNOHANG;
  while ((ended = waitpid(child_, &status, options)) < 0 && errno == EINTR) continue;
  running_group = 0;
  child_ = -1;
  command_result result = ended <= 0 ? command_result{} : decode_status(status);
  result.cut_short = cut_;
  return result;
}

// Until the command ended, by itself or killed at its deadline. False for one that hangs in the
// kernel, where no signal reaches it: it is left behind.
bool command_stream::wait_for_end() {
  long pause = 50000;  // nanoseconds; a command usually ends right behind its output
  int64_t killed = 0;
  for (;;) {
    siginfo_t ended = {};
    int result = waitid(P_PID, static_cast<id_t>(child_), &ended, WEXITED | WNOHANG | WNOWAIT);
    if (result == 0 && ended.si_pid != 0) return true;
    if (result < 0 && errno != EINTR) return true;
    if (milliseconds_left() == 0) cut_short("deadline passed");
    const int64_t now = now_in_milliseconds();
    if (cut_ && killed == 0) killed = now;
    if (cut_ && now - killed > k_killed_patience) break;
    timespec wait = {0, pause};
    nanosleep(&wait, nullptr);
    if (pause < 10000000) pause *= 2;
  }
  printd("command: process %d does not end\n", static_cast<int>(child_));
  return false;
}

command_result first_line_of(const char* command, std::string& line, int timeout) {
  line.clear();
  command_stream running(command, timeout);
  if (!running.is_open()) return {};
  read_line(running.stream(), line);
  if (!line.empty() && line.back() == '\n') line.pop_back();
  return running.close();
}

}  // namespace kestrel
