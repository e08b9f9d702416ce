// Makes names harmless and unused, writes under a temporary name and takes the final one when the
// file is whole; a signal removes what is not.
#include "tools/ks2/safe_output.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstring>

#include "lib/mbcs.h"
#include "lib/utilstr.h"
#include "tools/ks2/shown_text.h"

namespace kestrel::ks2 {

namespace {

constexpr int k_most_numbers = 10'000;

/// The incomplete file, of which there is one at a time. Fixed memory, so that a signal handler may
/// read it at any moment.
struct {
  volatile sig_atomic_t is_there = 0;
  int folder = -1;
  char name[4096] = {};
} incomplete;

void end_by_signal(int number) {
  if (incomplete.is_there != 0) unlinkat(incomplete.folder, incomplete.name, 0);
  signal(number, SIG_DFL);
  raise(number);
}

void install_signal_handlers() {
  struct sigaction action = {};
  action.sa_handler = end_by_signal;
  for (const int number : {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGXCPU, SIGXFSZ}) {
    struct sigaction old = {};
    // What the caller chose to ignore stays ignored.
    if (sigaction(number, nullptr, &old) == 0 && old.sa_handler != SIG_IGN) {
      sigaction(number, &action, nullptr);
    }
  }
}

void note_incomplete(int folder, const std::string& name) {
  static const bool is_installed = (install_signal_handlers(), true);
  incomplete.is_there = 0;
  if (!is_installed || name.size() >= sizeof incomplete.name) return;
  incomplete.folder = folder;
  std::strcpy(incomplete.name, name.c_str());
  std::atomic_signal_fence(std::memory_order_release);
  incomplete.is_there = 1;
}

void forget_incomplete() { incomplete.is_there = 0; }

std::string numbered(const std::string& name, int number) {
  const std::string suffix = "." + std::to_string(number);
  return cut(name, k_longest_file_name - suffix.size()) + suffix;
}

enum class in_the_way { nothing, a_file, another_thing };

/// A link counts as what it leads to: /dev/stdout is no file. One that leads nowhere is a file.
in_the_way look_at(int folder, const char* name) {
  struct stat status;
  if (fstatat(folder, name, &status, AT_SYMLINK_NOFOLLOW) != 0) return in_the_way::nothing;
  if (S_ISLNK(status.st_mode) && fstatat(folder, name, &status, 0) != 0) return in_the_way::a_file;
  return S_ISREG(status.st_mode) ? in_the_way::a_file : in_the_way::another_thing;
}

/// Beside `name`, so that it can be renamed to it.
std::string temporary_name(const std::string& name, int attempt) {
  return name.substr(0, name.rfind('/') + 1) +
         format_text(".ks2-%d-%d", static_cast<int>(getpid()), attempt);
}

}  // namespace

std::string safe_file_name(std::string_view path) {
  path.remove_prefix(path.find_last_of("/\\") + 1);  // npos + 1 is 0
  std::string name;
  for_each_character(path, [&name](wchar_t c) {
    const bool is_bad = is_unsafe(c) || c == 0xFFFD || c == L':' || c == L'*' || c == L'?' ||
                        c == L'"' || c == L'<' || c == L'>' || c == L'|';
    append_character(name, is_bad ? L'_' : c);
  });
  name = cut(name, k_longest_file_name);
  if (!name.empty() && (name[0] == '.' || name[0] == '-' || name[0] == '~')) name[0] = '_';
  return name;
}

std::string name_giver::unused_name(const std::string& wanted, bool may_be_reserved) {
  std::string name = wanted;
  for (int number = 2;; ++number) {
    const bool is_free = may_be_reserved || reserved_.count(name) == 0;
    if (is_free && used_.insert(name).second) return name;
    name = numbered(wanted, number);
  }
}

new_file::~new_file() {
  if (file_ == nullptr) return;
  unlinkat(folder_, created_.c_str(), 0);
  forget_incomplete();
}

bool new_file::create(int folder, const std::string& name, bool force) {
  folder_ = folder;
  name_ = name;
  is_replacing_ = force;
  const in_the_way there = look_at(folder, name.c_str());
  if (there == in_the_way::another_thing) return errno = EINVAL, false;
  if (there == in_the_way::a_file && !force) return errno = EEXIST, false;
  int descriptor = -1;
  for (int attempt = 0; descriptor < 0 && attempt < k_most_numbers; ++attempt) {
    created_ = temporary_name(name, attempt);
    note_incomplete(folder, created_);
    descriptor = openat(folder, created_.c_str(),
                        O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
    if (descriptor >= 0) break;
    forget_incomplete();
    if (errno != EEXIST) return false;
  }
  if (descriptor < 0) return false;
  file_.reset(fdopen(descriptor, "wb"));
  if (file_ == nullptr) close(descriptor);
  return file_ != nullptr;
}

/// Gives the complete file its name; a file that has come to carry it meanwhile stays, if it must.
bool new_file::take_name() const {
  const unsigned flags = is_replacing_ ? 0 : RENAME_NOREPLACE;
  if (renameat2(folder_, created_.c_str(), folder_, name_.c_str(), flags) == 0) return true;
  // Not every file system knows the flag.
  if (flags == 0 || errno != EINVAL) return false;
  if (look_at(folder_, name_.c_str()) != in_the_way::nothing) return errno = EEXIST, false;
  return renameat(folder_, created_.c_str(), folder_, name_.c_str()) == 0;
}

bool new_file::finish() {
  const bool is_whole = close_checked(std::move(file_)) && take_name();
  const int reason = errno;
  if (!is_whole) unlinkat(folder_, created_.c_str(), 0);
  forget_incomplete();
  errno = reason;
  return is_whole;
}

output_folder::~output_folder() {
  if (descriptor_ >= 0) close(descriptor_);
}

bool output_folder::open(const std::string& path) {
  path_ = path;
  if (mkdir(path.c_str(), 0700) != 0 && errno != EEXIST) return false;
  descriptor_ = ::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  return descriptor_ >= 0;
}

bool output_folder::create_new(const std::string& name) {
  path_ = name;
  for (int number = 2; mkdir(path_.c_str(), 0700) != 0; ++number) {
    if (errno != EEXIST || number > k_most_numbers) return false;
    path_ = numbered(name, number);
  }
  descriptor_ = ::open(path_.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
  return descriptor_ >= 0;
}

bool is_same_file(int folder, const char* name, const char* path) {
  struct stat a, b;
  return fstatat(folder, name, &a, 0) == 0 && stat(path, &b) == 0 && a.st_dev == b.st_dev &&
         a.st_ino == b.st_ino;
}

const char* creation_trouble(int error) {
  return error == EEXIST   ? "exists; --force replaces it"
         : error == EINVAL ? "is no regular file"
                           : std::strerror(error);
}

}  // namespace kestrel::ks2
