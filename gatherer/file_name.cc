// The names under which the report and the gather file are left: templates whose '@' macros stand
// for properties of the machine, and moving a finished temporary file to its name.
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <ctime>

#include "gatherer/console.h"
#include "gatherer/file_task.h"
#include "gatherer/ks2file.h"
#include "gatherer/osinfo.h"
#include "gatherer/settings.h"
#include "lib/cleanup.h"
#include "lib/debug.h"
#include "lib/mbcs.h"
#include "lib/misc.h"
#include "lib/staging.h"
#include "lib/sysinfo.h"
#include "lib/temporary.h"
#include "lib/util_linux.h"
#include "lib/utilstr.h"

namespace kestrel {
namespace {

constexpr size_t k_longest_expansion = 255;
constexpr size_t k_path_size = 4097;

std::string local_time_text() {
  time_t now = time(nullptr);
  std::tm local = {};
  localtime_r(&now, &local);
  return format_text("%04u%02u%02u-%02u%02u%02u", static_cast<unsigned>(local.tm_year + 1900),
                     static_cast<unsigned>(local.tm_mon + 1), static_cast<unsigned>(local.tm_mday),
                     static_cast<unsigned>(local.tm_hour), static_cast<unsigned>(local.tm_min),
                     static_cast<unsigned>(local.tm_sec));
}

std::string os_name() {
  char buffer[256] = "";
  return os_info::get_instance().get_name(buffer, sizeof buffer);
}

struct macro {
  wchar_t letter;
  std::string (*expand)();
};
constexpr macro k_macros[] = {
    {L'C', [] { return std::string(SysInfo::get_instance().NodeName()); }},
    {L'H', [] { return std::string(SysInfo::get_instance().NodeName()); }},
    {L'D', get_user_desktop                                              },
    {L'K', get_ws_domain                                                 },
    {L'L', get_current_user                                              },
    {L'M', [] { return std::string(SysInfo::get_instance().Model()); }   },
    {L'O', os_name                                                       },
    {L'S', [] { return std::string(SysInfo::get_instance().Serial()); }  },
    {L'T', local_time_text                                               },
    {L'U', [] { return std::string(SysInfo::get_instance().UUID()); }    },
    {L'V', [] { return std::string(SysInfo::get_instance().OEM()); }     },
};

// Appends the characters of `text` up to the first that does not fit whole into `room` bytes; false
// when there is one.
bool append_fitting(std::string& result, const std::wstring& text, size_t room) {
  for (wchar_t c : text) {
    std::string bytes = wide_to_mbcs(std::wstring_view(&c, 1));
    if (result.size() + bytes.size() > room) return false;
    result += bytes;
  }
  return true;
}

std::string expand_template(const std::wstring& pattern, size_t room) {
  std::string result;
  for (size_t i = 0; i < pattern.size() && result.size() < room; ++i) {
    std::wstring piece(1, pattern[i]);
    if (pattern[i] == L'@') {
      wchar_t letter = ++i < pattern.size() ? pattern[i] : L'\0';
      piece = gatherer_expand_filename_macro(letter);
      if (letter != L'D') filter_filename(piece, L' ');
    }
    if (!append_fitting(result, piece, room)) break;
  }
  return result;
}

void fail_move(const char* kept, const char* name, const char* step, const char** error_text) {
  int errnum = errno;
  print_error(step, errnum);
  report_file_error(kept, kept_here_text(name, strerror(errnum)).c_str());
  fail_run();
  if (error_text != nullptr) *error_text = keep_text(strerror(errnum));
}

bool store_temporary(const temporary_file& temporary, int item_type, std::string& refusal) {
  const file_ptr content = temporary.read();
  if (content == nullptr) {
    refusal = strerror(errno);
    return get_setting(setting_gather_file) != 0;
  }
  if (!store_stream(content.get(), temporary.name(), item_type, true)) return false;
  if (!was_stored()) refusal = why_not_stored();
  return true;
}

// Gives the file its final name; should that fail, it keeps the one it has, and the user is told
// that one. Returns what it is called in the end.
std::string give_name(temporary_file& temporary, const char* name, const char** error_text) {
  std::string made = staged(name);
  bool is_removed = true;
  if (unlink(made.c_str()) != 0 && errno != ENOENT) {
    fail_move(temporary.name(), name, "file_task: remove", error_text);
    is_removed = false;
  }
  if (!temporary.move_to(made.c_str())) {
    if (is_removed) fail_move(temporary.name(), name, "file_task: rename", error_text);
    std::string kept = temporary.name();
    temporary.keep();
    return kept;
  }
  if (deliver(name)) return name;
  fail_move(made.c_str(), name, "file_task: copy", error_text);
  return made;
}

}  // namespace

std::wstring gatherer_expand_filename_macro(wchar_t letter) {
  for (const macro& row : k_macros) {
    if (row.letter != letter) continue;
    return mbcs_to_wide(row.expand()).substr(0, k_longest_expansion);
  }
  return {};
}

void gatherer_generate_filename(const char* file_template, const char* suffix, char* output,
                                int size) {
  os_info::get_instance();
  SysInfo::get_instance();
  if (size <= 0) return;
  std::string tail = suffix == nullptr ? "" : suffix;
  std::wstring pattern = file_template == nullptr ? L"" : mbcs_to_wide(file_template);
  size_t capacity = static_cast<size_t>(size) - 1;
  std::string result;
  if (!pattern.empty() && tail.size() < capacity) {
    result = expand_template(pattern, capacity - tail.size());
  }
  result += tail;
  format_string(output, static_cast<size_t>(size), "%s", result.c_str());
  printd("gatherer: Gatherer Filename: %s\n", output);
}

std::string gatherer_target_path() {
  const char* file_template = get_filename(filename_template);
  std::string path = file_template == nullptr ? "" : file_template;
  if (path.starts_with("@D")) path.replace(0, 2, get_user_desktop());
  return path;
}

void gatherer_save_path() {
  char path[k_path_size] = "";
  if (get_program_filename(path, sizeof path)) remove_filename_from_path(path, sizeof path);
  printd("Gatherer Path = %s\n", path);
  gatherer_filename(filename_save_path, setting_set, keep_text(path));
}

bool store_or_save_file(temporary_file& temporary, int item_type, const char** result_name,
                        const char** error_text, const char* extension, const char* kind) {
  std::string refusal;
  const bool stored = store_temporary(temporary, item_type, refusal);
  const bool refused = stored && !refusal.empty();
  if (refused) fail_run();
  bool is_kept = get_setting(setting_gather_file) == 0 ||
                 get_setting(setting_keep_output_files) != 0 || refused;
  if (!is_kept || (extension == nullptr && kind == nullptr)) {
    // What the container refused and no name was given for stays where it is.
    if (refused) {
      report_file_error(temporary.name(), refusal.c_str());
      temporary.keep();
    }
    temporary.remove();
    return stored;
  }
  std::string suffix;
  if (kind != nullptr) suffix = std::string(".") + kind;
  if (extension != nullptr) suffix += std::string(".") + extension;
  char name[256];
  gatherer_generate_filename(get_filename(filename_template), suffix.c_str(), name, sizeof name);
  printd("file_task: rename %s to %s\n", temporary.name(), name);
  if (result_name != nullptr) *result_name = keep_text(name);
  const char* kept = keep_text(give_name(temporary, name, error_text).c_str());
  if (refused) report_file_error(kept, refusal.c_str());
  note_kept(kept);
  return true;
}

}  // namespace kestrel
