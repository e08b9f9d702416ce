// Asks the C library and the kernel for the names, folders and ids of this process, its user and
// its machine. What they do not tell is "".
#include "lib/util_linux.h"

#include <pwd.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <climits>
#include <cstdlib>
#include <memory>
#include <thread>

#include "lib/interface.h"
#include "lib/utilstr.h"

namespace kestrel {

namespace {

std::string environment_text(const char* name) {
  const char* value = std::getenv(name);
  return value == nullptr ? "" : value;
}

std::string letters_of(unsigned index) {
  const auto letter = [](unsigned i) { return static_cast<char>('a' + i); };
  if (index < 26) return {letter(index)};
  if (index > 701) return "NA";
  return {letter(index / 26 - 1), letter(index % 26)};
}

}  // namespace

bool get_program_filename(char* buffer, size_t size) {
  if (size == 0) return false;
  const ssize_t length = readlink("/proc/self/exe", buffer, size - 1);
  buffer[length < 0 ? 0 : length] = '\0';
  return length >= 0;
}

std::string get_computer_name() {
  char name[HOST_NAME_MAX + 1] = "";
  if (gethostname(name, sizeof name) != 0) return "";
  name[sizeof name - 1] = '\0';
  return name;
}

std::string get_current_user() {
  const passwd* entry = getpwuid(getuid());
  return entry == nullptr ? "" : entry->pw_name;
}

std::string get_user_name() {
  const std::string user = get_current_user();
  return user.empty() ? "Unknown" : user;
}

std::string get_user_desktop() {
  const std::string home = environment_text("HOME");
  return home.empty() ? "" : home + "/Desktop";
}

std::string get_ws_domain() {
  char name[HOST_NAME_MAX + 1] = "";
  if (getdomainname(name, sizeof name) != 0) return "";
  name[sizeof name - 1] = '\0';
  const std::string domain = name;
  return domain == "(none)" ? "" : domain;
}

int get_process_id() { return static_cast<int>(getpid()); }

const char* get_temp_dir() {
  static const std::string folder = [] {
    const std::string wanted = environment_text("TMPDIR");
    return wanted.empty() ? std::string("/tmp") : wanted;
  }();
  return folder.c_str();
}

std::string GetCurrentDir() {
  // As long as the path is: the C library makes the room.
  const std::unique_ptr<char, void (*)(void*)> path(getcwd(nullptr, 0), &std::free);
  return path == nullptr ? "" : path.get();
}

bool SetCurrentDir(const char* path) { return chdir(path) == 0; }

void MilliPause(unsigned milliseconds) {
  std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}

int execute(const char* command) {
  const int status = std::system(command);
  return status != -1 && WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

char* make_device_name(char* buffer, size_t size, const char* prefix, const char* base,
                       const char* suffix, unsigned index, device_numbering mode) {
  const std::string text =
      mode == device_numbering::numbered ? std::to_string(index) : letters_of(index);
  return format_string(buffer, size, "%s%s%s%s", prefix, base, text.c_str(), suffix);
}

}  // namespace kestrel
