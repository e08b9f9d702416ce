// The registry of tasks, and running them: all in order, by range, by list, or step by step. A run
// that is asked to stop leaves out all but the tasks that close files.
#include "gatherer/task.h"

#include <cstring>
#include <string_view>

#include "gatherer/console.h"
#include "gatherer/osinfo.h"
#include "gatherer/settings.h"
#include "lib/ascii.h"
#include "lib/cleanup.h"
#include "lib/debug.h"
#include "lib/mbcs.h"
#include "lib/notice.h"
#include "lib/stop.h"
#include "lib/utilstr.h"

namespace kestrel {
namespace {

constexpr int k_banner_width = 40;

// Half-open ranges of order numbers.
struct order_range {
  int lo, hi;
};
constexpr order_range k_install = {1, 4};
constexpr order_range k_init = {5, 11};
constexpr order_range k_cleanup = {24, 27};
constexpr order_range k_uninstall = {28, 30};

bool is_nameless(const task& unit) { return unit.name == nullptr || *unit.name == '\0'; }

void trace_outcome(const task& unit, const char* step, bool ok, const char* failure) {
  printd("task: %s, %s complete, status = %s\n", unit.name, step, ok ? "success" : failure);
}

}  // namespace

task* task::first = nullptr;
FILE* task::output_file = nullptr;
task_list_struct gatherer_task_list;

bool applies(const char* name, const applicability& wanted, bool detail, bool platform,
             int customers) {
  bool result = detail && platform && customers != 0;
  printd(
      "task:  validate %-20.20s detail %d>=%d = %d platform %04x&%04x = %d customer %04x&%04x = "
      "%04x rc %d\n",
      name, get_setting(setting_detail_level), wanted.detail_level, detail, wanted.platforms,
      static_cast<unsigned>(os_info::get_instance().get_platform_id()), platform, wanted.customers,
      static_cast<unsigned>(get_setting(setting_customers)), static_cast<unsigned>(customers),
      result);
  return result;
}

task::task(const char* task_name, int task_order)
    : name(task_name), id(make_task_id(std::string(task_name))), order(task_order) {
  task** place = &first;
  while (*place != nullptr && (*place)->order <= order) place = &(*place)->next;
  next = *place;
  *place = this;
}

task::~task() {
  task** place = &first;
  while (*place != nullptr && *place != this) place = &(*place)->next;
  if (*place == this) *place = next;
}

bool task::test() { return true; }

bool task::validate() { return is_enabled() && !is_blocked() && is_valid(); }

bool task::check_fp(FILE*) { return true; }

void task::print_task() {
  printd("%p: task ord %2d dl %d pl %04x cu %05x st - %s\n", static_cast<void*>(this), order,
         detail_level, platforms, customers, name);
}

int task::validate_customers() {
  return static_cast<int>(static_cast<unsigned>(get_setting(setting_customers)) & customers);
}

bool task::validate_detail() { return get_setting(setting_detail_level) >= detail_level; }

bool task::validate_platform() { return os_info::get_instance().is(static_cast<int>(platforms)); }

void task::set_status(bool) {}

void task::set_blocked(bool) {}

bool task::is_enabled() { return true; }

bool task::is_blocked() { return false; }

bool task::is_valid() {
  bool detail = validate_detail();
  bool platform = validate_platform();
  int customer = validate_customers();
  return applies(name, {detail_level, platforms, customers}, detail, platform, customer);
}

bool task::set_parameter(const char* key, const char* value) {
  return printm("I don't understand '%s%s%s'\n", key, value == nullptr ? "" : "=",
                value == nullptr ? "" : value) != 0;
}

void task::make_task_id(char* text) {
  std::string made = make_task_id(std::string(text));
  made.copy(text, made.size());
}

std::string task::make_task_id(std::string text) {
  filter_alphanumeric(text, '_');
  convert_to_uppercase(text);
  return text;
}

task* task::get_task(const char* wanted) {
  printd("task: locating task %s\n", wanted);
  for (task* unit = first; unit != nullptr; unit = unit->next) {
    if (!same_word(unit->id, wanted)) continue;
    printd("task: found task at %p\n", static_cast<void*>(unit));
    return unit;
  }
  return nullptr;
}

task* task::get_task_by_name(const char* wanted) {
  return get_task(make_task_id(std::string(wanted)).c_str());
}

task* task::get_task_by_name(const wchar_t* wanted) {
  return get_task_by_name(wide_to_mbcs(wanted).c_str());
}

bool task::run_task(const char* wanted) {
  task* unit = get_task(wanted);
  return unit != nullptr && unit->run_task(output_file);
}

bool task::run_task(FILE* fp) {
  printd("task: %s\n", name);
  if (!validate() || !check_fp(fp)) return false;
  bool ok = test();
  trace_outcome(*this, "test", ok, "failed");
  if (!ok) return false;
  print_banner();
  ok = run(fp);
  trace_outcome(*this, "run", ok, "failed");
  print_status(ok);
  return ok;
}

void task::print_banner() {
  if (get_setting(setting_silent) != 0 || is_nameless(*this)) return;
  std::string field(first_characters(name, k_banner_width - 1));
  size_t shown = character_count(field);
  field += ' ';
  if (shown + 1 < k_banner_width) field.append(k_banner_width - shown - 1, '.');
  printm("%s ", field.c_str());
}

void task::print_status(bool ok) {
  const std::vector<std::string> notices = take_notices();
  if (get_setting(setting_silent) != 0 || is_nameless(*this)) return;
  printm("%s\n", ok ? status_ok_text : status_fail_text);
  for (const std::string& notice : notices) printm("%s\n", notice.c_str());
  print_file_errors();
}

// The answer to one prompt holds for later calls too: after "q" every probe counts as dealt with,
// after "r" none does.
bool task::step_task(FILE* fp) {
  static bool dealt_with = false;
  if (get_setting(setting_step) == 0 || get_setting(setting_silent) != 0 || !validate() ||
      is_nameless(*this)) {
    return dealt_with;
  }
  int answer = 0;
  while (answer == 0 || strchr("yYnNrRqQ\n", answer) == nullptr) {
    print_banner();
    printm("[%c/%c/%c/%c] ", 'Y', 'n', 'r', 'q');
    answer = read_answer();
    if (answer < 0) answer = 'q';
  }
  dealt_with = true;
  if (answer == 'n' || answer == 'N') {
    printd("task: %s skipped\n", name);
    status_fail_text = "Skipped";
    print_banner();
    print_status(false);
  } else if (answer == 'r' || answer == 'R') {
    printd("task: running from %s\n", name);
    dealt_with = false;
    gatherer_setting(setting_step, setting_off, 0);
  } else if (answer == 'q' || answer == 'Q') {
    printd("task: skipping from %s\n", name);
    gatherer_setting(setting_step, setting_off, 0);
  } else {
    run_stepped(fp);
  }
  return dealt_with;
}

void task::run_stepped(FILE* fp) {
  print_banner();
  bool ok = test();
  trace_outcome(*this, "test", ok, "fail");
  if (ok) {
    ok = run(fp);
    trace_outcome(*this, "run", ok, "fail");
  }
  print_status(ok);
}

// In a run that was asked to stop only the tasks that close files are left. From the first task
// that gathers on, there is something to close.
bool task::is_left_out() const {
  if (order >= k_cleanup.lo) {
    begin_closing();
    return false;
  }
  if (order >= k_init.hi) set_orderly_stop(true);
  return is_stopping();
}

void task::run_all() {
  for (task* unit = first; unit != nullptr; unit = unit->next) {
    if (unit->is_left_out()) continue;
    if (unit->system_task != 0 || !unit->step_task(output_file)) unit->run_task(output_file);
  }
}

void task::run_tasks(int lo, int hi) {
  printd("task: running tasks with order between %d and %d\n", lo, hi);
  for (task* unit = first; unit != nullptr && unit->order < hi; unit = unit->next) {
    if (unit->order >= lo && !unit->is_left_out()) unit->run_task(output_file);
  }
}

void task::run_install_tasks() {
  printd("task: install tasks\n");
  run_tasks(k_install.lo, k_install.hi);
}

void task::run_uninstall_tasks() {
  printd("task: uninstall tasks\n");
  run_tasks(k_uninstall.lo, k_uninstall.hi);
}

void task::run_init_tasks() {
  printd("task: init tasks\n");
  run_tasks(k_init.lo, k_init.hi);
}

void task::run_cleanup_tasks() {
  printd("task: cleanup tasks\n");
  run_tasks(k_cleanup.lo, k_cleanup.hi);
}

void task::run_task_list(const task_list_struct& list) {
  printd("task: run_task_list %p\n", static_cast<const void*>(&list));
  run_tasks(0, 0);
  if (list.install) run_install_tasks();
  if (list.init) run_init_tasks();
  printd("task_list:");
  for (const wchar_t** wanted = list.tasks; wanted != nullptr && *wanted != nullptr; ++wanted) {
    printd(" %ls", *wanted);
  }
  printd("\n");
  for (const wchar_t** wanted = list.tasks; wanted != nullptr && *wanted != nullptr; ++wanted) {
    task* unit = get_task(make_task_id(wide_to_mbcs(*wanted)).c_str());
    if (unit != nullptr && !unit->is_left_out()) unit->run_task(output_file);
  }
  if (list.cleanup) run_cleanup_tasks();
  if (list.uninstall) run_uninstall_tasks();
}

void task::set_task_parameters(int argc, const wchar_t** argv, int* index) {
  if (*index + 1 >= argc) return;
  std::string wanted = wide_to_mbcs(argv[++*index]);
  task* unit = get_task_by_name(wanted.c_str());
  if (unit == nullptr) printm("I don't understand '-p %s'\n", wanted.c_str());
  // The first word behind the name is a parameter whatever it looks like.
  for (bool is_first = true; *index + 1 < argc && (is_first || argv[*index + 1][0] != L'-');
       is_first = false) {
    std::string key = wide_to_mbcs(argv[++*index]);
    size_t sign = key.find('=');
    std::string value = sign == std::string::npos ? "" : key.substr(sign + 1);
    if (unit == nullptr) continue;
    unit->set_parameter(key.substr(0, sign).c_str(),
                        sign == std::string::npos ? nullptr : value.c_str());
  }
}

bool task::set_task_parameter(const wchar_t* task_name, const wchar_t* key, const wchar_t* value) {
  task* unit = get_task_by_name(task_name);
  if (unit == nullptr) return false;
  std::string text = value == nullptr ? "" : wide_to_mbcs(value);
  return unit->set_parameter(wide_to_mbcs(key).c_str(), value == nullptr ? nullptr : text.c_str());
}

void task::print_task_list() {
  printd("TASK LIST:\n----------\n");
  for (task* unit = first; unit != nullptr; unit = unit->next) unit->print_task();
}

void task::print_probe_list(FILE* stream) {
  for (task* unit = first; unit != nullptr; unit = unit->next) {
    if (unit->system_task != 0 || !unit->validate()) continue;
    if (stream != nullptr) fprintf(stream, "%s\n", unit->id.c_str());
  }
}

}  // namespace kestrel
