// Workers: records, hanging, dying, slow ones, and the log that comes through the parent.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>

#include "lib/debug.h"
#include "lib/interface.h"
#include "lib/stop.h"
#include "lib/worker.h"

namespace kestrel {
namespace {

constexpr int k_patience = 2000;
using event = worker::event;

std::string all_records(worker& from, event& last) {
  std::string all, record;
  while ((last = from.next(record, k_patience)) == event::record) all += record + ",";
  return all;
}

TEST(worker, keeps_what_was_sent_however_it_ends) {
  const std::string large(200000, 'x');
  struct {
    void (*ending)();
    event last;
  } const cases[] = {
      {[] {},                  event::ended },
      {[] { pause(); },        event::silent},
      {[] { _exit(3); },       event::broken},
      {[] { raise(SIGKILL); }, event::broken},
  };
  for (const auto& one : cases) {
    worker asked([&](worker_link& link) {
      link.send("one");
      link.send("");
      link.send(large);
      link.progress("/dead/folder");
      one.ending();
    });
    ASSERT_TRUE(asked.is_started());
    event last;
    EXPECT_EQ(all_records(asked, last), "one,," + large + ",");
    EXPECT_EQ(last, one.last);
    EXPECT_EQ(asked.asked(), "/dead/folder");
  }
}

TEST(worker, may_be_slow_as_long_as_it_goes_on) {
  worker slow([](worker_link& link) {
    for (int i = 0; i < 10; ++i) {
      usleep(k_patience * 1000 / 8);
      link.progress();
    }
    link.send("done");
  });
  event last;
  EXPECT_EQ(all_records(slow, last), "done,");
  EXPECT_EQ(last, event::ended);
}

TEST(worker, holds_no_descriptor_but_those_named) {
  const int kept = open("/dev/null", O_RDONLY), other = open("/dev/null", O_RDONLY);
  worker asked(
      [&](worker_link& link) {
        std::string held;
        for (int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO, kept, other}) {
          held += fcntl(descriptor, F_GETFD) < 0 ? '-' : '+';
        }
        link.send(held);
      },
      {kept});
  std::string held;
  ASSERT_EQ(asked.next(held), event::record);
  EXPECT_EQ(held, "---+-");
  close(kept);
  close(other);
}

TEST(worker, ends_with_the_run) {
  worker asked([](worker_link&) { pause(); });
  request_stop(SIGTERM);
  std::string record;
  EXPECT_EQ(asked.next(record), event::stopped);
  request_stop(0);
}

TEST(worker, logs_through_its_parent) {
  FILE* log = tmpfile();
  enable_log_to_stream(log);
  printd("before ");  // unwritten when the worker starts, to be written once
  worker asked([](worker_link& link) {
    printd("in the worker\n");
    link.send("x");
  });
  std::string record;
  EXPECT_EQ(asked.next(record), event::record);
  printd("behind\n");
  disable_log_to_stream();
  std::string text(4096, '\0');
  rewind(log);
  text.resize(fread(text.data(), 1, text.size(), log));
  fclose(log);
  EXPECT_EQ(text.substr(text.find("before"), 21), "before in the worker\n");
  EXPECT_EQ(text.find("before", text.find("before") + 1), std::string::npos);
  EXPECT_LT(text.find("in the worker"), text.find("behind"));
}

TEST(ask_worker, answers_or_tells_why_not) {
  std::string answer;
  EXPECT_TRUE(ask_worker([] { return std::string("yes"); }, answer, k_patience));
  EXPECT_EQ(answer, "yes");
  EXPECT_FALSE(ask_worker([] { return pause(), std::string("never"); }, answer, k_patience));
  EXPECT_EQ(errno, ETIMEDOUT);
  EXPECT_EQ(answer, "yes");
}

}  // namespace
}  // namespace kestrel
