// Calls into a file system whose server is dead hang in the kernel, where no signal ends them. They
// are made in a child process, which can be left behind.
#pragma once

#include <cstddef>
#include <functional>
#include <string_view>
#include <type_traits>

namespace kestrel {

/// True for the types of file systems whose answer may wait for another machine or another process.
bool may_hang(std::string_view type);

/// What a server that is alive may take, in milliseconds.
inline constexpr int k_server_patience = 5000;

/// Calls `work` in a child process that gets `milliseconds` and is then killed. False, and the
/// `size` bytes at `answer` unchanged, when `work` says so (errno EIO) or did not answer in time
/// (errno ETIMEDOUT). Of the open descriptors the child has only `kept`.
bool run_in_child(const std::function<bool(void* answer)>& work, int milliseconds, void* answer,
                  size_t size, int kept = -1);

/// The same for a function that fills an `Answer`.
template <class Answer, class Read>
bool read_in_child(Read&& read, int milliseconds, Answer& answer, int kept = -1) {
  static_assert(std::is_trivially_copyable_v<Answer>);
  return run_in_child([&read](void* found) { return read(*static_cast<Answer*>(found)); },
                      milliseconds, &answer, sizeof answer, kept);
}

/// Whether the file system of `path` answers at all, be it that there is no such file. One that
/// could not be asked, for want of a process, is taken for one that answers.
bool is_answering(const char* path);

}  // namespace kestrel
