// Probes collect the data: a probe is a task of its own (probe_task) or a member of a probe_group,
// which is the task and opens one report section.
#pragma once

#include <memory>

#include "gatherer/task.h"
#include "lib/utilstr.h"

namespace kestrel {

/// A task that collects data: can be enabled, disabled and blocked, needs an open report.
class probe_task : public task {
 public:
  probe_task(const char* name, int order);
  /// A probe task with its masks.
  probe_task(const char* name, int order, int detail_level, unsigned platforms, unsigned customers);

  bool check_fp(FILE* fp) override;  ///< false without an open report
  void set_status(bool enable) override;
  void set_blocked(bool block) override;
  bool is_enabled() override;
  bool is_blocked() override;

  /// Only these, these not, these as well.
  enum list_kind { probe_list = 0, skip_list = 1, enable_list = 2 };
  /// The list replaces an earlier one of its kind; null for none.
  static void set_probe_list(int kind, std::unique_ptr<str_list> list);
  /// Applies the lists that were set: the first disables all other probes, then the enable list and
  /// the skip list follow.
  static void process_probe_lists();
  /// Enable or disable the probe tasks of that name or id, whatever its case; a name that none has
  /// changes nothing.
  static void process_probe_list(str_list& list, bool enable);
  static void set_probe_status(const char* name, bool enable);
  static void disable_all_probes();

  // What the interface promises and no program calls:
  static void enable_probe(const char* name);
  static void disable_probe(const char* name);
  /// Blocks the tasks of that name for the whole run, enabled or not.
  static void block_task_by_name(const char* name);

  bool enabled = true;
  bool blocked = false;

 private:
  static std::unique_ptr<str_list> probe_lists[3];
};

class probe;

/// A task made of probes that share one report section. It is valid, and its test succeeds, when
/// one of its members' does. It does not own them.
class probe_group : public probe_task {
 public:
  /// `title` may be null: then no section is opened.
  probe_group(const char* name, int order, const char* title, bool enabled);

  bool run(FILE* fp) override;
  bool test() override;
  void print_task() override;
  bool is_valid() override;
  /// Asks the members in turn until one understands the parameter.
  bool set_parameter(const char* key, const char* value) override;
  /// Appends a member; its constructor calls this.
  void add_probe(probe* member);

  probe* probes = nullptr;
  probe* last_probe = nullptr;
  const char* title;
};

/// A member of a group, to which it adds itself. Its masks decide; those of the group are never
/// consulted. Names are not copied.
class probe {
 public:
  probe(probe_group& group, const char* name, int detail_level, int platforms,
        int customers = 0xFFFF);
  probe(const probe&) = delete;
  probe& operator=(const probe&) = delete;
  virtual ~probe() = default;

  /// Whether the machine has what the probe reports.
  virtual bool test();
  /// Writes the probe's tables into the open section. False only shows in the debug log.
  virtual bool run(FILE* fp) = 0;
  /// False for a parameter that is not this probe's; the base class knows none. `value` may be
  /// null.
  virtual bool set_parameter(const char* key, const char* value);
  /// What is_valid asks for: a common customer bit, the run's detail level, the platform.
  virtual int validate_customers();
  virtual bool validate_detail();
  virtual bool validate_platform();
  bool is_valid();
  void print_probe();  ///< into the debug log

  const char* name;
  int detail_level;
  int platforms;
  int customers;
  probe* next = nullptr;
};

/// Embeds one file, if it is readable, in the report. The path is not copied.
class file_probe : public probe {
 public:
  file_probe(probe_group& group, const char* name, const char* path, int detail_level,
             int platforms, int customers = 0xFFFF);
  bool test() override;
  bool run(FILE* fp) override;

  const char* path;
};

/// Embeds the output of a shell command, if `file` (may be null) is readable. `run` fails when the
/// command does. The texts are not copied.
class list_probe : public probe {
 public:
  list_probe(probe_group& group, const char* name, const char* file, const char* command,
             int detail_level, int platforms, int customers = 0xFFFF);
  bool test() override;
  bool run(FILE* fp) override;

  const char* file;
  const char* command;
};

/// A probe task whose `run` calls one report function; derived classes stand beside that function.
class legacy_probe : public probe_task {
 public:
  using probe_task::probe_task;
  void print_task() override;
};

/// Writes the ids of the probes that run into the report.
class probe_list_task : public task {
 public:
  probe_list_task(const char* name, int order, unsigned customers);
  bool run(FILE* fp) override;
};

/// Walks the probe tasks of the registry.
class probe_task_iterator : public task_iterator {
 public:
  probe_task_iterator();
  bool valid() override;
  task* get() const { return current_; }
  void advance();

 private:
  void skip_system_tasks();
  task* current_;
};

}  // namespace kestrel
