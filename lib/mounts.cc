// The mount table and the silent mounts of this run: see mounts.h.
#include "lib/mounts.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <chrono>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <numeric>
#include <set>
#include <vector>

#include "lib/debug.h"
#include "lib/getline.h"
#include "lib/notice.h"
#include "lib/pathname.h"
#include "lib/utilstr.h"

namespace kestrel {

namespace {

using std::chrono::milliseconds;
using steady = std::chrono::steady_clock;

constexpr const char* k_mount_table = "/proc/self/mountinfo";
constexpr std::string_view k_automounter = "autofs";
constexpr int k_most_links = 40;               // as the kernel follows
constexpr milliseconds k_all_patience{20000};  // for all silent mounts together
constexpr int k_share = 4;                     // of what is left of it, for one
constexpr int k_least_patience = 500;
constexpr size_t k_at_once = 32;  // servers

// Served over a network, by a cluster or by a process of this machine.
constexpr std::string_view k_remote_types[] = {
    "9p",    "acfs",  "afs",  "autofs", "beegfs", "ceph",     "cifs", "coda",
    "davfs", "gfs",   "gfs2", "gpfs",   "lustre", "ncpfs",    "nfs",  "nfs4",
    "ocfs2", "pvfs2", "smb3", "smbfs",  "vboxsf", "virtiofs",
};

struct mount_table {
  bool is_loaded = false;
  std::deque<remote_mount> remote;  // never shrinks: others point into it
  std::map<std::string, remote_mount*, std::less<>> by_point;  // all mounts, null for local ones
  std::map<dev_t, remote_mount*> by_device;                    // the same
  std::set<std::string> silent_servers;
  milliseconds waited{0};  // for silent mounts
  steady::time_point noted = {};
};
mount_table table;

// "\040" and the like stand for characters that would end a field.
std::string unescaped(std::string_view field) {
  std::string text;
  for (size_t i = 0; i < field.size(); ++i) {
    if (field[i] == '\\' && i + 3 < field.size()) {
      unsigned char character = 0;
      std::from_chars(field.data() + i + 1, field.data() + i + 4, character, 8);
      text += static_cast<char>(character);
      i += 3;
    } else {
      text += field[i];
    }
  }
  return text;
}

remote_mount* known_remote(const std::string& point, dev_t device) {
  for (remote_mount& known : table.remote) {
    if (known.point == point && known.device == device) return &known;
  }
  return nullptr;
}

// "36 35 98:0 /root /point options [tag...] - type source options"
void take_mount(std::string_view line) {
  std::vector<std::string_view> fields;
  for (std::string_view word; !(word = next_word(line)).empty();) fields.push_back(word);
  const auto dash = std::find(fields.begin(), fields.end(), "-");
  if (fields.size() < 6 || fields.end() - dash < 3) return;
  int64_t major_number = 0, minor_number = 0;
  std::string_view minor_text = fields[2], major_text = next_field(minor_text, ':');
  if (!scan_decimal(major_text, major_number) || !scan_decimal(minor_text, minor_number)) return;
  const dev_t device =
      makedev(static_cast<unsigned>(major_number), static_cast<unsigned>(minor_number));
  std::string point = unescaped(fields[4]);
  remote_mount* mount = nullptr;
  if (may_hang(dash[1])) {
    mount = known_remote(point, device);
    if (mount == nullptr) {
      table.remote.push_back({point, std::string(dash[1]), unescaped(dash[2]), device, false});
      mount = &table.remote.back();
    }
  }
  table.by_device[device] = mount;
  table.by_point.insert_or_assign(std::move(point), mount);  // the last one lies on top
}

void load() {
  table.is_loaded = true;
  table.by_point.clear();
  const int opened = open(k_mount_table, O_RDONLY | O_CLOEXEC);
  FILE* in = opened < 0 ? nullptr : fdopen(opened, "r");
  if (in == nullptr) {
    print_error(k_mount_table, errno);
    return;
  }
  for (std::string line; read_line(in, line);) take_mount(without_newline(line));
  fclose(in);
  for (remote_mount& known : table.remote) {
    if (known.type.empty()) table.by_point.emplace(known.point, &known);
  }
}

// "host:/folder" or "//host/share"; "" when the source names no server. That of an automounter is
// its map.
std::string server_of(const remote_mount& mount) {
  if (mount.type == k_automounter) return "";
  const std::string& source = mount.source;
  const bool is_share = source.starts_with("//");
  // The colons of an IPv6 address stand in brackets.
  const size_t start = source.starts_with('[') ? source.find(']') : 0;
  const size_t end = is_share ? source.find('/', 2) : source.find(':', start);
  return end == std::string::npos ? "" : source.substr(0, end);
}

std::string link_text(const std::string& path) {
  std::string text(PATH_MAX, '\0');
  const ssize_t length = readlink(path.c_str(), text.data(), text.size());
  text.resize(static_cast<size_t>(std::max<ssize_t>(length, 0)));
  return text;
}

// The components of a path that are still to be walked, the next one last.
void add_components(std::vector<std::string>& left, std::string_view path) {
  std::vector<std::string> parts;
  while (!path.empty()) {
    const std::string_view part = next_field(path, '/');
    if (!part.empty() && part != ".") parts.emplace_back(part);
  }
  left.insert(left.end(), parts.rbegin(), parts.rend());
}

std::string joined(std::string path, const std::vector<std::string>& left) {
  for (size_t i = left.size(); i-- > 0;) path.append("/").append(left[i]);
  return path;
}

}  // namespace

bool may_hang(std::string_view type) {
  const auto* end = std::end(k_remote_types);
  return type.starts_with("fuse") || std::find(std::begin(k_remote_types), end, type) != end;
}

bool has_remote_mounts() {
  if (!table.is_loaded) load();
  return !table.remote.empty();
}

std::string path_of_folder(int descriptor) {
  return link_text("/proc/self/fd/" + std::to_string(descriptor));
}

remote_mount* remote_mounted_at(std::string_view path) {
  if (!has_remote_mounts()) return nullptr;
  const auto found = table.by_point.find(path);
  return found == table.by_point.end() ? nullptr : found->second;
}

remote_mount* remote_of_device(dev_t device) {
  if (!table.is_loaded) load();
  auto found = table.by_device.find(device);
  if (found == table.by_device.end()) {
    load();
    found = table.by_device.emplace(device, nullptr).first;
  }
  return found->second;
}

remote_mount* remote_holding(std::string_view path) {
  if (!has_remote_mounts()) return nullptr;
  for (;;) {
    const auto found = table.by_point.find(path.empty() ? "/" : path);
    if (found != table.by_point.end()) return found->second;
    if (path.size() <= 1) return nullptr;
    path = path.substr(0, path.rfind('/'));
  }
}

std::set<std::string, std::less<>> remote_names_in(std::string_view folder) {
  std::set<std::string, std::less<>> names;
  std::string start(folder);
  append_name(start, "");
  for (auto i = table.by_point.upper_bound(start);
       i != table.by_point.end() && i->first.starts_with(start); ++i) {
    std::string name = i->first.substr(start.size());
    if (i->second != nullptr && name.find('/') == std::string::npos) names.insert(std::move(name));
  }
  return names;
}

namespace {

// Told a mount, the piece of the way on it that is looked at next, and what is left of the way.
using way_visitor = std::function<bool(remote_mount& on, const std::string& at,
                                       const std::vector<std::string>& left)>;

// Follows a path link by link for as long as `may_ask` agrees. The path without links, or nothing
// where it did not.
std::optional<std::string> follow(std::string_view path, std::string_view folder,
                                  const way_visitor& may_ask) {
  std::vector<std::string> left;
  add_components(left, path);
  std::string walked;
  remote_mount* on = nullptr;
  if (!path.starts_with('/')) {
    walked = folder.empty() ? link_text("/proc/self/cwd") : std::string(folder);
    if (walked == "/") walked.clear();
    on = remote_holding(walked);
    if (on != nullptr && !may_ask(*on, walked, left)) return {};
  }
  for (int links = 0; !left.empty();) {
    const std::string part = std::move(left.back());
    left.pop_back();
    if (part == "..") {
      walked.resize(walked.empty() ? 0 : walked.rfind('/'));
      on = walked.empty() ? nullptr : remote_holding(walked);
      continue;
    }
    std::string next = walked;
    next.append("/").append(part);
    const auto mounted = table.by_point.find(next);
    remote_mount* const above = on;
    if (mounted != table.by_point.end()) on = mounted->second;
    if (on != nullptr && !may_ask(*on, next, left)) return {};
    const std::string target = link_text(next);
    if (target.empty()) {
      walked = std::move(next);
      continue;
    }
    if (++links > k_most_links) return next;
    const bool is_absolute = target.starts_with('/');
    on = is_absolute ? nullptr : above;
    if (is_absolute) walked.clear();
    add_components(left, target);
  }
  return walked.empty() ? "/" : walked;
}

}  // namespace

remote_mount* remote_on_way(std::string_view path, std::string_view folder) {
  if (!has_remote_mounts()) return nullptr;
  remote_mount* first = nullptr;
  // Behind the first one only the text can tell which mount it is.
  follow(path, folder, [&first](remote_mount& on, const std::string& at, const auto& left) {
    remote_mount* const by_text = remote_holding(joined(at, left));
    first = by_text != nullptr ? by_text : &on;
    return false;
  });
  return first;
}

std::optional<std::string> tell_way(worker_link& link, std::string_view path,
                                    std::string_view folder, std::string_view entry) {
  const std::string behind = '\n' + std::string(entry);
  return follow(path, folder, [&](remote_mount& on, const std::string& at, const auto&) {
    if (is_silent(on)) return false;
    link.progress(at + behind);
    return true;
  });
}

bool is_silent(const remote_mount& mount) {
  return mount.is_silent || table.silent_servers.count(server_of(mount)) != 0;
}

namespace {

// Waits that overlapped count once.
void note_wait() {
  const auto now = steady::now();
  table.waited += std::min(milliseconds(remote_patience()),
                           std::chrono::duration_cast<milliseconds>(now - table.noted));
  table.noted = now;
}

}  // namespace

void note_silent(std::string_view asked) {
  const std::string at(asked.substr(0, asked.find('\n')));
  load();
  remote_mount* mount = remote_holding(at);
  if (mount == nullptr || mount->type == k_automounter) {
    mount = &table.remote.emplace_back(remote_mount{at, "", "", 0, false});
    table.by_point[at] = mount;
  }
  if (mount->is_silent) return;
  mount->is_silent = true;
  note_wait();
  const std::string server = server_of(*mount);
  if (!server.empty()) table.silent_servers.insert(server);
  add_notice(mount->point, "does not answer, left out");
}

int remote_patience() {
  return std::clamp(static_cast<int>((k_all_patience - table.waited).count() / k_share),
                    k_least_patience, k_worker_patience);
}

// --- asking ----------------------------------------------------------------------------------

namespace {

using path_indexes = std::vector<size_t>;

// Asks the paths of one server in a worker, and takes what that sends.
class server_questions {
 public:
  server_questions(path_indexes paths, const std::vector<std::string>& texts,
                   std::vector<path_answer>& answers)
      : left_(std::move(paths)), texts_(texts), answers_(answers) {}

  std::unique_ptr<worker> start(const path_call& call) const {
    return std::make_unique<worker>([this, &call](worker_link& link) {
      for (const size_t i : left_) {
        const bool may_ask = tell_way(link, texts_[i]).has_value();
        link.send(may_ask ? k_asked + call(texts_[i].c_str()) : "");
      }
    });
  }
  // Whether more is to come.
  bool take(const worker& from, worker::event got, const std::string& record) {
    path_answer& answer = answers_[left_.front()];
    if (got == worker::event::record) {
      answer = {record.empty() ? ETIMEDOUT : 0, record.empty() ? "" : record.substr(1)};
    } else if (got == worker::event::silent) {
      note_silent(from.asked());
    } else if (got == worker::event::stopped) {
      for (const size_t i : left_) answers_[i].reason = EINTR;
      left_.clear();
      return false;
    } else {
      answer.reason = EIO;
    }
    left_.erase(left_.begin());
    return !left_.empty();
  }
  // Without a worker.
  void ask_here(const path_call& call) {
    for (const size_t i : left_) answers_[i] = {0, call(texts_[i].c_str())};
    left_.clear();
  }
  path_indexes& left() { return left_; }

 private:
  static constexpr char k_asked = '+';  // before an answer, which may be empty
  path_indexes left_;
  const std::vector<std::string>& texts_;
  std::vector<path_answer>& answers_;
};

// What is still worth asking, by who answers; the others have their answer then.
std::vector<path_indexes> by_server(const path_indexes& asked,
                                    const std::vector<std::string>& paths,
                                    std::vector<path_answer>& answers, const path_call& call) {
  std::map<std::string, path_indexes> found;
  for (const size_t i : asked) {
    const remote_mount* on = remote_on_way(paths[i]);
    answers[i].reason = ETIMEDOUT;
    if (on == nullptr) {
      answers[i] = {0, call(paths[i].c_str())};
    } else if (!is_silent(*on)) {
      const std::string server = server_of(*on);
      found[server.empty() ? on->point : server].push_back(i);
    }
  }
  std::vector<path_indexes> groups;
  groups.reserve(found.size());
  for (auto& [server, indexes] : found) groups.push_back(std::move(indexes));
  return groups;
}

// One worker for each server; those of a server beyond what one round asks, and what stood behind a
// path that hung, are left for the next one.
path_indexes ask_round(const std::vector<path_indexes>& groups,
                       const std::vector<std::string>& paths, std::vector<path_answer>& answers,
                       const path_call& call) {
  std::deque<server_questions> questions;
  std::vector<std::unique_ptr<worker>> workers;
  std::vector<const worker*> started;
  path_indexes left;
  for (const path_indexes& group : groups) {
    if (questions.size() >= k_at_once) {
      left.insert(left.end(), group.begin(), group.end());
      continue;
    }
    questions.emplace_back(group, paths, answers);
    workers.push_back(questions.back().start(call));
    started.push_back(workers.back().get());
    if (workers.back()->is_started()) continue;
    questions.back().ask_here(call);
    workers.pop_back();
    started.pop_back();
    questions.pop_back();
  }
  take_from_all(std::move(workers), remote_patience(),
                [&](size_t whose, worker::event got, const std::string& record) {
                  return questions[whose].take(*started[whose], got, record);
                });
  for (server_questions& group : questions) {
    left.insert(left.end(), group.left().begin(), group.left().end());
  }
  return left;
}

}  // namespace

std::vector<path_answer> ask_paths(const std::vector<std::string>& paths, const path_call& call) {
  std::vector<path_answer> answers(paths.size());
  path_indexes left(paths.size());
  std::iota(left.begin(), left.end(), 0);
  while (!left.empty()) {
    const std::vector<path_indexes> groups = by_server(left, paths, answers, call);
    left = ask_round(groups, paths, answers, call);
  }
  return answers;
}

int ask_path(const char* path, const std::function<int(const char* path)>& call) {
  const path_answer answer =
      ask_paths({path}, [&call](const char* of) { return std::to_string(call(of)); })[0];
  return answer.reason != 0 ? answer.reason : atoi(answer.bytes.c_str());
}

bool is_folder_answering() {
  return ask_path(".", [](const char*) {
           const std::string name = "kestr" + std::to_string(getpid()) + ".try";
           const int made = open(name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
           if (made >= 0) {
             close(made);
             unlink(name.c_str());
           }
           return 0;
         }) != ETIMEDOUT;
}

}  // namespace kestrel
