// Probes, their groups, and the user's selection of probes by name. A probe is asked whether it
// applies and can run here by its group, or as a task by the registry; what fails shows in the log.
#include "gatherer/probe.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <utility>

#include "gatherer/osinfo.h"
#include "gatherer/settings.h"
#include "lib/ascii.h"
#include "lib/command.h"
#include "lib/debug.h"
#include "lib/file.h"
#include "lib/section.h"
#include "lib/stop.h"

namespace kestrel {

// --- probe_task -----------------------------------------------------------------------------

std::unique_ptr<str_list> probe_task::probe_lists[3];

probe_task::probe_task(const char* task_name, int task_order) : task(task_name, task_order) {
  system_task = 0;
}

probe_task::probe_task(const char* task_name, int task_order, int detail, unsigned platform_mask,
                       unsigned customer_mask)
    : probe_task(task_name, task_order) {
  detail_level = detail;
  platforms = platform_mask;
  customers = customer_mask;
}

bool probe_task::check_fp(FILE* fp) { return fp != nullptr; }

void probe_task::set_status(bool enable) { enabled = enable; }

void probe_task::set_blocked(bool block) { blocked = block; }

bool probe_task::is_enabled() {
  if (!enabled) printd("probe: validate %-20.20s is disabled\n", name);
  return enabled;
}

bool probe_task::is_blocked() {
  if (blocked) printd("probe: validate %-20.20s is blocked\n", name);
  return blocked;
}

void probe_task::set_probe_list(int kind, std::unique_ptr<str_list> list) {
  probe_lists[kind] = std::move(list);
}

void probe_task::process_probe_lists() {
  if (probe_lists[probe_list] != nullptr) {
    printd("probe: probe_list is enabled\n");
    disable_all_probes();
    process_probe_list(*probe_lists[probe_list], true);
  }
  if (probe_lists[enable_list] != nullptr) {
    printd("probe: enable_list is enabled\n");
    process_probe_list(*probe_lists[enable_list], true);
  }
  if (probe_lists[skip_list] != nullptr) {
    printd("probe: skip_list is enabled\n");
    process_probe_list(*probe_lists[skip_list], false);
  }
  print_task_list();
}

void probe_task::process_probe_list(str_list& list, bool enable) {
  for (const char* entry = list.get_first(); entry != nullptr; entry = list.get_next()) {
    set_probe_status(entry, enable);
  }
}

void probe_task::enable_probe(const char* name) { set_probe_status(name, true); }

void probe_task::disable_probe(const char* name) { set_probe_status(name, false); }

void probe_task::set_probe_status(const char* name, bool enable) {
  std::string wanted = make_task_id(std::string(name));
  printd("task: locating task %s\n", wanted.c_str());
  for (probe_task_iterator at; at.valid(); at.advance()) {
    if (!same_word(at.get()->id, wanted)) continue;
    printd("task: found task at %p, set status to %u\n", static_cast<void*>(at.get()),
           static_cast<unsigned>(enable));
    at.get()->set_status(enable);
  }
}

void probe_task::disable_all_probes() {
  for (probe_task_iterator at; at.valid(); at.advance()) at.get()->set_status(false);
}

void probe_task::block_task_by_name(const char* name) {
  std::string wanted = make_task_id(std::string(name));
  for (task* unit = first; unit != nullptr; unit = unit->next) {
    if (!same_word(unit->id, wanted)) continue;
    printd("blocking %s\n", unit->name);
    unit->set_blocked(true);
  }
}

// --- probe_group ----------------------------------------------------------------------------

probe_group::probe_group(const char* group_name, int group_order, const char* section_title,
                         bool enable)
    : probe_task(group_name, group_order), title(section_title) {
  enabled = enable;
}

void probe_group::add_probe(probe* member) {
  member->next = nullptr;
  (last_probe == nullptr ? probes : last_probe->next) = member;
  last_probe = member;
}

bool probe_group::is_valid() {
  for (probe* member = probes; member != nullptr; member = member->next) {
    if (member->is_valid()) return true;
  }
  return false;
}

bool probe_group::test() {
  for (probe* member = probes; member != nullptr; member = member->next) {
    printd("probe: %s\n", member->name);
    if (member->is_valid() && member->test()) return true;
  }
  return false;
}

// A member's failure shows in the debug log only: the group has done its work either way.
bool probe_group::run(FILE* fp) {
  if (title != nullptr) start_section(fp, title);
  bool result = true;
  for (probe* member = probes; member != nullptr && !is_stopping(); member = member->next) {
    if (member->is_valid() && member->test()) result |= member->run(fp);
  }
  if (title != nullptr) end_section(fp);
  return result;
}

bool probe_group::set_parameter(const char* key, const char* value) {
  for (probe* member = probes; member != nullptr; member = member->next) {
    if (member->set_parameter(key, value)) return true;
  }
  return task::set_parameter(key, value);
}

void probe_group::print_task() {
  printd("%p: grp  ord %2d dl %d pl %04x cu %05x st %d %s\n", static_cast<void*>(this), order,
         detail_level, platforms, customers, enabled, name);
  for (probe* member = probes; member != nullptr; member = member->next) member->print_probe();
}

// --- probe ----------------------------------------------------------------------------------

probe::probe(probe_group& group, const char* probe_name, int detail, int platform_mask,
             int customer_mask)
    : name(probe_name), detail_level(detail), platforms(platform_mask), customers(customer_mask) {
  group.add_probe(this);
}

bool probe::test() { return true; }

bool probe::set_parameter(const char*, const char*) { return false; }

int probe::validate_customers() { return get_setting(setting_customers) & customers; }

bool probe::validate_detail() { return get_setting(setting_detail_level) >= detail_level; }

bool probe::validate_platform() { return os_info::get_instance().is(platforms); }

bool probe::is_valid() {
  bool detail = validate_detail();
  bool platform = validate_platform();
  int customer = validate_customers();
  applicability wanted = {detail_level, static_cast<unsigned>(platforms),
                          static_cast<unsigned>(customers)};
  return applies(name, wanted, detail, platform, customer);
}

void probe::print_probe() {
  printd("%p: probe       dl %d pl %04x cu %05x st - \t%s\n", static_cast<void*>(this),
         detail_level, static_cast<unsigned>(platforms), static_cast<unsigned>(customers), name);
}

// --- file_probe and list_probe --------------------------------------------------------------

namespace {

bool is_readable(const char* path) {
  if (is_accessible(path, R_OK)) return true;
  print_error(path, errno);
  return false;
}

}  // namespace

file_probe::file_probe(probe_group& group, const char* probe_name, const char* file_path,
                       int detail, int platform_mask, int customer_mask)
    : probe(group, probe_name, detail, platform_mask, customer_mask), path(file_path) {}

bool file_probe::test() { return is_readable(path); }

bool file_probe::run(FILE* fp) { return log_file(fp, path); }

list_probe::list_probe(probe_group& group, const char* probe_name, const char* tested_file,
                       const char* shell_command, int detail, int platform_mask, int customer_mask)
    : probe(group, probe_name, detail, platform_mask, customer_mask),
      file(tested_file),
      command(shell_command) {}

bool list_probe::test() { return file == nullptr || is_readable(file); }

bool list_probe::run(FILE* fp) {
  command_stream running(command);
  if (!running.is_open()) return false;
  log_file(fp, name, running.stream());
  const command_result result = running.finish(name, running.lines());
  if (result.status == -1) {
    print_error("list_probe: pclose", errno);
    return false;
  }
  // The other prefix of these two lines is kept on purpose.
  if (result.signalled) {
    printd("file_probe: %s: terminated by %s\n", name, strsignal(result.signal));
    return false;
  }
  if (!result.exited) {
    printd("file_probe: %s: status = %d\n", name, result.status);
    return true;
  }
  printd("list_probe: %s: rc = %d\n", name, result.exit_code);
  return result.exit_code == 0;
}

// --- the rest -------------------------------------------------------------------------------

void legacy_probe::print_task() {
  printd("%p: lega ord %2d dl %d pl %04x cu %05x st %d %s\n", static_cast<void*>(this), order,
         detail_level, platforms, customers, enabled, name);
}

probe_list_task::probe_list_task(const char* task_name, int task_order, unsigned customer_mask)
    : task(task_name, task_order) {
  customers = customer_mask;
}

bool probe_list_task::run(FILE* fp) {
  print_probe_list(fp);
  return true;
}

probe_task_iterator::probe_task_iterator() : current_(task::first) { skip_system_tasks(); }

bool probe_task_iterator::valid() { return current_ != nullptr; }

void probe_task_iterator::advance() {
  current_ = current_->next;
  skip_system_tasks();
}

void probe_task_iterator::skip_system_tasks() {
  while (current_ != nullptr && current_->system_task != 0) current_ = current_->next;
}

}  // namespace kestrel
