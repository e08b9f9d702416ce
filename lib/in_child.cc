// See in_child.h.
#include "lib/in_child.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <vector>

#include "lib/blocked_signals.h"
#include "lib/debug.h"

namespace kestrel {

namespace {

// Served over a network, by a cluster or by a process of this machine.
constexpr std::string_view k_remote_types[] = {
    "9p",    "acfs",  "afs",  "autofs", "beegfs", "ceph",     "cifs", "coda",
    "davfs", "gfs",   "gfs2", "gpfs",   "lustre", "ncpfs",    "nfs",  "nfs4",
    "ocfs2", "pvfs2", "smb3", "smbfs",  "vboxsf", "virtiofs",
};

constexpr int k_descriptors = 1024;  // more than a run ever has open

// Its own signal handlers would clean up after the parent, who still runs. A child that hangs in
// the kernel outlives him, so it holds nothing whose end somebody waits for: no console, no report.
[[noreturn]] void answer_parent(const std::function<bool(void* answer)>& work, int out,
                                void* answer, size_t size, int kept, const sigset_t& signals) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);  // a run that is ended leaves nobody behind
  for (int caught : {SIGINT, SIGTERM, SIGHUP}) {
    struct sigaction before = {};
    if (sigaction(caught, nullptr, &before) == 0 && before.sa_handler != SIG_IGN) {
      signal(caught, SIG_DFL);
    }
  }
  sigprocmask(SIG_SETMASK, &signals, nullptr);
  for (int held = 0; held < k_descriptors; ++held) {
    if (held != out && held != kept) close(held);
  }
  const bool is_sent = work(answer) && write(out, answer, size) == static_cast<ssize_t>(size);
  _exit(is_sent ? 0 : 1);
}

// A process that hangs in the kernel may outlive even SIGKILL: it is then left behind.
void kill_and_reap(pid_t child) {
  kill(child, SIGKILL);
  for (int attempt = 0; attempt < 100; ++attempt) {
    const pid_t ended = waitpid(child, nullptr, WNOHANG);
    if (ended == child || (ended < 0 && errno != EINTR)) return;
    const timespec pause = {0, 1000000};
    nanosleep(&pause, nullptr);
  }
  printd("in_child: process %d does not end\n", static_cast<int>(child));
}

}  // namespace

bool may_hang(std::string_view type) {
  const auto* end = std::end(k_remote_types);
  return type.starts_with("fuse") || std::find(std::begin(k_remote_types), end, type) != end;
}

bool run_in_child(const std::function<bool(void* answer)>& work, int milliseconds, void* answer,
                  size_t size, int kept) {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) return false;
  std::vector<unsigned char> found(size);
  const pid_t child = [&] {
    const blocked_signals blocked;
    const pid_t forked = fork();
    if (forked == 0) answer_parent(work, ends[1], found.data(), size, kept, blocked.before());
    return forked;
  }();
  close(ends[1]);
  bool is_answered = false;
  if (child > 0) {
    pollfd readable = {ends[0], POLLIN, 0};
    int ready = 0;
    while ((ready = poll(&readable, 1, milliseconds)) < 0 && errno == EINTR) continue;
    is_answered = ready > 0 && read(ends[0], found.data(), size) == static_cast<ssize_t>(size);
    kill_and_reap(child);
    errno = ready == 0 ? ETIMEDOUT : EIO;
  }
  close(ends[0]);
  if (is_answered) std::copy(found.begin(), found.end(), static_cast<unsigned char*>(answer));
  return is_answered;
}

bool is_answering(const char* path) {
  bool is_there = false;
  const auto look = [path](bool& found) {
    struct stat status;
    struct statvfs usage;
    found = stat(path, &status) == 0 && statvfs(path, &usage) == 0;
    return true;
  };
  return read_in_child(look, k_server_patience, is_there) || errno != ETIMEDOUT;
}

}  // namespace kestrel
