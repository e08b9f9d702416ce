// Questions and answers between the run and the worker that looks at remote mounts. A question is a
// letter and a path; answers are the bytes of the records below: both ends are one program.
#include "lib/remote_files.h"

#include <dirent.h>
#include <fcntl.h>
#include <linux/magic.h>
#include <sys/statfs.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <limits>

#include "lib/notice.h"
#include "lib/pathname.h"
#include "lib/utilstr.h"

namespace kestrel {

namespace {

constexpr char k_look = 's', k_list = 'l';

template <class Answer>
struct reply {
  int reason = 0;  // errno
  Answer answer = {};
};

// An entry without its name, which stands behind it in the record, and behind a NUL where a link
// leads. The end of the folder has no name, and the attributes of the last entry that was passed
// over.
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

// As `tell_way` tells it: a path without links, and the entry for which it is asked.
std::string asked_text(const std::string& path, std::string_view entry = {}) {
  return path + '\n' + std::string(entry);
}

// --- in the worker --------------------------------------------------------------------------

class folder_reader {
 public:
  folder_reader(worker_link& link, const remote_files::filter& wanted)
      : link_(link), wanted_(wanted) {}

  void read(const std::string& path, const std::string& behind) {
    PathName folder;
    folder.start(path);
    errno = ETIMEDOUT;
    const int opened = tell_way(link_, path) ? folder.open_directory() : -1;
    DIR* stream = opened < 0 ? nullptr : fdopendir(opened);
    reply<struct stat> found;
    if (stream == nullptr || fstat(opened, &found.answer) != 0) found.reason = errno;
    if (stream != nullptr) path_ = path_of_folder(opened);
    link_.send(bytes_of(found) + path_);
    if (found.reason != 0) return;
    device_ = found.answer.st_dev;
    stream_ = stream;
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
    link_.progress(asked_text(path_));
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
    place_.clear();
    if (name != "." && name != "..") look_at(name, head);
    link_.send(bytes_of(head) + name + '\0' + place_);
    return true;
  }

  void look_at(const std::string& name, entry_head& head) {
    if (wanted_ && !wanted_(name, head.type)) {
      passed_over_ = name;
      return;
    }
    head.is_read = true;
    const std::optional<std::string> to = approach(name, head.type);
    if (!to) {
      head.reason = ETIMEDOUT;
      return;
    }
    if (fstatat(dirfd(stream_), name.c_str(), &head.status, 0) != 0) {
      head.reason = errno;
      settle(head);
      return;
    }
    passed_over_.clear();
    if (S_ISDIR(head.status.st_mode)) place_ = *to;
    head.has_status = true;
    head.is_kernel_made = S_ISDIR(head.status.st_mode) && head.status.st_dev != device_ &&
                          remote_holding(*to) == nullptr &&
                          is_made_by_kernel(dirfd(stream_), name.c_str());
  }

  // Tells what the entry leads to, links followed, before it is asked. Nothing for one that leads
  // over a mount that did not answer before.
  std::optional<std::string> approach(const std::string& name, unsigned char type) {
    if (type == DT_LNK || type == DT_UNKNOWN) return tell_way(link_, name, path_, name);
    std::string entry = path_;
    append_name(entry, name);
    const remote_mount* mounted = remote_mounted_at(entry);
    if (mounted != nullptr && is_silent(*mounted)) return {};
    link_.progress(asked_text(entry, name));
    return entry;
  }

  void settle(entry_head& head) {
    if (passed_over_.empty()) return;
    head.has_status = fstatat(dirfd(stream_), passed_over_.c_str(), &head.status, 0) == 0;
    passed_over_.clear();
  }

  worker_link& link_;
  const remote_files::filter& wanted_;
  std::string path_;
  DIR* stream_ = nullptr;
  dev_t device_ = 0;
  std::string place_;  // where the entry leads, for folders
  std::string passed_over_;
};

// ETIMEDOUT where the way to the path leads over a mount that did not answer before.
void send_status(worker_link& link, const std::string& path) {
  reply<struct stat> found;
  found.reason = ETIMEDOUT;
  const std::optional<std::string> place = tell_way(link, path);
  if (place) found.reason = stat(path.c_str(), &found.answer) == 0 ? 0 : errno;
  link.send(bytes_of(found) + place.value_or(""));
}

// A question: letter, path, and for a listing NUL and the entry behind which it goes on.
void answer(worker_link& link, std::string_view question, const remote_files::filter& wanted) {
  const char what = question.front();
  question.remove_prefix(1);
  const std::string path(next_field(question, '\0'));
  const std::string behind(question);
  if (what == k_list) {
    folder_reader(link, wanted).read(path, behind);
  } else {
    send_status(link, path);
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
  if (got == worker::event::silent) note_silent(worker_->asked());
  errno = got == worker::event::silent ? ETIMEDOUT : got == worker::event::stopped ? EINTR : EIO;
  return got;
}

bool remote_files::ask_for(char what, const std::string& path, remote_mount& on,
                           struct stat& status, std::string& place) {
  errno = ETIMEDOUT;
  if (is_silent(on)) return false;
  if (!has_worker()) return false;
  std::string bytes;
  if (!worker_->ask(what + path) || take(bytes) != worker::event::record) {
    const int reason = errno;
    worker_.reset();
    errno = reason;
    return false;
  }
  reply<struct stat> found;
  if (!read_bytes(bytes, found)) found.reason = EIO;
  status = found.answer;
  place = bytes.substr(std::min(sizeof found, bytes.size()));
  errno = found.reason;
  return found.reason == 0;
}

bool remote_files::look_at(const std::string& path, remote_mount& on, struct stat& status,
                           std::string& place) {
  place.clear();
  if (!is_silent(on) && !has_worker()) return stat(path.c_str(), &status) == 0;
  return ask_for(k_look, path, on, status, place);
}

bool remote_files::list(const std::string& path, remote_mount& on, struct stat& folder,
                        std::string& place) {
  path_ = path;
  on_ = &on;
  return ask_for(k_list, path, on, folder, place);
}

bool remote_files::next(remote_entry& entry) {
  std::string bytes;
  if (worker_ == nullptr) return errno = EIO, false;
  if (take(bytes) != worker::event::record) return go_on_behind(entry);
  entry_head head;
  if (!read_bytes(bytes, head)) return errno = EIO, false;
  std::string_view texts = std::string_view(bytes).substr(sizeof head);
  const std::string_view name = next_field(texts, '\0');
  entry = {std::string(name),   std::string(texts), head.type,       head.is_read,
           head.is_kernel_made, head.reason,        head.has_status, head.status};
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
  std::string place;
  if (reason == ETIMEDOUT && !name.empty() && !is_silent(*on_) &&
      ask_for(k_list, path_ + '\0' + name, *on_, folder, place)) {
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
constexpr off_t k_longest = std::numeric_limits<uint32_t>::max();  // what a gather file can take
constexpr char k_data = 'd', k_end = 'e';  // what a record begins with; errno behind the second

// No further than the size at first, as files are read into the report; one that tells no size ends
// where no file is loaded any more.
void send_file(worker_link& link, const char* path) {
  errno = ETIMEDOUT;
  const file_ptr in = tell_way(link, path) ? open_local_file(path) : nullptr;
  struct stat status = {};
  if (in == nullptr || fstat(fileno(in.get()), &status) != 0 || status.st_size > k_longest) {
    return link.send(k_end + bytes_of(status.st_size > k_longest ? EFBIG : errno));
  }
  const bool has_size = status.st_size > 0;
  uint64_t left = has_size ? static_cast<uint64_t>(status.st_size) : k_max_file + 1;
  std::string piece(k_piece, '\0');
  for (size_t count = 1; left > 0 && count > 0; left -= count) {
    count = fread(piece.data(), 1, std::min<uint64_t>(piece.size(), left), in.get());
    if (count > 0) link.send(k_data + piece.substr(0, count));
  }
  const int reason = ferror(in.get()) != 0 ? errno : 0;
  link.send(k_end + bytes_of(reason == 0 && left == 0 && !has_size ? EFBIG : reason));
}

struct file_copy {
  file_ptr file;
  off_t size = 0, lines_end = 0;  // behind the last whole line
  int reason = 0;                 // errno of what came between
};

bool take_piece(file_copy& copy, std::string_view bytes) {
  if (copy.file == nullptr) copy.file.reset(tmpfile());
  if (copy.file == nullptr ||
      fwrite(bytes.data(), 1, bytes.size(), copy.file.get()) != bytes.size())
    return false;
  const size_t newline = bytes.rfind('\n');
  if (newline != std::string_view::npos)
    copy.lines_end = copy.size + static_cast<off_t>(newline) + 1;
  copy.size += static_cast<off_t>(bytes.size());
  return true;
}

int receive_file(worker& reader, file_copy& copy) {
  std::string piece;
  for (;;) {
    const worker::event got = reader.next(piece, remote_patience());
    if (got == worker::event::silent) note_silent(reader.asked());
    if (got == worker::event::silent) return ETIMEDOUT;
    if (got == worker::event::stopped) return EINTR;
    int reason = EIO;
    if (got != worker::event::record || piece.empty()) return reason;
    const std::string_view bytes = std::string_view(piece).substr(1);
    if (piece.front() == k_end) return read_bytes(bytes, reason) ? reason : EIO;
    if (!take_piece(copy, bytes)) return errno;
  }
}

// A stream that fails behind what was copied, as the file itself would, and has no end to seek.
file_ptr broken_stream(file_copy copy) {
  const cookie_io_functions_t functions = {
      [](void* self, char* buffer, size_t size) -> ssize_t {
        const file_copy& of = *static_cast<file_copy*>(self);
        const size_t count = fread(buffer, 1, size, of.file.get());
        errno = of.reason;
        return count > 0 ? static_cast<ssize_t>(count) : -1;
      },
      nullptr,
      [](void* self, off64_t* position, int whence) {
        const file_copy& of = *static_cast<file_copy*>(self);
        errno = of.reason;
        if (whence == SEEK_END || fseeko(of.file.get(), static_cast<off_t>(*position), whence) != 0)
          return -1;
        *position = ftello(of.file.get());
        return 0;
      },
      [](void* self) {
        delete static_cast<file_copy*>(self);
        return 0;
      }};
  auto kept = std::make_unique<file_copy>(std::move(copy));
  file_ptr stream(fopencookie(kept.get(), "rb", functions));
  if (stream != nullptr) (void)kept.release();
  return stream;
}

}  // namespace

file_ptr copy_remote_file(const char* path, remote_mount& on) {
  errno = ETIMEDOUT;
  if (is_silent(on)) return nullptr;
  worker reader([path](worker_link& link) { send_file(link, path); });
  if (!reader.is_started()) return open_local_file(path);
  file_copy copy;
  copy.reason = receive_file(reader, copy);
  if (copy.reason == 0 && copy.file == nullptr) copy.file.reset(tmpfile());
  if (copy.reason == 0 && (copy.file == nullptr || fflush(copy.file.get()) != 0))
    copy.reason = errno;
  const int reason = copy.reason;
  if (reason == EFBIG || (reason != 0 && reason != ETIMEDOUT && reason != EINTR && copy.size > 0)) {
    add_notice(path, format_text("not read whole: %s", strerror(reason)));
  }
  if (copy.file != nullptr) rewind(copy.file.get());
  if (reason == 0) return std::move(copy.file);
  // Half a line would pass for one.
  if (reason == ETIMEDOUT && copy.file != nullptr &&
      ftruncate(fileno(copy.file.get()), copy.lines_end) != 0) {
    copy.size = 0;
  }
  file_ptr stream = copy.size > 0 ? broken_stream(std::move(copy)) : nullptr;
  errno = reason;
  return stream;
}

}  // namespace kestrel
