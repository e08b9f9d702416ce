// Makes the environment of commands from this process's own. PATH gets the folders of
// administration too and loses those that do not answer: a dead server would hold every look-up.
#include "lib/command_path.h"

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <iterator>
#include <string_view>
#include <utility>
#include <vector>

#include "lib/debug.h"
#include "lib/mounts.h"
#include "lib/pathname.h"
#include "lib/util_linux.h"

namespace kestrel {
namespace {

constexpr std::string_view k_administration[] = {"/usr/local/sbin", "/usr/sbin", "/sbin"};
constexpr std::string_view k_name = "PATH=";
// Folders that a shell looks at when it starts.
constexpr std::string_view k_looked_at[] = {"PWD=", "OLDPWD="};

bool would_hang_a_shell(std::string_view variable) {
  return std::any_of(std::begin(k_looked_at), std::end(k_looked_at), [&](std::string_view name) {
    return variable.starts_with(name) && remote_on_way(variable.substr(name.size())) != nullptr;
  });
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
  // Commands do not start in a folder that may hang (lib/keeper.cc).
  const std::string here = remote_on_way(".") == nullptr ? "" : GetCurrentDir();
  for (std::string& folder : folders) {
    if (here.empty() || folder.starts_with('/')) continue;
    const std::string named = std::exchange(folder, here);
    if (!named.empty()) append_name(folder, named);
  }
  // A link may lead to a server from anywhere, so all are asked, the way a shell does.
  std::vector<std::string> shells;
  shells.reserve(folders.size());
  for (const std::string& folder : folders) shells.push_back(folder + "/sh");
  const std::vector<path_answer> answers = ask_paths(shells, [](const char* shell) {
    (void)!access(shell, X_OK);
    return "";
  });
  std::string made;
  for (size_t i = 0; i < folders.size(); ++i) {
    if (answers[i].reason == 0) {
      made.append(folders[i]) += ':';
    } else {
      printd("command: %s does not answer, left out of PATH\n", folders[i].c_str());
    }
  }
  if (!made.empty()) made.pop_back();
  return made;
}

}  // namespace

std::string command_environment() {
  static std::string given, made;
  std::string all;
  for (char** variable = environ; variable != nullptr && *variable != nullptr; ++variable) {
    std::string_view text = *variable;
    if (would_hang_a_shell(text)) continue;
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
