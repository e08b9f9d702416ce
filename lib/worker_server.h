// Calls into many devices, made one after the other by a worker that stays, as it keeps what they
// opened for each other. A device that hangs costs its own answer: the next call gets a new worker.
#pragma once

#include <cstddef>
#include <cstring>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "lib/worker.h"

namespace kestrel {

/// Hands requests to the worker as bytes; see `device_calls`.
class worker_server {
 public:
  using call = std::function<void(const void* request, void* answer)>;
  /// `subject` is whose notices tell of devices that hang. `patience` is what one call may take, in
  /// milliseconds. Once two devices were silent, every further one gets a fifth of it: behind a
  /// dead controller there may be hundreds.
  worker_server(const char* subject, call make, size_t request_size, size_t answer_size,
                int patience);
  worker_server(const worker_server&) = delete;
  worker_server& operator=(const worker_server&) = delete;
  ~worker_server();

  /// False when the device `name` does not answer, now or earlier, and when the run is to end.
  bool ask(const std::string& name, const void* request, void* answer);
  /// Whether it did not answer once; it is not asked again.
  bool is_silent(const std::string& name) const { return silent_.contains(name); }
  /// Ends the worker and with it what it has open; the next call starts one.
  void rest();

 protected:
  struct question {
    std::string name, request;
  };
  /// One question each to many devices at once, by a worker of its own for each; all together may
  /// take `patience`. The answers' bytes, "" for a device that gave none.
  std::vector<std::string> ask_at_once(const std::vector<question>& questions, int patience);

 private:
  bool start();
  void serve(worker_link& link) const;
  bool send_request(const std::string& name, const void* request);
  void note_silent(const std::string& name);

  const char* subject_;
  call make_;
  size_t request_size_, answer_size_;
  int patience_;
  std::set<std::string> silent_;
  std::unique_ptr<worker> worker_;
  bool is_here_ = false;  // where no process can be had
};

/// Calls that turn a `Request` into an `Answer`, both plain data. What `make` changes in itself is
/// there for the next call and forgotten with a worker that was left behind.
template <class Request, class Answer>
class device_calls : public worker_server {
 public:
  device_calls(const char* subject, std::function<Answer(const Request&)> make,
               int patience = k_worker_patience)
      : worker_server(
            subject,
            [make = std::move(make)](const void* request, void* answer) {
              *static_cast<Answer*>(answer) = make(*static_cast<const Request*>(request));
            },
            sizeof(Request), sizeof(Answer), patience) {
    static_assert(std::is_trivially_copyable_v<Request> && std::is_trivially_copyable_v<Answer>);
  }
  /// See `worker_server::ask`; `answer` is unchanged then.
  bool ask(const std::string& name, const Request& request, Answer& answer) {
    return worker_server::ask(name, &request, &answer);
  }
  /// The same for one request to each of many devices, at once: those that are merely slow are
  /// waited for together, `patience` milliseconds in all. An answer a request, nothing for a device
  /// that gave none.
  std::vector<std::optional<Answer>> ask_at_once(
      const std::vector<std::pair<std::string, Request>>& requests, int patience) {
    std::vector<question> questions;
    questions.reserve(requests.size());
    for (const auto& [name, request] : requests) {
      questions.push_back({
          name, {reinterpret_cast<const char*>(&request), sizeof request}
      });
    }
    std::vector<std::optional<Answer>> answers;
    for (const std::string& bytes : worker_server::ask_at_once(questions, patience)) {
      std::optional<Answer>& answer = answers.emplace_back();
      if (bytes.size() == sizeof(Answer)) memcpy(&answer.emplace(), bytes.data(), bytes.size());
    }
    return answers;
  }
};

}  // namespace kestrel
