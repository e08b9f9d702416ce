// Running shell commands without ever hanging on one: see command.h.
#include "lib/command.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "lib/command_path.h"
#include "lib/debug.h"
#include "lib/getline.h"
#include "lib/keeper.h"
#include "lib/notice.h"
#include "lib/stop.h"
#include "lib/utilstr.h"

namespace kestrel {
namespace {

using std::chrono::milliseconds;
using steady = std::chrono::steady_clock;

constexpr unsigned k_megabytes = 256;
constexpr uint64_t k_output_limit = uint64_t{k_megabytes} << 20;
constexpr milliseconds k_longest_wait{250};  // until a stop is looked for again

volatile sig_atomic_t running_group = 0;

command_result decode_status(int status) {
  command_result result;
  if (status == -1) return result;
  result.status = status;
  result.exited = WIFEXITED(status);
  if (result.exited) result.exit_code = WEXITSTATUS(status);
  result.signalled = WIFSIGNALED(status);
  if (result.signalled) result.signal = WTERMSIG(status);
  return result;
}

const char* reason_of(command_cut why) {
  return why == command_cut::deadline ? "deadline passed"
         : why == command_cut::output ? "more output than is kept"
                                      : "the run is to end";
}

}  // namespace

void kill_running_command() {
  if (running_group > 0) kill(-static_cast<pid_t>(running_group), SIGKILL);
}

void tell_cut(const command_result& result, std::string_view subject, size_t rows) {
  if (result.cut == command_cut::deadline) {
    add_notice(subject, format_text("stopped after %d s, %zu rows", result.seconds, rows));
  } else if (result.cut == command_cut::output) {
    add_notice(subject, format_text("stopped at %u MB, %zu rows", k_megabytes, rows));
  }
}

command_stream::command_stream(const char* command, int timeout, const char* tool)
    : command_(command), tool_(tool != nullptr ? tool : tool_of(command)) {
  const std::string environment = command_environment();
  errno = EINTR;
  if (is_stopping()) return;
  errno = EBUSY;
  if (running_group != 0) return;
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) return;
  seconds_ = seconds_for(tool_, timeout);
  start_ = steady::now();
  child_ = command_keeper::of_this_process().start(command_, environment, ends[1]);
  const int errnum = errno;
  ::close(ends[1]);
  if (child_ < 0) {
    ::close(ends[0]);
    errno = errnum;
    return;
  }
  running_group = child_;
  pipe_ = ends[0];
  cookie_io_functions_t functions = {read_output, nullptr, nullptr, nullptr};
  stream_ = fopencookie(this, "r", functions);
  if (stream_ == nullptr) {
    cut_short(command_cut::stop);
    close();
    errno = ENOMEM;
  }
}

command_stream::~command_stream() {
  if (child_ > 0) close();
}

milliseconds command_stream::time_left() const {
  if (seconds_ == 0) return milliseconds::max();
  const auto left = start_ + std::chrono::seconds(seconds_) - steady::now();
  return std::max(std::chrono::duration_cast<milliseconds>(left), milliseconds(0));
}

void command_stream::cut_short(command_cut why) {
  cut_ = why;
  command_keeper::of_this_process().end();
  printd("command: '%s' killed: %s\n", command_.c_str(), reason_of(why));
}

// Until it is readable; false when the command was cut short, now or earlier.
bool command_stream::wait_for(int descriptor) {
  while (cut_ == command_cut::none) {
    const milliseconds left = time_left();  // also while more output keeps coming
    if (is_stopping()) {
      cut_short(command_cut::stop);
    } else if (left == milliseconds(0)) {
      cut_short(command_cut::deadline);
    } else {
      pollfd readable = {descriptor, POLLIN, 0};
      const auto wait = static_cast<int>(std::min(left, k_longest_wait).count());
      if (poll(&readable, 1, wait) > 0) return true;
    }
  }
  return false;
}

ssize_t command_stream::read_output(void* self, char* buffer, size_t size) {
  return static_cast<command_stream*>(self)->read_some(buffer, size);
}

// The output of one that was cut short ends here, even if somebody still holds the pipe.
ssize_t command_stream::read_some(char* buffer, size_t size) {
  if (!wait_for(pipe_)) return 0;
  ssize_t count = 0;
  while ((count = read(pipe_, buffer, size)) < 0 && errno == EINTR) continue;
  if (count <= 0) return count;
  bytes_ += static_cast<uint64_t>(count);
  if (bytes_ > k_output_limit) {
    cut_short(command_cut::output);
    return 0;
  }
  lines_ += static_cast<size_t>(std::count(buffer, buffer + count, '\n'));
  return count;
}

command_result command_stream::close() {
  if (stream_ != nullptr) fclose(stream_);
  stream_ = nullptr;
  if (pipe_ >= 0) ::close(pipe_);
  pipe_ = -1;
  if (child_ <= 0) return {};
  running_group = 0;  // from the answer on, its number may be another's
  command_keeper& keeper = command_keeper::of_this_process();
  keeper.ask_for_end();
  wait_for(keeper.descriptor());
  command_result result = decode_status(keeper.take_status());
  child_ = -1;
  if (result.status == -1) printd("command: '%s' does not end\n", command_.c_str());
  result.cut = cut_;
  result.seconds = seconds_;
  note_command(tool_, std::chrono::duration_cast<milliseconds>(steady::now() - start_),
               cut_ == command_cut::deadline);
  return result;
}

command_result command_stream::finish(std::string_view subject, size_t rows) {
  const command_result result = close();
  tell_cut(result, subject, rows);
  return result;
}

command_result first_line_of(const char* command, std::string& line, int timeout,
                             const char* tool) {
  line.clear();
  command_stream running(command, timeout, tool);
  if (!running.is_open()) return {};
  read_line(running.stream(), line);
  if (!line.empty() && line.back() == '\n') line.pop_back();
  return running.close();
}

}  // namespace kestrel
