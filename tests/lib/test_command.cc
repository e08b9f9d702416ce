// Commands: their surroundings, their limits, and that nothing they start outlives them.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <thread>
#include <vector>

#include "lib/command.h"
#include "lib/getline.h"
#include "lib/notice.h"
#include "lib/stop.h"
#include "tests/lib/scratch.h"

using namespace kestrel;
using namespace std::chrono_literals;

namespace {

using lines = std::vector<std::string>;

constexpr const char* k_sleep = "sleep 5000";
constexpr int k_hang = 60;  // seconds that only a hang takes

lines output_of(const char* command) {
  command_stream running(command);
  EXPECT_TRUE(running.is_open());
  lines found;
  for (std::string line; running.is_open() && read_line(running.stream(), line);) {
    found.emplace_back(without_newline(line));
  }
  running.finish("Output", found.size());
  return found;
}

bool is_running(pid_t process) { return kill(process, 0) == 0; }

// Processes that were killed by another one are gone a moment later.
void expect_gone(const lines& processes) {
  for (const std::string& process : processes) {
    const pid_t number = std::stoi(process);
    for (int i = 0; i < 10 * k_hang && is_running(number); ++i) {
      std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    EXPECT_FALSE(is_running(number)) << process;
    if (is_running(number)) kill(number, SIGKILL);
  }
}

// Prints its process id and those of two that try to get away, one by a session of its own.
std::string with_runaways(const std::string& last) {
  const std::string sleeper = std::string("sh -c 'echo $$; exec ") + k_sleep + "' 2>&1";
  return "echo $$; (setsid " + sleeper + " & ) ; (" + sleeper + " & ) ; " + last;
}

class Commands : public testing::Test {
 protected:
  Commands() { set_command_timeout(k_hang); }
  ~Commands() override {
    set_command_timeout(600);
    request_stop(0);
    take_notices();
  }
};

}  // namespace

TEST_F(Commands, HaveCleanSurroundings) {
  signal(SIGHUP, SIG_IGN);
  signal(SIGPIPE, SIG_IGN);
  EXPECT_EQ(output_of("grep -E 'Sig(Blk|Ign)' /proc/self/status | tr -d '\\t0'"),
            (lines{"SigBlk:", "SigIgn:"}));
  EXPECT_EQ(output_of("ls /proc/self/fd; true > /dev/tty || echo none"),
            (lines{"0", "1", "2", "3", "none"}));
  signal(SIGHUP, SIG_DFL);
  signal(SIGPIPE, SIG_DFL);

  const std::string path = getenv("PATH");
  setenv("PATH", "/usr/bin:/sbin::/bin", 1);
  setenv("KESTREL_TEST", "a\nb", 1);
  EXPECT_EQ(output_of("echo $PATH; echo \"$KESTREL_TEST\"; pwd"),
            (lines{"/usr/bin:/sbin::/bin:/usr/local/sbin:/usr/sbin", "a", "b",
                   std::filesystem::current_path()}));
  EXPECT_STREQ(getenv("PATH"), "/usr/bin:/sbin::/bin");
  setenv("PATH", path.c_str(), 1);

  std::string line;
  EXPECT_EQ(first_line_of("echo x; exit 3", line).exit_code, 3);
  EXPECT_EQ(line, "x");
  EXPECT_EQ(first_line_of("kill -SEGV $$", line).signal, SIGSEGV);
  EXPECT_EQ(take_notices(), lines{});
}

TEST_F(Commands, EndWithAllThatTheyStarted) {
  const pid_t bystander = fork();
  if (bystander == 0) {
    setsid();
    execlp("sleep", "sleep", "5000", nullptr);
    _exit(1);
  }
  // By itself: the runaways hold the pipe, so only the first lines are read.
  lines processes;
  {
    command_stream running(with_runaways("exit 3").c_str());
    for (std::string line; processes.size() < 3 && read_line(running.stream(), line);) {
      processes.emplace_back(without_newline(line));
    }
    EXPECT_EQ(running.close().exit_code, 3);
  }
  expect_gone(processes);
  set_command_timeout(3);  // at its limit
  processes = output_of(with_runaways(k_sleep).c_str());
  expect_gone(processes);
  EXPECT_EQ(take_notices(),
            lines{"Output: stopped after 3 s, " + std::to_string(processes.size()) + " rows"});
  EXPECT_TRUE(is_running(bystander));
  kill(bystander, SIGKILL);
  waitpid(bystander, nullptr, 0);
}

TEST_F(Commands, EndWithARunThatIsKilled) {
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  const pid_t run = fork();
  if (run == 0) {
    command_stream running(with_runaways(k_sleep).c_str());
    std::string line;
    for (int i = 0; i < 3 && read_line(running.stream(), line); ++i) {
      if (write(ends[1], line.data(), line.size()) < 0) _exit(1);
    }
    pause();
  }
  close(ends[1]);
  FILE* told = fdopen(ends[0], "r");
  lines processes;
  for (std::string line; processes.size() < 3 && read_line(told, line);) {
    processes.emplace_back(without_newline(line));
  }
  EXPECT_EQ(processes.size(), 3u);
  kill(run, SIGKILL);
  waitpid(run, nullptr, 0);
  expect_gone(processes);
  fclose(told);
}

TEST_F(Commands, StopWithTheRun) {
  signal(SIGALRM, request_stop);
  itimerval soon = {};
  soon.it_value.tv_usec = 300000;
  command_stream running((std::string("echo first; ") + k_sleep).c_str());
  setitimer(ITIMER_REAL, &soon, nullptr);
  std::string line;
  EXPECT_TRUE(read_line(running.stream(), line));
  EXPECT_FALSE(read_line(running.stream(), line));
  EXPECT_EQ(running.finish("Output", 1).cut, command_cut::stop);
  EXPECT_EQ(take_notices(), lines{});
  const command_stream another("echo");
  EXPECT_EQ(errno, EINTR);
  EXPECT_FALSE(another.is_open());
  signal(SIGALRM, SIG_DFL);
}

TEST_F(Commands, OutputIsBounded) {
  command_stream running("yes");
  char block[1 << 16];
  while (fread(block, 1, sizeof block, running.stream()) > 0) continue;
  const size_t rows = running.lines();
  EXPECT_LE(rows, size_t{128} << 20);
  EXPECT_EQ(running.finish("Flood", rows).cut, command_cut::output);
  EXPECT_EQ(take_notices(), lines{"Flood: stopped at 256 MB, " + std::to_string(rows) + " rows"});
}

TEST(CommandLimits, AreShorterForWhatHung) {
  EXPECT_EQ(tool_of("/usr/bin/ps --x"), "ps");
  EXPECT_EQ(tool_of("rpm"), "rpm");
  EXPECT_EQ(tool_of("export A=b; cat $(ls)"), "cat");
  set_command_timeout(600);
  EXPECT_EQ(seconds_for("rpm", 0), 600);
  EXPECT_EQ(seconds_for("tune2fs", 10), 10);
  note_command("rpm", 29min, false);
  EXPECT_EQ(seconds_for("rpm", 0), 60);  // of half an hour
  for (const int left : {5, 5, 1, 1}) {
    note_command("tune2fs", 0s, true);
    EXPECT_EQ(seconds_for("tune2fs", 10), left);
  }
  note_command("which", 0s, true);
  EXPECT_EQ(seconds_for("which", 5), 1);
  note_command("rpm", 1min, false);
  EXPECT_EQ(seconds_for("rpm", 0), 5);
  set_command_timeout(3);
  EXPECT_EQ(seconds_for("tune2fs", 10), 3);
  set_command_timeout(0);
  note_command("rpm", 1000000s, true);
  EXPECT_EQ(seconds_for("ps", 0), 0);
  EXPECT_EQ(seconds_for("rpm", 0), 5);
  set_command_timeout(600);
}
