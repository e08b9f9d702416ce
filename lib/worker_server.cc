// The two ends of worker_server.h: a request is its bytes and the device's name; answers come as
// the worker's records.
#include "lib/worker_server.h"

#include <cstring>
#include <utility>

#include "lib/notice.h"
#include "lib/stop.h"

namespace kestrel {
namespace {

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

worker_server::~worker_server() = default;

void worker_server::rest() { worker_.reset(); }

// The worker's side.
void worker_server::serve(worker_link& link) const {
  std::string answer(answer_size_, '\0');
  for (std::string message; link.receive(message);) {
    if (message.size() < request_size_) return;
    link.progress(std::string_view(message).substr(request_size_));
    make_(message.data(), answer.data());
    link.send(answer);
  }
}

bool worker_server::start() {
  if (worker_ != nullptr) return true;
  if (is_here_) return false;
  worker_ = std::make_unique<worker>([this](worker_link& link) { serve(link); });
  is_here_ = !worker_->is_started();
  if (is_here_) rest();
  return !is_here_;
}

// A worker that died in between, with nothing to do, is no device's fault.
bool worker_server::send_request(const std::string& name, const void* request) {
  const std::string message = std::string(static_cast<const char*>(request), request_size_) + name;
  for (int attempt = 0; attempt < 2 && start(); ++attempt) {
    if (worker_->ask(message)) return true;
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
