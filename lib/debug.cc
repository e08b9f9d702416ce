// The debug log: see debug.h. Both targets may be on at once; every write then goes to both.
#include "lib/debug.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <cwchar>
#include <string>
#include <string_view>

#include "lib/file_identity.h"
#include "lib/interface.h"
#include "lib/mbcs.h"

namespace kestrel {
namespace {

constexpr size_t k_path_size = 4096;
constexpr size_t k_longest_wide_line = 1u << 20;

bool log_to_file = false;
char log_filename[k_path_size] = "";
FILE* log_file = nullptr;
file_identity created_log;
bool log_to_stream = false;
FILE* log_stream = nullptr;
time_t timer = 0;
bool at_line_start = true;
bool at_wide_line_start = true;
std::function<void(std::string_view text)> log_taker;
double seconds_before = 0;

// One test for the common case that nothing is logged.
bool logging = false;

void note_targets() { logging = log_to_file || log_to_stream; }

// Why a file is no log to write to, as errno; 0 for a good one. A second name is one that somebody
// gave this run's log, or the log is another file: a link that somebody put in its place.
int refusal(const struct stat& status) {
  if (!S_ISREG(status.st_mode)) return EINVAL;
  const bool is_ours = status.st_dev == created_log.device && status.st_ino == created_log.inode;
  return is_ours || status.st_nlink <= 1 ? 0 : EMLINK;
}

// Never through a link, and a FIFO must not hold the program.
int open_plain(const char* path, int flags) {
  int descriptor =
      open(path, O_WRONLY | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC | flags, 0600);
  struct stat status = {};
  if (descriptor < 0 || fstat(descriptor, &status) != 0) return descriptor;
  const int error = refusal(status);
  if (error == 0) return descriptor;
  close(descriptor);
  errno = error;
  return -1;
}

// An older file of the name is removed, not written into.
int create_plain(const char* path) {
  if (unlink(path) != 0 && errno != ENOENT) return -1;
  const int descriptor = open_plain(path, O_EXCL);
  if (descriptor >= 0) created_log = file_identity::of(descriptor);
  return descriptor;
}

[[noreturn]] void give_up(int errnum) {
  // Off first: reporting the failure must not try to open the log again.
  log_to_file = false;
  note_targets();
  internal_error("Unable to open debug log: %s\n", strerror(errnum));
}

void enable_log_to_path(const char* path) {
  strncpy(log_filename, path, k_path_size - 1);
  log_filename[k_path_size - 1] = '\0';
  log_to_file = true;
  note_targets();
}

template <class Char>
bool ends_line(std::basic_string_view<Char> format) {
  return !format.empty() && format.back() == Char{'\n'};
}

void print_stamp(bool& line_start, bool next) {
  if (line_start) printd_noflush("%8.4f ", seconds_before + static_cast<double>(clock()) / 1e6);
  line_start = next;
}

// The format decides, not the text: whether a line ends is known before it is formatted.
void stamp_line(const char* format) {
  print_stamp(at_line_start, ends_line(std::string_view(format)));
}

void stamp_wide_line(const wchar_t* format) {
  print_stamp(at_wide_line_start, ends_line(std::wstring_view(format)));
}

std::string format_wide(const wchar_t* format, va_list arguments) {
  std::wstring text(256, L'\0');
  while (text.size() <= k_longest_wide_line) {
    va_list copy;
    va_copy(copy, arguments);
    int length = vswprintf(text.data(), text.size(), format, copy);
    va_end(copy);
    if (length >= 0)
      return wide_to_mbcs(std::wstring_view(text.data(), static_cast<size_t>(length)));
    text.resize(text.size() * 4);
  }
  return {};
}

ssize_t take_log(void*, const char* text, size_t size) {
  log_taker({text, size});
  return static_cast<ssize_t>(size);
}

template <class Char>
void print_local_time(const Char*) {
  time_t now = time(nullptr);
  std::tm local = {};
  char text[64] = "";
  if (localtime_r(&now, &local) != nullptr) asctime_r(&local, text);
  printd_noflush("%.19s ", text);
}

}  // namespace

bool is_logging() { return logging; }

void open_log_file() {
  if (!log_to_file || log_file != nullptr) return;
  int descriptor = open_plain(log_filename, O_APPEND | O_DSYNC);
  if (descriptor < 0) give_up(errno);
  log_file = fdopen(descriptor, "a");
  if (log_file == nullptr) {
    int errnum = errno;
    close(descriptor);
    give_up(errnum);
  }
}

void truncate_log_file() {
  int descriptor = create_plain(log_filename);
  if (descriptor < 0) give_up(errno);
  close(descriptor);
}

void close_and_flush_log_file() {
  if (log_file != nullptr) {
    fclose(log_file);
    log_file = nullptr;
  }
  if (log_stream != nullptr) fflush(log_stream);
}

void enable_log_to_file(const char* path) {
  enable_log_to_path(path);
  truncate_log_file();
}

void enable_append_log_to_file(const char* path) { enable_log_to_path(path); }

void disable_log_to_file() {
  log_to_file = false;
  note_targets();
}

namespace {

void set_log_stream(FILE* stream) {
  log_stream = stream;
  log_to_stream = stream != nullptr;
  note_targets();
}

}  // namespace

void enable_log_to_stream(const char* path) {
  int descriptor = create_plain(path);
  FILE* stream = descriptor < 0 ? nullptr : fdopen(descriptor, "w");
  if (stream == nullptr) give_up(errno);
  set_log_stream(stream);
}

void enable_log_to_stream(FILE* stream) { set_log_stream(stream); }

void disable_log_to_stream() { set_log_stream(nullptr); }

void redirect_log(std::function<void(std::string_view text)> take, double seconds) {
  if (!logging) return;
  seconds_before = seconds;
  log_to_file = false;
  log_stream = nullptr;  // its unwritten bytes are the parent's
  const cookie_io_functions_t functions = {nullptr, take_log, nullptr, nullptr};
  log_taker = std::move(take);
  FILE* stream = fopencookie(nullptr, "w", functions);
  log_to_stream = stream != nullptr;
  log_stream = stream;
  note_targets();
}

int vprintd_noflush(const char* format, va_list arguments) {
  int count = 0;
  if (log_to_file && log_file != nullptr) {
    va_list copy;
    va_copy(copy, arguments);
    count = vfprintf(log_file, format, copy);
    va_end(copy);
  }
  if (log_to_stream && log_stream != nullptr) {
    va_list copy;
    va_copy(copy, arguments);
    count = vfprintf(log_stream, format, copy);
    va_end(copy);
  }
  return count;
}

int printd_noflush(const char* format, ...) {
  if (!logging) return 0;
  va_list arguments;
  va_start(arguments, format);
  int count = vprintd_noflush(format, arguments);
  va_end(arguments);
  return count;
}

int vprintd_noflushW(const wchar_t* format, va_list arguments) {
  if (!logging) return 0;
  return printd_noflush("%s", format_wide(format, arguments).c_str());
}

int printd_noflushW(const wchar_t* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  int count = vprintd_noflushW(format, arguments);
  va_end(arguments);
  return count;
}

// The frame of every logged call: what stands in front of the message, the message, and the file is
// closed again.
template <class Char>
static int write_logged(void (*begin)(const Char* format),
                        int (*write)(const Char* format, va_list arguments), const Char* format,
                        va_list arguments) {
  open_log_file();
  begin(format);
  int count = write(format, arguments);
  close_and_flush_log_file();
  return count;
}

int printd(const char* format, ...) {
  if (!logging) return 0;
  va_list arguments;
  va_start(arguments, format);
  int count = write_logged<char>(stamp_line, vprintd_noflush, format, arguments);
  va_end(arguments);
  return count;
}

int printdW(const wchar_t* format, ...) {
  if (!logging) return 0;
  va_list arguments;
  va_start(arguments, format);
  int count = write_logged<wchar_t>(stamp_wide_line, vprintd_noflushW, format, arguments);
  va_end(arguments);
  return count;
}

int print_with_time(const char* format, ...) {
  if (!logging) return 0;
  va_list arguments;
  va_start(arguments, format);
  int count = write_logged<char>(print_local_time, vprintd_noflush, format, arguments);
  va_end(arguments);
  return count;
}

int print_with_timeW(const wchar_t* format, ...) {
  if (!logging) return 0;
  va_list arguments;
  va_start(arguments, format);
  int count = write_logged<wchar_t>(print_local_time, vprintd_noflushW, format, arguments);
  va_end(arguments);
  return count;
}

int print_error(const char* what, int errnum) {
  if (!logging) return 0;
  return printd("%s (%d): %s\n", what, errnum, strerror(errnum));
}

void internal_error(const char* format, ...) {
  printd("Internal error: ");
  va_list arguments;
  open_log_file();
  va_start(arguments, format);
  vprintd_noflush(format, arguments);
  va_end(arguments);
  close_and_flush_log_file();
  fputs("\n\nAN INTERNAL ERROR OCCURRED -- THE PROGRAM CANNOT COMPLETE\n", stderr);
  va_start(arguments, format);
  vfprintf(stderr, format, arguments);
  va_end(arguments);
  abort();
}

void timer_reset(const char* label) {
  printd("%s: --- MARK ---\n", label);
  timer = time(nullptr);
}

void timer_mark(const char* label) {
  printd("%s: --- MARK --- %.4f sec\n", label, difftime(time(nullptr), timer));
  timer = time(nullptr);
}

}  // namespace kestrel
