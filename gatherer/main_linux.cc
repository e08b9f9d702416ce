// The process's entry: makes the surroundings safe, widens the arguments, hands over.
#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <clocale>
#include <cstdlib>
#include <string>
#include <vector>

#include "gatherer/main.h"
#include "lib/cleanup.h"
#include "lib/mbcs.h"

namespace {

// A standard descriptor that comes closed would go to the next file opened: the report's file
// would be the console. What is written to a closed standard output is lost, and the writing fails.
void open_standard_descriptors() {
  for (int wanted = STDIN_FILENO; wanted <= STDERR_FILENO; ++wanted) {
    if (fcntl(wanted, F_GETFD) < 0) open("/dev/null", wanted == STDERR_FILENO ? O_RDWR : O_RDONLY);
  }
}

}  // namespace

int main(int argc, char** argv) {
  open_standard_descriptors();
  signal(SIGCHLD, SIG_DFL);  // inherited as ignored, no command's status could be had
  signal(SIGPIPE, SIG_IGN);  // a console that went away must not end the run
  kestrel::install_signal_handlers();
  setlocale(LC_ALL, "");
  const auto count = static_cast<size_t>(argc);
  std::vector<std::wstring> texts;
  texts.reserve(count);
  for (int i = 0; i < argc; ++i) texts.push_back(kestrel::mbcs_to_wide(argv[i]));
  std::vector<const wchar_t*> wide;
  wide.reserve(count);
  for (const std::wstring& text : texts) wide.push_back(text.c_str());
  return kestrel::wmain(argc, wide.data());
}
