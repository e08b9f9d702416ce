// The mount table and the silent mounts of this run: see mounts.h.
#include "lib/mounts.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <functional>
#include <map>
#include <set>
#include <vector>

#include "lib/debug.h"
#include "lib/getline.h"
#include "lib/notice.h"
#include "lib/utilstr.h"
#include "lib/worker.h"

namespace kestrel {

namespace {

constexpr const char* k_mount_table = "/proc/self/mountinfo";
constexpr int k_most_links = 40;  // as the kernel follows
constexpr int k_hurried_patience = 1000;
constexpr int k_most_patient_waits = 4;

// Served over a network, by a cluster or by a process of this machine.
constexpr std::string_view k_remote_types[] = {
    "9p",    "acfs",  "afs",  "autofs", "beegfs", "ceph",     "cifs", "coda",
    "davfs", "gfs",   "gfs2", "gpfs",   "lustre", "ncpfs",    "nfs",  "nfs4",
    "ocfs2", "pvfs2", "smb3", "smbfs",  "vboxsf", "virtiofs",
};

struct mount_table {
  bool is_loaded = false;
  std::deque<remote_mount> remote;  // never shrinks: others point into it
  std::vector<std::pair<std::string, remote_mount*>> by_point;  // all mounts, null for local ones
  std::map<dev_t, remote_mount*> by_device;                     // the same
  std::set<std::string> silent_servers;
  int silent = 0;
};
mount_table table;

// "\040" and the like stand for characters that would end a field.
std::string unescaped(std::string_view field) {
  std::string text;
  for (size_t i = 0; i < field.size(); ++i) {
    if (field[i] == '\\' && i + 3 < field.size()) {
      text += static_cast<char>(strtol(std::string(field.substr(i + 1, 3)).c_str(), nullptr, 8));
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
  const std::string_view numbers = fields[2];
  unsigned major_number = 0, minor_number = 0;
  if (sscanf(std::string(numbers).c_str(), "%u:%u", &major_number, &minor_number) != 2) return;
  const dev_t device = makedev(major_number, minor_number);
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
  table.by_point.emplace_back(std::move(point), mount);
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
}

// "host:/folder" or "//host/share"; "" when the source names no server.
std::string server_of(const std::string& source) {
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

// The mount table lists what lies on top last.
remote_mount* remote_mounted_at(std::string_view path) {
  if (!has_remote_mounts()) return nullptr;
  for (size_t i = table.by_point.size(); i-- > 0;) {
    if (table.by_point[i].first == path) return table.by_point[i].second;
  }
  return nullptr;
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
  const std::pair<std::string, remote_mount*>* best = nullptr;
  for (const auto& mount : table.by_point) {
    const std::string& point = mount.first;
    const bool holds =
        path.starts_with(point) &&
        (point.ends_with('/') || path.size() == point.size() || path[point.size()] == '/');
    if (holds && (best == nullptr || point.size() >= best->first.size())) best = &mount;
  }
  return best == nullptr ? nullptr : best->second;
}

remote_mount* remote_on_way(std::string_view path, std::string_view folder) {
  if (!has_remote_mounts()) return nullptr;
  std::string walked;
  if (!path.starts_with('/')) {
    walked = folder.empty() ? link_text("/proc/self/cwd") : std::string(folder);
    if (walked == "/") walked.clear();
    if (remote_mount* on = remote_holding(walked)) return on;
  }
  std::vector<std::string> left;
  add_components(left, path);
  for (int links = 0; !left.empty();) {
    const std::string part = std::move(left.back());
    left.pop_back();
    if (part == "..") {
      walked.resize(walked.empty() ? 0 : walked.rfind('/'));
      continue;
    }
    std::string next = walked;
    next.append("/").append(part);
    // Behind it only the text can tell which mount it is.
    if (remote_mounted_at(next) != nullptr) return remote_holding(joined(next, left));
    const std::string target = link_text(next);
    if (target.empty()) {
      walked = next;
      continue;
    }
    if (++links > k_most_links) return nullptr;
    if (target.starts_with('/')) walked.clear();
    add_components(left, target);
  }
  return nullptr;
}

bool is_silent(const remote_mount& mount) {
  return mount.is_silent || table.silent_servers.count(server_of(mount.source)) != 0;
}

void note_silent(remote_mount& mount) {
  if (mount.is_silent) return;
  mount.is_silent = true;
  ++table.silent;
  const std::string server = server_of(mount.source);
  if (!server.empty()) table.silent_servers.insert(server);
  add_notice(mount.point, "does not answer, left out");
}

int remote_patience() {
  return table.silent < k_most_patient_waits ? k_worker_patience : k_hurried_patience;
}

namespace {

bool answers(remote_mount* on, const std::function<std::string()>& work) {
  if (on == nullptr) return true;
  errno = ETIMEDOUT;
  if (is_silent(*on)) return false;
  std::string answer;
  if (ask_worker(work, answer, remote_patience())) return true;
  if (errno == ETIMEDOUT) note_silent(*on);
  return errno != ETIMEDOUT;
}

}  // namespace

bool is_reachable(const char* path) {
  return answers(remote_on_way(path), [path] {
    struct stat status;
    return std::to_string(stat(path, &status));
  });
}

bool is_folder_answering() {
  return answers(remote_on_way("."), [] {
    const std::string name = "kestr" + std::to_string(getpid()) + ".try";
    const int made = open(name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    if (made >= 0) close(made);
    return std::to_string(made >= 0 && unlink(name.c_str()) == 0);
  });
}

}  // namespace kestrel
