// See command_path.h. A server that is dead would hold every look-up of every command.
#include "lib/command_path.h"

#include <mntent.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <string_view>
#include <vector>

#include "lib/file.h"
#include "lib/in_child.h"
#include "lib/notice.h"
#include "lib/worker.h"

namespace kestrel {
namespace {

constexpr std::string_view k_administration[] = {"/usr/local/sbin", "/usr/sbin", "/sbin"};
constexpr const char* k_mount_table = "/proc/self/mounts";
constexpr size_t k_longest_entry = 65536;  // overlays have thousands of characters of options
constexpr std::string_view k_name = "PATH=";

bool is_below(std::string_view path, std::string_view folder) {
  return path.starts_with(folder) && (path.size() == folder.size() || path[folder.size()] == '/');
}

// The mount points whose server may be dead. Those below are the kernel's own.
std::vector<std::string> list_servers() {
  std::vector<std::string> found;
  const file_ptr table = open_regular_file(k_mount_table);
  if (table == nullptr) return found;
  std::string text(k_longest_entry, '\0');
  mntent entry;
  while (getmntent_r(table.get(), &entry, text.data(), static_cast<int>(text.size())) != nullptr) {
    const std::string_view folder = entry.mnt_dir;
    if (!may_hang(entry.mnt_type) || is_below(folder, "/proc") || is_below(folder, "/sys"))
      continue;
    found.emplace_back(folder);
  }
  return found;
}

// A link may lead to a server from anywhere, so all are asked, the way a shell does.
void look_up(worker_link& link, const std::vector<std::string>& folders, size_t first) {
  for (size_t i = first; i < folders.size(); ++i) {
    link.progress(folders[i]);
    (void)!access((folders[i] + "/sh").c_str(), X_OK);
    link.send({});
  }
}

// The mount point that a folder stands below, "" for a link from elsewhere.
std::string server_of(const std::string& folder, const std::vector<std::string>& servers) {
  std::string nearest;
  for (const std::string& server : servers) {
    if (is_below(folder, server) && server.size() > nearest.size()) nearest = server;
  }
  return nearest;
}

// What is mounted from a server that was silent is not asked again.
void drop_dead(std::vector<std::string>& folders) {
  const std::vector<std::string> servers = list_servers();
  for (size_t first = 0; !servers.empty() && first < folders.size();) {
    worker asked([&](worker_link& link) { look_up(link, folders, first); });
    std::string record;
    worker::event event;
    while ((event = asked.next(record)) == worker::event::record) ++first;
    if (event != worker::event::silent || first >= folders.size()) return;
    const std::string dead = folders[first];
    add_notice("PATH", dead + " does not answer, left out");
    const std::string server = server_of(dead, servers);
    const auto is_dead = [&](const std::string& folder) {
      return folder == dead || (!server.empty() && is_below(folder, server));
    };
    folders.erase(
        std::remove_if(folders.begin() + static_cast<ptrdiff_t>(first), folders.end(), is_dead),
        folders.end());
  }
}

std::string make_path(std::string_view path) {
  std::vector<std::string> folders;
  for (size_t at = 0; at <= path.size();) {
    const size_t end = std::min(path.find(':', at), path.size());
    folders.emplace_back(path.substr(at, end - at));
    at = end + 1;
  }
  for (const std::string_view folder : k_administration) {
    if (std::find(folders.begin(), folders.end(), folder) == folders.end()) {
      folders.emplace_back(folder);
    }
  }
  drop_dead(folders);
  std::string made;
  for (const std::string& folder : folders)
    made.append(&folder == &folders[0] ? "" : ":") += folder;
  return made;
}

}  // namespace

std::string command_environment() {
  static std::string given, made;
  std::string all;
  for (char** variable = environ; variable != nullptr && *variable != nullptr; ++variable) {
    std::string_view text = *variable;
    if (text.starts_with(k_name)) {
      if (made.empty() || given != text) {
        given = text;
        made = std::string(k_name) + make_path(text.substr(k_name.size()));
      }
      text = made;
    }
    all.append(text) += '\0';
  }
  return all;
}

}  // namespace kestrel
