// The two ends of worker_server.h: a request is its bytes and the device's name; answers come as
// the worker's records.
#include "lib/worker_server.h"

#include <algorithm>
#include <chrono>
#include <cstring>
#include <utility>

#include "lib/notice.h"
#include "lib/stop.h"

namespace kestrel {
namespace {

constexpr size_t k_patient_with = 2;
constexpr int k_impatient = 5;
constexpr size_t k_at_once = 64;
constexpr int k_least_patience = 1000;

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
  note_silent(name);
  return false;
}

void worker_server::note_silent(const std::string& name) {
  if (is_stopping()) return;
  silent_.insert(name);
  add_notice(subject_, name + " does not answer");
}

std::vector<std::string> worker_server::ask_at_once(const std::vector<question>& questions,
                                                    int patience) {
  std::vector<std::string> answers(questions.size());
  std::vector<std::unique_ptr<worker>> workers;
  std::vector<size_t> asked;
  const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(patience);
  const auto wait = [&] {
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
        end - std::chrono::steady_clock::now());
    take_from_all(std::exchange(workers, {}),
                  std::max(static_cast<int>(left.count()), std::min(patience, k_least_patience)),
                  [&](size_t whose, worker::event got, const std::string& record) {
                    if (got == worker::event::record) {
                      answers[asked[whose]] = record;
                    } else {
                      note_silent(questions[asked[whose]].name);
                    }
                    return false;
                  });
    asked.clear();
  };
  for (size_t i = 0; i < questions.size(); ++i) {
    if (is_silent(questions[i].name)) continue;
    auto one = std::make_unique<worker>([this](worker_link& link) { serve(link); });
    if (!one->is_started() || !one->ask(questions[i].request + questions[i].name)) continue;
    workers.push_back(std::move(one));
    asked.push_back(i);
    if (workers.size() == k_at_once) wait();
  }
  wait();
  return answers;
}

}  // namespace kestrel
