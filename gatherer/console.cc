// What is shown and asked, and what is kept to be shown behind a status word. Everything goes to
// standard error; standard output belongs to the probe list and, in stdout mode, to the report.
#include "gatherer/console.h"

#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "gatherer/settings.h"
#include "gatherer/version.h"
#include "lib/blocked_signals.h"
#include "lib/debug.h"
#include "lib/mbcs.h"
#include "lib/stop.h"

namespace kestrel {
namespace {

constexpr int k_columns = 80;

const char* kept_name = nullptr;

std::vector<std::string>& file_errors() {
  static std::vector<std::string> noted;
  return noted;
}

}  // namespace

int printm(const char* format, ...) {
  if (get_setting(setting_silent) != 0) return 0;
  va_list arguments;
  va_start(arguments, format);
  int count = vfprintf(stderr, format, arguments);
  va_end(arguments);
  fflush(stderr);
  if (!is_logging()) return count;
  open_log_file();
  printd_noflush("console: ");
  va_start(arguments, format);
  vprintd_noflush(format, arguments);
  va_end(arguments);
  close_and_flush_log_file();
  return count;
}

void gatherer_banner() {
  printm("\n%s\nVersion %s %s%s\n\n%s\n\n%s\n\n%s\n\n%s\n\n", k_title, k_version, get_subversion(),
         k_release, k_legal_notice, k_product_numbers, k_copyright, k_government_legend);
}

void gatherer_help(const wchar_t* program) {
  gatherer_banner();
  fprintf(stderr,
          "Usage: %s [-help] | [-batch] | [-silent] | [-nolimit]\n\n"
          " -help      : Show this message.\n"
          " -batch     : Do not show the disclaimer.\n"
          " -silent    : Do not show anything during operation.\n"
          " -nolimit   : Collect entire event log (default is last 500 entries).\n\n",
          wide_to_mbcs(program).c_str());
  exit(1);
}

namespace {

// Unbuffered, so that there is nothing to read where poll says so. A signal comes before the
// question whether to stop, or it ends the waiting.
int read_character() {
  std::setvbuf(stdin, nullptr, _IONBF, 0);
  pollfd readable = {fileno(stdin), POLLIN, 0};
  const blocked_signals blocked;
  do {
    if (is_stopping()) return EOF;
  } while (ppoll(&readable, 1, nullptr, &blocked.before()) < 0 && errno == EINTR);
  return getchar();
}

}  // namespace

int read_answer() {
  int first = read_character();
  for (int c = first; c != '\n' && c != EOF;) c = read_character();
  return first == EOF ? -1 : first;
}

int gatherer_disclaimer() {
  if (get_setting(setting_batch) != 0 || get_setting(setting_silent) != 0) return 0;
  int length = static_cast<int>(strlen(k_disclaimer_title));
  printm("%*s\n%s", (k_columns - length) / 2 + length / 2, k_disclaimer_title, k_disclaimer_text);
  int answer = 0;
  while (answer == 0 || strchr("yYnN", answer) == nullptr) {
    printm("%s", "Do you agree with the above terms ? [y/n] ... ");
    answer = read_answer();
    if (answer < 0) answer = 'n';
  }
  bool agreed = answer == 'y' || answer == 'Y';
  if (!agreed) {
    printm("%s\n", "Sorry, this software only works if you agree with the above terms");
  }
  printm("\n");
  return agreed ? 0 : -1;
}

void report_file_error(const char* path, int errnum) {
  print_error(path, errnum);
  file_errors().push_back(std::string(path) + ": " + strerror(errnum));
}

void report_file_error(const char* path, const char* text) {
  printd("%s: %s\n", path, text);
  file_errors().push_back(std::string(path) + ": " + text);
}

std::string kept_here_text(const char* name, const char* reason) {
  return std::string("kept under this name, ") + name + ": " + reason;
}

void note_kept(const char* name) { kept_name = name; }

void print_stopped() {
  const int number = stop_signal();
  const char* abbreviation = sigabbrev_np(number);
  const std::string name = abbreviation != nullptr ? std::string("SIG") + abbreviation
                                                   : "signal " + std::to_string(number);
  if (kept_name == nullptr) {
    printm("Stopped by %s\n", name.c_str());
  } else {
    printm("Stopped by %s; what was gathered so far is kept in %s\n", name.c_str(), kept_name);
  }
}

void print_file_errors() {
  std::vector<std::string> lines;
  lines.swap(file_errors());
  for (const std::string& line : lines) printm("%s\n", line.c_str());
}

}  // namespace kestrel
