// Calls made one after the other by a worker that stays: what it keeps, whom it gives up, and what
// it says of them.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <unistd.h>

#include "lib/notice.h"
#include "lib/stop.h"
#include "lib/worker_server.h"

namespace kestrel {
namespace {

constexpr int k_patience = 1000;

enum class deed { count, hang, die, tell_process };
struct told {
  int value;
};

class WorkerServer : public testing::Test {
 protected:
  int ask(const std::string& name, deed what) {
    told answer = {-1};
    const bool is_answered = calls.ask(name, what, answer);
    EXPECT_EQ(is_answered, answer.value != -1);
    return answer.value;
  }
  int calls_made = 0;
  device_calls<deed, told> calls{"PROBE",
                                 [this](const deed& what) {
                                   if (what == deed::hang) pause();
                                   if (what == deed::die) raise(SIGKILL);
                                   if (what == deed::tell_process) return told{getpid()};
                                   return told{++calls_made};
                                 },
                                 k_patience};
};

TEST_F(WorkerServer, GivesUpWhatHangsAndGoesOn) {
  take_notices();
  EXPECT_EQ(ask("a", deed::count), 1);
  EXPECT_EQ(ask("b", deed::count), 2);  // by the same worker
  EXPECT_EQ(calls_made, 0);
  EXPECT_EQ(ask("a", deed::hang), -1);
  EXPECT_EQ(ask("a", deed::count), -1);  // not asked again
  EXPECT_EQ(ask("b", deed::count), 1);   // by another one
  EXPECT_EQ(ask("c", deed::die), -1);
  EXPECT_EQ(ask("b", deed::count), 1);
  EXPECT_EQ(take_notices(),
            (std::vector<std::string>{"PROBE: a does not answer", "PROBE: c does not answer"}));
}

TEST_F(WorkerServer, AWorkerThatDiedIdleIsNobodysFault) {
  const int process = ask("a", deed::tell_process);
  ASSERT_NE(process, getpid());
  kill(process, SIGKILL);
  siginfo_t ended;
  waitid(P_PID, static_cast<id_t>(process), &ended, WEXITED | WNOWAIT);
  EXPECT_GT(ask("a", deed::tell_process), 0);
  EXPECT_FALSE(calls.is_silent("a"));
}

TEST_F(WorkerServer, ARunThatEndsBlamesNobody) {
  ask("a", deed::count);
  take_notices();
  request_stop(SIGTERM);
  EXPECT_EQ(ask("a", deed::hang), -1);
  request_stop(0);
  EXPECT_EQ(ask("a", deed::count), 2);
  EXPECT_TRUE(take_notices().empty());
}

TEST_F(WorkerServer, WithoutAProcessTheCallsAreMadeHere) {
  rlimit before;
  getrlimit(RLIMIT_NOFILE, &before);
  // Room for a pipe, which a sanitizer needs now and then, but not for the two that a worker has.
  const int next = dup(STDIN_FILENO);
  close(next);
  const rlimit few = {static_cast<rlim_t>(next) + 3, before.rlim_max};
  setrlimit(RLIMIT_NOFILE, &few);
  const int process = ask("a", deed::tell_process);
  setrlimit(RLIMIT_NOFILE, &before);
  EXPECT_EQ(process, getpid());
  EXPECT_EQ(ask("a", deed::count), 1);
  EXPECT_EQ(calls_made, 1);
}

}  // namespace
}  // namespace kestrel
