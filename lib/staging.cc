// Makes the private folder, and copies files out of it by a worker. The copy is made
// by a worker even where the way seems local: what is mounted may have changed since the run began.
#include "lib/staging.h"

#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "lib/cleanup.h"
#include "lib/debug.h"
#include "lib/file.h"
#include "lib/misc.h"
#include "lib/mounts.h"
#include "lib/pathname.h"
#include "lib/temporary.h"
#include "lib/util_linux.h"
#include "lib/utilstr.h"
#include "lib/worker.h"

namespace kestrel {

namespace {

constexpr size_t k_piece = 65536;
// What a slow server has not taken yet is waited for now and then: at the end all of it at once
// would look like silence.
constexpr size_t k_unsynced = 1u << 20;

bool sync(FILE* out) {
  if (std::fflush(out) != 0) return false;
  return fdatasync(fileno(out)) == 0 || errno == EINVAL || errno == ENOSYS;
}

bool copy_pieces(FILE* in, FILE* out, worker_link& link) {
  std::string piece(k_piece, '\0');
  size_t unsynced = 0;
  for (size_t count = 0; (count = std::fread(piece.data(), 1, piece.size(), in)) > 0;) {
    if (!SaveData(out, piece.data(), count)) return false;
    unsynced += count;
    if (unsynced >= k_unsynced) {
      if (!sync(out)) return false;
      unsynced = 0;
    }
    link.progress();
  }
  return std::ferror(in) == 0 && sync(out);
}

// In the worker. 0, or errno.
int put_in_place(const std::string& made, const std::string& path, worker_link& link) {
  const std::string folder = folder_of(path).empty() ? "./" : folder_of(path);
  if (!tell_way(link, folder)) return ETIMEDOUT;
  const file_ptr in = open_for_reading(made.c_str());
  if (in == nullptr) return errno;
  temporary_file beside;
  file_ptr out =
      beside.create(folder + format_text("kestd%x.tmp", static_cast<unsigned>(get_process_id())));
  if (out == nullptr || !copy_pieces(in.get(), out.get(), link)) return errno;
  if (!close_checked(std::move(out))) return errno;
  link.progress();
  return beside.move_to(path.c_str()) ? 0 : errno;
}

// 0, or errno.
int copy_by_worker(const std::string& made, const std::string& path) {
  const remote_mount* const on = remote_on_way(path);
  if (on != nullptr && is_silent(*on)) return ETIMEDOUT;
  worker copier([&](worker_link& link) {
    const int reason = put_in_place(made, path, link);
    link.send({reinterpret_cast<const char*>(&reason), sizeof reason});
  });
  if (!copier.is_started()) return errno;
  copier.wait_through_stop();
  std::string answer;
  int reason = EIO;
  const worker::event got = copier.next(answer, remote_patience());
  if (got == worker::event::record && answer.size() == sizeof reason) {
    memcpy(&reason, answer.data(), sizeof reason);
  } else if (got == worker::event::silent) {
    if (!copier.asked().empty()) note_silent(copier.asked());
    reason = ETIMEDOUT;
  }
  return reason;
}

bool make_folder_in(const std::string& parent) {
  errno = ETIMEDOUT;
  if (remote_on_way(parent) != nullptr) return false;
  std::string made = parent;
  append_name(made, "kestrel-XXXXXX");
  if (mkdtemp(made.data()) == nullptr) return false;
  set_private_folder(made);
  return true;
}

}  // namespace

bool begin_staging(const std::string& target, bool is_told) {
  if (remote_on_way(".") == nullptr && remote_on_way(target) == nullptr) return true;
  for (const char* parent : {get_temp_dir(), "/tmp", "/var/tmp"}) {
    if (!make_folder_in(parent)) continue;
    note_private_folder(private_folder().c_str(), is_told);
    return true;
  }
  return false;
}

bool copy_staged(const std::string& path) {
  if (!is_staging()) return true;
  const std::string made = staged(path);
  const int reason = copy_by_worker(made, path);
  if (reason != 0) print_error(path.c_str(), reason);
  errno = reason;
  return reason == 0;
}

bool deliver(const std::string& path) {
  if (!copy_staged(path)) return false;
  if (is_staging()) unlink(staged(path).c_str());
  return true;
}

void end_staging() {
  if (!is_staging()) return;
  note_private_folder(nullptr, false);
  rmdir(private_folder().c_str());
  set_private_folder("");
}

}  // namespace kestrel
