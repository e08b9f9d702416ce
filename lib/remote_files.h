// What stands on mounts that may hang, asked by a worker: attributes, contents, the entries of
// folders. A mount that does not answer is noted as silent, and the next question begins with a new
// worker.
#pragma once

#include <sys/stat.h>

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "lib/local_file.h"
#include "lib/mounts.h"
#include "lib/worker.h"

namespace kestrel {

/// An entry of a folder as the worker read it.
struct remote_entry {
  std::string name;
  std::string place;            ///< of a folder: its path without links
  unsigned char type = 0;       ///< d_type of readdir(3)
  bool is_read = false;         ///< `status` and `reason` hold an answer
  bool is_kernel_made = false;  ///< a folder of proc or sysfs in another file system
  int reason = 0;  ///< errno of stat; then `status`, if `has_status`, is the entry's before
  bool has_status = false;
  struct stat status = {};
};

/// One at a time: a listing is read to its end before anything else is asked.
class remote_files {
 public:
  /// Of entries for which `wanted` is false no attributes are read; null: of all they are.
  using filter = std::function<bool(const std::string& name, unsigned char type)>;
  explicit remote_files(filter wanted = nullptr) : wanted_(std::move(wanted)) {}

  /// False where no process can be had: then everything is asked by this process.
  bool has_worker();
  /// stat of a path that leads over `on`. False with its errno, ETIMEDOUT when the mount did not
  /// answer, now or earlier. `place` is the path without links, "" where it is not known.
  bool look_at(const std::string& path, remote_mount& on, struct stat& status, std::string& place);

  /// Opens a folder to which the way leads over `on`, and tells the same of it; false as above.
  bool list(const std::string& path, remote_mount& on, struct stat& folder, std::string& place);
  /// The next entry; false with errno 0 at the end, with another when the listing broke off. An
  /// entry whose own look-up hung (a link to a mount that is silent) has reason ETIMEDOUT.
  bool next(remote_entry& entry);

 private:
  worker::event take(std::string& answer);
  bool go_on_behind(remote_entry& entry);
  bool ask_for(char what, const std::string& path, remote_mount& on, struct stat& status,
               std::string& place);

  filter wanted_;
  std::unique_ptr<worker> worker_;
  std::string path_;            ///< of the folder that is listed
  remote_mount* on_ = nullptr;  ///< and its mount
};

/// A copy of a regular file whose path leads over `on`, read by a worker, ready to be read from its
/// start. It ends at the size that the file had at first; one that tells none is cut at k_max_file
/// bytes (EFBIG), one above 4 GB is not read. Where reading broke off, which is told, the stream
/// fails behind what was read, of a silent mount behind the last whole line, and cannot seek to an
/// end. Null, with errno as `open_regular_file`, ETIMEDOUT for a silent mount, when nothing was
/// read.
file_ptr copy_remote_file(const char* path, remote_mount& on);

/// Whether `name` in the open folder is a folder that the kernel makes (proc, sysfs).
bool is_made_by_kernel(int folder, const char* name);

}  // namespace kestrel
