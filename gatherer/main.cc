// One run from start to return code: settings and arguments, the debug log, the tasks in their
// order, and what is told at the end.
#include "gatherer/main.h"

#include <cerrno>
#include <clocale>
#include <cstdio>
#include <cstdlib>
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
  if (!is_folder_answering()) {
    for (const std::string& notice : take_notices()) printm("%s\n", notice.c_str());
    report_file_error("current folder", ETIMEDOUT);
    fail_run();
  } else if (gatherer_disclaimer() == 0) {
    gatherer_debug(argc, argv);
    gather();
  }
  finish_standard_output();
  print_file_errors();
  set_orderly_stop(false);
  if (is_stopping()) {
    print_stopped();
    end_by_stop_signal();
  }
  printm("Run complete, rc = %d\n", get_setting(setting_return_code));
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
  if (get_setting(setting_debug_stream) != 0) {
    enable_log_to_stream(k_log_name);
  } else {
    enable_log_to_file(k_log_name);
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
