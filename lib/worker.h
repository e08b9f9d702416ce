// Calls into a file system or a device that is not ours to trust can hang in the kernel, where no
// signal ends them. A worker makes them: a child process that sends records through a pipe. Its
// parent waits for progress, leaves a worker that makes none behind, and keeps what it had sent.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kestrel {

/// How long a worker may go without progress, in milliseconds.
inline constexpr int k_worker_patience = 5000;

/// The worker's side of its pipe.
class worker_link {
 public:
  /// Sends one record, at once: what was sent is not lost, whatever happens next. Ends the worker
  /// when nobody listens any more.
  void send(std::string_view record);
  /// Tells that it is alive; costs no call.
  void progress();
  /// The same, and what it asks next (a path, a device; cut at 4095 bytes): told should it hang.
  void progress(std::string_view next);
  /// Waits for what the parent asks; false when it will ask nothing more.
  bool receive(std::string& request);

 private:
  friend class worker;
  struct shared_state;
  worker_link(int pipe, int requests, shared_state* state)
      : pipe_(pipe), requests_(requests), state_(state) {}
  void write_frame(char kind, std::string_view bytes);

  int pipe_, requests_;
  shared_state* state_;
};

/// One worker and what it sends. Of the open descriptors it has only those named, none of the
/// run's streams: a worker that hangs keeps no console, report or pipe open, and dies with its
/// call. It dies with its parent, too. What it writes to the debug log comes through the parent.
class worker {
 public:
  enum class event {
    record,   ///< `record` holds the next one
    ended,    ///< the work is done
    silent,   ///< no progress for the whole patience: it is left behind
    broken,   ///< it died before its work was done
    stopped,  ///< the run was asked to end
  };

  /// From now on a run that was asked to end waits for it all the same, as long as it makes
  /// progress within a second.
  void wait_through_stop() { is_stop_final_ = false; }
  /// Starts `work` in a child. Its `kept` descriptors stay open there.
  explicit worker(const std::function<void(worker_link&)>& work, std::vector<int> kept = {});
  worker(const worker&) = delete;
  worker& operator=(const worker&) = delete;
  ~worker();

  /// False where no process could be had; errno tells why.
  bool is_started() const { return child_ > 0; }
  /// Waits for the next record. Every event but `record` is final.
  event next(std::string& record, int patience = k_worker_patience);
  /// The same for who waits for several workers: nothing when `slice` milliseconds brought no
  /// event.
  std::optional<event> next_within(int slice, std::string& record, int patience);
  /// Hands it a request, which waits until the worker takes it: 60 KB at most, one at a time.
  bool ask(std::string_view request);
  /// What the worker said last that it would ask.
  std::string asked() const;

 private:
  struct unmap {
    void operator()(worker_link::shared_state* state) const;
  };
  bool take_frame(std::string& record);
  std::optional<event> wait_for_bytes(int slice, int patience);
  event finish(event last);
  void leave();

  std::unique_ptr<worker_link::shared_state, unmap> state_;
  pid_t child_ = -1;
  int pipe_ = -1;
  int requests_ = -1;
  std::string unread_;
  size_t position_ = 0;
  event last_ = event::record;
  uint64_t steps_ = 0;                                // as seen last
  std::chrono::steady_clock::time_point moved_ = {};  // when they changed, or the wait began
  bool is_stop_final_ = true;
};

/// Waits for all at once: `take` is told every event, whose it is (with the record), and says
/// whether more is to come from that worker. Those that are done, and what is no record, are gone.
void take_from_all(
    std::vector<std::unique_ptr<worker>> workers, int patience,
    const std::function<bool(size_t whose, worker::event got, const std::string& record)>& take);

/// (Kept ready; no program calls it yet.)
/// Makes one call that can hang: `work` returns its answer as bytes. False, and errno ETIMEDOUT,
/// when it gave none within `patience` milliseconds; errno EINTR when the run was asked to end;
/// where no process can be had the call is made here.
bool ask_worker(const std::function<std::string()>& work, std::string& answer,
                int patience = k_worker_patience);

}  // namespace kestrel
