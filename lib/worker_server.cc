// The two ends of worker_server.h: requests go through a socket, each a message of its bytes and
// the device's name; answers come as the worker's records.
#include "lib/worker_server.h"

#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <utility>
#include <vector>

#include "lib/notice.h"
#include "lib/stop.h"

namespace kestrel {
namespace {

constexpr size_t k_longest_name = 255;
constexpr size_t k_patient_with = 2;
constexpr int k_impatient = 5;

}  // namespace

worker_server::worker_server(const char* subject, call make, size_t request_size,
                             size_t answer_size, int patience)
    : subject_(subject),
      make_(std::move(make)),
      request_size_(request_size),
      answer_size_(answer_size),
      patience_(patience) {}

worker_server::~worker_server() { rest(); }

void worker_server::rest() {
  worker_.reset();
  if (requests_ >= 0) close(requests_);
  requests_ = -1;
}

// The worker's side. It ends with its parent's end of the socket.
void worker_server::serve(worker_link& link, int requests) const {
  std::vector<char> message(request_size_ + k_longest_name);
  std::string answer(answer_size_, '\0');
  ssize_t size = 0;
  while ((size = recv(requests, message.data(), message.size(), 0)) != 0) {
    if (size < 0 && errno == EINTR) continue;
    if (size < static_cast<ssize_t>(request_size_)) return;
    const std::string_view bytes(message.data(), static_cast<size_t>(size));
    link.progress(bytes.substr(request_size_));
    make_(message.data(), answer.data());
    link.send(answer);
  }
}

bool worker_server::start() {
  if (worker_ != nullptr) return true;
  int ends[2];
  if (is_here_ || socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends) != 0) return false;
  worker_ = std::make_unique<worker>(
      [this, requests = ends[1]](worker_link& link) { serve(link, requests); },
      std::vector<int>{ends[1]});
  close(ends[1]);
  requests_ = ends[0];
  is_here_ = !worker_->is_started();
  if (is_here_) rest();
  return !is_here_;
}

// A worker that died in between, with nothing to do, is no device's fault.
bool worker_server::send_request(const std::string& name, const void* request) {
  std::string message(static_cast<const char*>(request), request_size_);
  message.append(name, 0, k_longest_name);
  for (int attempt = 0; attempt < 2 && start(); ++attempt) {
    const ssize_t sent = send(requests_, message.data(), message.size(), MSG_NOSIGNAL);
    if (sent == static_cast<ssize_t>(message.size())) return true;
    rest();
  }
  return false;
}

bool worker_server::ask(const std::string& name, const void* request, void* answer) {
  if (is_silent(name) || is_stopping()) return false;
  if (!send_request(name, request)) {
    is_here_ = true;
    make_(request, answer);
    return true;
  }
  std::string record;
  const int patience = silent_.size() < k_patient_with ? patience_ : patience_ / k_impatient;
  const worker::event got = worker_->next(record, patience);
  if (got == worker::event::record && record.size() == answer_size_) {
    memcpy(answer, record.data(), answer_size_);
    return true;
  }
  rest();
  if (is_stopping()) return false;
  silent_.insert(name);
  add_notice(subject_, name + " does not answer");
  return false;
}

}  // namespace kestrel
