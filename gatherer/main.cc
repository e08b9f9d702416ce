// A run from its options to its return code: where its files are made, the debug log, the tasks,
// and what the console and the log are told at the end.
#include "gatherer/main.h"

#include <cerrno>
#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "gatherer/console.h"
#include "gatherer/file_task.h"
#include "gatherer/gatherer_probe.h"
#include "gatherer/getarg.h"
#include "gatherer/os_linux.h"
#include "gatherer/osinfo.h"
#include "gatherer/presets.h"
#include "gatherer/probe.h"
#include "gatherer/settings.h"
#include "gatherer/task.h"
#include "gatherer/version.h"
#include "lib/cleanup.h"
#include "lib/debug.h"
#include "lib/file.h"
#include "lib/mounts.h"
#include "lib/notice.h"
#include "lib/staging.h"
#include "lib/stop.h"

namespace kestrel {
namespace {

constexpr const char* k_log_name = "gatherer.log";

enum run_mode { mode_gather = 0, mode_list_probes = 1, mode_help = 2 };

void gather() {
  os_info::get_instance().get_platform_id();
  if (get_setting(setting_use_task_list) != 0) {
    task::run_task_list(gatherer_task_list);
  } else {
    probe_task::process_probe_lists();
    task::run_all();
  }
}

// Standard output may be the report; what could not be written there must not pass as success.
bool finish_standard_output() {
  int errnum = write_failure(stdout);
  if (errnum == 0) return true;
  report_file_error("standard output", errnum);
  fail_run();
  return false;
}

void print_left_over() {
  for (const std::string& notice : take_notices()) printm("%s\n", notice.c_str());
  print_file_errors();
}

// False where making files would hold the run.
bool is_place_for_files() {
  const bool is_told = get_setting(setting_silent) == 0;
  if (begin_staging(gatherer_target_path(), is_told) || is_folder_answering()) return true;
  report_file_error("current folder", ETIMEDOUT);
  fail_run();
  return false;
}

// What becomes of the debug log is part of the return code, which is its last line: it is copied
// before that, and once more with it.
bool copy_log() {
  if (get_setting(setting_debug) == 0 || copy_staged(k_log_name)) return true;
  const std::string made = staged(k_log_name);
  report_file_error(made.c_str(), kept_here_text(k_log_name, strerror(errno)).c_str());
  fail_run();
  return false;
}

void end_files(bool is_log_copied) {
  if (is_staging() && is_log_copied && get_setting(setting_debug) != 0) {
    disable_log_to_file();
    if (!deliver(k_log_name)) std::remove(staged(k_log_name).c_str());
  }
  end_staging();
}

}  // namespace

int wmain(int argc, const wchar_t** argv) {
  setlocale(LC_ALL, "");
  gatherer_default_configuration();
  flavour_configuration();
  gatherer_save_path();
  gatherer_args(argc, argv);
  return gatherer_run(argc, argv);
}

int gatherer_run(int argc, const wchar_t** argv) {
  int mode = get_setting(setting_run_mode);
  if (mode == mode_list_probes) gatherer_list_probes();
  if (mode == mode_help) gatherer_help(argc > 0 ? argv[0] : L"");
  gatherer_banner();
  if (gatherer_disclaimer() == 0 && is_place_for_files()) {
    gatherer_debug(argc, argv);
    gather();
  }
  finish_standard_output();
  const bool is_log_copied = copy_log();
  print_left_over();
  set_orderly_stop(false);
  if (is_stopping()) {
    print_stopped();
    end_files(is_log_copied);
    end_by_stop_signal();
  }
  printm("Run complete, rc = %d\n", get_setting(setting_return_code));
  end_files(is_log_copied);
  return get_setting(setting_return_code);
}

void gatherer_list_probes() {
  task::print_probe_list(stdout);
  bool written = finish_standard_output();
  print_file_errors();
  exit(written ? 0 : 1);
}

void gatherer_debug(int argc, const wchar_t** argv) {
  if (get_setting(setting_debug) == 0) {
    get_gatherer_parameters(nullptr, argc, argv);
    return;
  }
  const std::string log = staged(k_log_name);
  if (get_setting(setting_debug_stream) != 0) {
    enable_log_to_stream(log.c_str());
  } else {
    enable_log_to_file(log.c_str());
  }
  printd("%s\n%s\nVersion %s %s (%s)\nbuild on %s %s by %s on %s\n", k_title, k_copyright,
         k_version, get_subversion(), k_release, k_build_date, k_build_time, k_build_user,
         k_build_host);
  print_with_time("debugging enabled\n");
  get_gatherer_information(nullptr);
  get_gatherer_parameters(nullptr, argc, argv);
  log_thread_privileges();
  task::print_task_list();
  printm("Debug information logged to %s\n", k_log_name);
}

}  // namespace kestrel
