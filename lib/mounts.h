// The mounted file systems as far as they matter to whoever must not hang: those that a server or
// another process answers for, where a path leads over one, and which of them fell silent.
#pragma once

#include <sys/types.h>

#include <functional>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "lib/worker.h"

namespace kestrel {

/// A mounted file system that may wait for another machine or another process.
struct remote_mount {
  std::string point;   ///< where it is mounted
  std::string type;    ///< "nfs4"; "" for a path that did not answer and is no mount point
  std::string source;  ///< "server:/folder"
  dev_t device = 0;    ///< of its files
  bool is_silent = false;
};

/// True for the types of file systems whose answer may wait for another machine or process.
bool may_hang(std::string_view type);

/// Whether any such file system is mounted; without one nothing here costs anything. The mount
/// table (proc(5), mountinfo) is read once, and again when a device turns up that it did not have.
bool has_remote_mounts();
/// The mount whose mount point `path` is, the one that its files have as device, or the one that
/// `path`, a text without links, stands on. Null for none and for local ones. They live as long as
/// the run.
remote_mount* remote_mounted_at(std::string_view path);
remote_mount* remote_of_device(dev_t device);
remote_mount* remote_holding(std::string_view path);
/// The mount that a path leads over, links followed one by one without asking any remote mount.
/// Relative paths begin at `folder`, an absolute path without links, or at the current folder.
remote_mount* remote_on_way(std::string_view path, std::string_view folder = {});

/// The names in a folder, a path without links, at which such a file system is mounted.
std::set<std::string, std::less<>> remote_names_in(std::string_view folder);

/// In a worker: follows a path to its end, as above but over remote mounts, too. Before each piece
/// of the way that stands on one is looked at, the parent is told it as what is asked, and behind a
/// newline the `entry` that it is asked for. The path without links, or nothing where the way leads
/// over a mount that did not answer before.
std::optional<std::string> tell_way(worker_link& link, std::string_view path,
                                    std::string_view folder = {}, std::string_view entry = {});

/// The path of an open folder, without links; "" where it cannot be told. Asks no file system.
std::string path_of_folder(int descriptor);

/// Whether nobody should ask: this mount, or another of the same server, did not answer before.
bool is_silent(const remote_mount& mount);
/// What a worker asked (see `tell_way`) did not answer: nobody asks its mount again in this run, of
/// an automounter only that path. Told in one line, and in the debug log.
void note_silent(std::string_view asked);
/// What a mount may take to answer, in milliseconds. Less after others were silent: all of them
/// together cost a run 20 seconds, and half a second each beyond that.
int remote_patience();

/// What a path answered.
struct path_answer {
  int reason = 0;  ///< errno of asking: ETIMEDOUT for a silent mount, EINTR when the run is to end
  std::string bytes;  ///< of the call
};
using path_call = std::function<std::string(const char* path)>;
/// Makes a call for each path, in workers where they lead over remote mounts: all servers at once,
/// so that the dead among them cost one wait. Others are asked by this process.
std::vector<path_answer> ask_paths(const std::vector<std::string>& paths, const path_call& call);
/// The same for one path and a call that gives an errno, which is returned, or that of asking.
int ask_path(const char* path, const std::function<int(const char* path)>& call);

/// Whether files can be made in the current folder, or cannot: false only for one on a mount that
/// does not answer, which would hold the run for ever.
bool is_folder_answering();

}  // namespace kestrel
