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
  virtual bool validate();
  virtual bool check_fp(FILE* fp);
  virtual void print_task();
  virtual int validate_customers();
  virtual bool validate_detail();
  virtual bool validate_platform();
  virtual void set_status(bool enabled);
  virtual void set_blocked(bool blocked);
  virtual bool is_enabled();
  virtual bool is_blocked();
  virtual bool is_valid();
  /// Takes one parameter of "-p". `value` may be null. The base class understands none.
  virtual bool set_parameter(const char* key, const char* value);

  static void make_task_id(char* text);
  static std::string make_task_id(std::string text);
  static task* get_task(const char* id);
  static task* get_task_by_name(const char* name);
  static task* get_task_by_name(const wchar_t* name);
  static bool run_task(const char* id);
  static void run_all();
  static void run_tasks(int lo, int hi);
  static void run_task_list(const task_list_struct& list);
  static void run_install_tasks();
  static void run_uninstall_tasks();
  static void run_init_tasks();
  static void run_cleanup_tasks();
  static void set_task_parameters(int argc, const wchar_t** argv, int* index);
  static bool set_task_parameter(const wchar_t* task_name, const wchar_t* key,
                                 const wchar_t* value);
  static void print_task_list();
  static void print_probe_list(FILE* stream);

  bool run_task(FILE* fp);
  bool step_task(FILE* fp);
  void print_banner();
  void print_status(bool ok);

  static task* first;
  /// The open report, set and cleared by the output-file tasks.
  static FILE* output_file;

  const char* name;
  std::string id;
  int order;
  int system_task = 1;
  int detail_level = 0;
  unsigned platforms = 0xFFFF;
  unsigned customers = 0xFFFF;
  const char* status_ok_text = "OK";
  const char* status_fail_text = "Not found";
  task* next = nullptr;

 private:
  void run_stepped(FILE* fp);
};

/// Iterator base for walks over tasks.
class task_iterator {
 public:
  virtual ~task_iterator() = default;
  virtual bool valid() { return true; }
};

extern task_list_struct gatherer_task_list;

}  // namespace kestrel
