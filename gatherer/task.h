// The task framework: every runnable unit is a task, linked into one registry by order number.
#pragma once

#include <cstdio>
#include <string>

namespace kestrel {

/// Fixed list that replaces the normal run when setting_use_task_list is on.
struct task_list_struct {
  const wchar_t** tasks = nullptr;  ///< null-terminated names, run in this order; may be null
  bool install = false;
  bool init = false;
  bool cleanup = false;
  bool uninstall = false;
};

/// What decides whether a task or probe applies; one rule and one debug line for both.
struct applicability {
  int detail_level;
  unsigned platforms;
  unsigned customers;
};
/// Tests detail level, platform and customers, and traces the result under `name`.
bool applies(const char* name, const applicability& wanted, bool detail, bool platform,
             int customers);

/// A unit of the run, in the registry for as long as it lives.
class task {
 public:
  /// Registers the object behind all tasks of the same or a smaller order. `name` is not copied.
  task(const char* name, int order);
  task(const task&) = delete;
  task& operator=(const task&) = delete;
  /// Takes the object out of the registry.
  virtual ~task();

  /// Does the work, writing to `fp` (null: nothing is written).
  virtual bool run(FILE* fp) = 0;
  /// Whether the task can run on this machine.
  virtual bool test();
  /// Enabled, not blocked, and valid for this run.
  virtual bool validate();
  /// Whether the task can do with that stream, which may be null.
  virtual bool check_fp(FILE* fp);
  virtual void print_task();  ///< into the debug log
  /// What is_valid asks for: a common customer bit, the run's detail level, the platform.
  virtual int validate_customers();
  virtual bool validate_detail();
  virtual bool validate_platform();
  /// Tasks that are no probes cannot be disabled or blocked.
  virtual void set_status(bool enabled);
  virtual void set_blocked(bool blocked);
  virtual bool is_enabled();
  virtual bool is_blocked();
  virtual bool is_valid();
  /// Takes one parameter of "-p". `value` may be null. The base class understands none.
  virtual bool set_parameter(const char* key, const char* value);

  /// A name as an id: letters raised, all but ASCII letters and digits '_'.
  static std::string make_task_id(std::string text);
  /// The first task of that id (its case does not matter) or name; null when there is none.
  static task* get_task(const char* id);
  static task* get_task_by_name(const char* name);
  /// Run the whole registry, its tasks from order `lo` to below `hi`, or what a list switches on
  /// and names. All write to output_file.
  static void run_all();
  static void run_tasks(int lo, int hi);
  static void run_task_list(const task_list_struct& list);
  /// The ranges of orders that a task list switches on.
  static void run_install_tasks();
  static void run_uninstall_tasks();
  static void run_init_tasks();
  static void run_cleanup_tasks();
  /// Reads "-p task key=value ..." at argv[*index] and leaves the index on the last word consumed.
  /// An unknown task is told to the user.
  static void set_task_parameters(int argc, const wchar_t** argv, int* index);
  static void print_task_list();  ///< into the debug log
  /// The ids of the probes that would run, a line each; a null stream takes nothing.
  static void print_probe_list(FILE* stream);

  // What the interface promises and no program calls:
  static void make_task_id(char* text);  ///< in place
  static task* get_task_by_name(const wchar_t* name);
  /// Runs the task; false when there is none, it does not apply, or it failed.
  static bool run_task(const char* id);
  /// False without such a task or when it refuses. `value` may be null.
  static bool set_task_parameter(const wchar_t* task_name, const wchar_t* key,
                                 const wchar_t* value);

  /// Validates, tests and runs the task, and shows its name and status word.
  bool run_task(FILE* fp);
  /// Asks the user, in step mode, whether to run it. True when the task is dealt with.
  bool step_task(FILE* fp);
  void print_banner();
  void print_status(bool ok);

  static task* first;
  /// The open report, set and cleared by the output-file tasks.
  static FILE* output_file;

  const char* name;
  std::string id;
  int order;
  int system_task = 1;  ///< 0 for probes
  int detail_level = 0;
  /// Masks; a task applies where one bit of each is that of the run.
  unsigned platforms = 0xFFFF;
  unsigned customers = 0xFFFF;
  /// The words that the console shows; not copied.
  const char* status_ok_text = "OK";
  const char* status_fail_text = "Not found";
  task* next = nullptr;

 private:
  void run_stepped(FILE* fp);
  bool is_left_out() const;
};

/// Iterator base for walks over tasks.
class task_iterator {
 public:
  virtual ~task_iterator() = default;
  virtual bool valid() { return true; }
};

/// The list of this run; empty at start.
extern task_list_struct gatherer_task_list;

}  // namespace kestrel
