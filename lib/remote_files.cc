// Questions and answers between the run and the worker that looks at remote mounts. A question is a
// letter and a path; answers are the bytes of the records below: both ends are one program.
#include "lib/remote_files.h"

#include <dirent.h>
#include <fcntl.h>
#include <linux/magic.h>
#include <sys/statfs.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "lib/debug.h"
#include "lib/pathname.h"

namespace kestrel {

namespace {

constexpr char k_look = 's', k_measure = 'v', k_list = 'l';

template <class Answer>
struct reply {
  int reason = 0;  // errno
  Answer answer = {};
};

// An entry without its name, which stands behind it in the record. The end of the folder has no
// name, and the attributes of the last entry that was passed over.
struct entry_head {
  int reason = 0;
  unsigned char type = 0;
  bool is_read = false, is_kernel_made = false, has_status = false;
  struct stat status = {};
};

template <class Record>
std::string bytes_of(const Record& record) {
  static_assert(std::is_trivially_copyable_v<Record>);
  return {reinterpret_cast<const char*>(&record), sizeof record};
}

template <class Record>
bool read_bytes(std::string_view bytes, Record& record) {
  if (bytes.size() < sizeof record) return false;
  memcpy(&record, bytes.data(), sizeof record);
  return true;
}

// Where it is told which mount is asked, and at which entry the walk through a folder stands.
std::string asked_text(const remote_mount& mount, std::string_view entry = {}) {
  return mount.point + '\n' + std::string(entry);
}

// --- in the worker --------------------------------------------------------------------------

class folder_reader {
 public:
  folder_reader(worker_link& link, const remote_files::filter& wanted, const remote_mount& on)
      : link_(link), wanted_(wanted), on_(on) {}

  void read(const std::string& path, const std::string& behind) {
    PathName folder;
    folder.start(path);
    link_.progress(asked_text(on_));
    const int opened = folder.open_directory();
    DIR* stream = opened < 0 ? nullptr : fdopendir(opened);
    reply<struct stat> found;
    if (stream == nullptr || fstat(opened, &found.answer) != 0) found.reason = errno;
    link_.send(bytes_of(found));
    if (found.reason != 0) return;
    device_ = found.answer.st_dev;
    stream_ = stream;
    path_ = path_of_folder(opened);
    skip_to(behind);
    while (read_entry()) continue;
    closedir(stream);
  }

 private:
  void skip_to(const std::string& behind) {
    if (behind.empty()) return;
    while (const dirent* entry = readdir(stream_)) {
      link_.progress();
      if (behind == entry->d_name) return;
    }
  }

  bool read_entry() {
    link_.progress(asked_text(on_));
    errno = 0;
    const dirent* entry = readdir(stream_);
    entry_head head;
    if (entry == nullptr) {
      head.reason = errno;
      settle(head);
      link_.send(bytes_of(head));
      return false;
    }
    const std::string name = entry->d_name;
    head.type = entry->d_type;
    if (name != "." && name != "..") look_at(name, head);
    link_.send(bytes_of(head) + name);
    return true;
  }

  void look_at(const std::string& name, entry_head& head) {
    if (wanted_ && !wanted_(name, head.type)) {
      passed_over_ = name;
      return;
    }
    head.is_read = true;
    remote_mount* to = leads_to(name, head.type);
    if (to != nullptr && is_silent(*to)) {
      head.reason = ETIMEDOUT;
      return;
    }
    link_.progress(asked_text(to != nullptr ? *to : on_, name));
    if (fstatat(dirfd(stream_), name.c_str(), &head.status, 0) != 0) {
      head.reason = errno;
      settle(head);
      return;
    }
    passed_over_.clear();
    head.has_status = true;
    head.is_kernel_made = S_ISDIR(head.status.st_mode) && head.status.st_dev != device_ &&
                          is_made_by_kernel(dirfd(stream_), name.c_str());
  }

  // Another mount than the folder's, that a link leads to or that is mounted on the entry.
  remote_mount* leads_to(const std::string& name, unsigned char type) {
    link_.progress(asked_text(on_, name));
    std::string entry = path_;
    append_name(entry, name);
    if (remote_mount* mounted = remote_mounted_at(entry)) return mounted;
    if (type != DT_LNK) return nullptr;
    char target[PATH_MAX];
    const ssize_t length = readlinkat(dirfd(stream_), name.c_str(), target, sizeof target);
    if (length <= 0) return nullptr;
    return remote_on_way({target, static_cast<size_t>(length)}, path_);
  }

  void settle(entry_head& head) {
    if (passed_over_.empty()) return;
    head.has_status = fstatat(dirfd(stream_), passed_over_.c_str(), &head.status, 0) == 0;
    passed_over_.clear();
  }

  worker_link& link_;
  const remote_files::filter& wanted_;
  const remote_mount& on_;
  std::string path_;
  DIR* stream_ = nullptr;
  dev_t device_ = 0;
  std::string passed_over_;
};

// A question: letter, point of the mount, NUL, path, and for a listing NUL and the entry behind
// which it goes on.
void answer(worker_link& link, std::string_view question, const remote_files::filter& wanted) {
  const char what = question.front();
  question.remove_prefix(1);
  std::string parts[3];
  for (std::string& part : parts) {
    const size_t end = std::min(question.find('\0'), question.size());
    part = question.substr(0, end);
    question.remove_prefix(std::min(end + 1, question.size()));
  }
  const remote_mount on = {parts[0], "", "", 0, false};
  const std::string& path = parts[1];
  link.progress(asked_text(on));
  if (what == k_list) {
    folder_reader(link, wanted, on).read(path, parts[2]);
  } else if (what == k_look) {
    reply<struct stat> found;
    if (stat(path.c_str(), &found.answer) != 0) found.reason = errno;
    link.send(bytes_of(found));
  } else {
    reply<struct statvfs> found;
    if (statvfs(path.c_str(), &found.answer) != 0) found.reason = errno;
    link.send(bytes_of(found));
  }
}

}  // namespace

bool is_made_by_kernel(int folder, const char* name) {
  const int opened = openat(folder, name, O_PATH | O_DIRECTORY | O_CLOEXEC);
  if (opened < 0) return false;
  struct statfs status;
  const bool known = fstatfs(opened, &status) == 0;
  close(opened);
  return known && (status.f_type == PROC_SUPER_MAGIC || status.f_type == SYSFS_MAGIC);
}

// --- in the run -----------------------------------------------------------------------------

bool remote_files::has_worker() {
  if (worker_ == nullptr) {
    worker_ = std::make_unique<worker>([this](worker_link& link) {
      for (std::string question; link.receive(question);) answer(link, question, wanted_);
    });
  }
  if (!worker_->is_started()) worker_.reset();
  return worker_ != nullptr;
}

// Every end of the worker is the end of this one; a silent one names the mount that it asked.
worker::event remote_files::take(std::string& answer) {
  const worker::event got = worker_->next(answer, remote_patience());
  if (got == worker::event::record) return got;
  if (got == worker::event::silent) {
    const std::string asked = worker_->asked();
    if (remote_mount* mount = remote_mounted_at(asked.substr(0, asked.find('\n')))) {
      note_silent(*mount);
    }
  }
  errno = got == worker::event::silent ? ETIMEDOUT : got == worker::event::stopped ? EINTR : EIO;
  return got;
}

template <class Answer>
bool remote_files::ask_for(char what, const std::string& path, remote_mount& on, Answer& answer) {
  errno = ETIMEDOUT;
  if (is_silent(on)) return false;
  if (!has_worker()) return false;
  std::string bytes;
  if (!worker_->ask(what + on.point + '\0' + path) || take(bytes) != worker::event::record) {
    const int reason = errno;
    worker_.reset();
    errno = reason;
    return false;
  }
  reply<Answer> found;
  if (!read_bytes(bytes, found)) found.reason = EIO;
  answer = found.answer;
  errno = found.reason;
  return found.reason == 0;
}

bool remote_files::look_at(const std::string& path, remote_mount& on, struct stat& status) {
  if (!is_silent(on) && !has_worker()) return stat(path.c_str(), &status) == 0;
  return ask_for(k_look, path, on, status);
}

bool remote_files::measure(const std::string& path, remote_mount& on, struct statvfs& usage) {
  if (!is_silent(on) && !has_worker()) return statvfs(path.c_str(), &usage) == 0;
  return ask_for(k_measure, path, on, usage);
}

bool remote_files::list(const std::string& path, remote_mount& on, struct stat& folder) {
  path_ = path;
  on_ = &on;
  return ask_for(k_list, path, on, folder);
}

bool remote_files::next(remote_entry& entry) {
  std::string bytes;
  if (worker_ == nullptr) return errno = EIO, false;
  if (take(bytes) != worker::event::record) return go_on_behind(entry);
  entry_head head;
  if (!read_bytes(bytes, head)) return errno = EIO, false;
  entry = {bytes.substr(sizeof head), head.type,  head.is_read, head.is_kernel_made, head.reason,
           head.has_status,           head.status};
  errno = head.reason;
  return !entry.name.empty();
}

// Where only what an entry leads to hung, the folder has more to tell.
bool remote_files::go_on_behind(remote_entry& entry) {
  const int reason = errno;
  const std::string asked = worker_->asked();
  worker_.reset();
  const size_t end = asked.find('\n');
  const std::string name = end == std::string::npos ? "" : asked.substr(end + 1);
  struct stat folder;
  if (reason == ETIMEDOUT && !name.empty() && !is_silent(*on_) &&
      ask_for(k_list, path_ + '\0' + name, *on_, folder)) {
    entry = {};
    entry.name = name;
    entry.is_read = true;
    entry.reason = ETIMEDOUT;
    return true;
  }
  errno = reason;
  return false;
}

// --- files ----------------------------------------------------------------------------------

namespace {

constexpr size_t k_piece = 65536;

// The first record is errno of opening; what was read follows.
void send_file(worker_link& link, const char* path) {
  const file_ptr in = open_local_file(path);
  link.send(bytes_of(in == nullptr ? errno : 0));
  if (in == nullptr) return;
  std::string piece(k_piece, '\0');
  for (size_t count = 0; (count = fread(piece.data(), 1, piece.size(), in.get())) > 0;) {
    link.send(std::string_view(piece).substr(0, count));
  }
}

}  // namespace

file_ptr copy_remote_file(const char* path, remote_mount& on) {
  errno = ETIMEDOUT;
  if (is_silent(on)) return nullptr;
  worker reader([path](worker_link& link) { send_file(link, path); });
  if (!reader.is_started()) return open_local_file(path);
  std::string piece;
  int reason = EIO;
  worker::event got = reader.next(piece, remote_patience());
  if (got == worker::event::record) read_bytes(piece, reason);
  file_ptr copy(reason == 0 ? tmpfile() : nullptr);
  if (reason == 0 && copy == nullptr) reason = errno;
  while (copy != nullptr &&
         (got = reader.next(piece, remote_patience())) == worker::event::record) {
    fwrite(piece.data(), 1, piece.size(), copy.get());
  }
  if (got == worker::event::silent) {
    note_silent(on);
    reason = ETIMEDOUT;
  }
  if (copy != nullptr) rewind(copy.get());
  errno = reason;
  return copy;
}

}  // namespace kestrel
