// The postbox: each file is stored in the way that its name asks for.
#include "probes/postbox_task.h"

#include <unistd.h>

#include <cerrno>
#include <memory>
#include <string>

#include "gatherer/gthfile.h"
#include "gatherer/ks2file.h"
#include "lib/debug.h"
#include "lib/file.h"
#include "lib/section.h"
#include "lib/util_linux.h"
#include "lib/utilstr.h"
#include "probes/filescan.h"

namespace kestrel {
namespace {

constexpr int k_path_size = 4096;

bool store_plain(const char* path, FILE*) { return store_text_file(path, "text/plain"); }
bool store_ascii(const char* path, FILE*) { return store_ascii_file(path, "text/plain"); }
bool store_xml(const char* path, FILE*) { return store_binary_file(path, "text/xml"); }
bool store_html(const char* path, FILE*) { return store_text_file(path, "text/html"); }
bool import_ksml(const char* path, FILE* report) { return log_ksml_file(report, path); }
bool store_dgml(const char* path, FILE*) { return store_file(path, item_postbox, true); }
bool store_other(const char* path, FILE*) {
  return store_binary_file(path, "application/octet-stream");
}

// The first pattern that matches decides.
constexpr struct {
  const char* pattern;
  bool (*store)(const char* path, FILE* report);
} k_deliveries[] = {
    {"*.txt",  store_plain},
    {"*.asc",  store_ascii},
    {"*.xml",  store_xml  },
    {"*.htm",  store_html },
    {"*.html", store_html },
    {"*.ksml", import_ksml},
    {"*.dgml", store_dgml },
    {"*",      store_other},
};

bool deliver(const char* name, const char* path, FILE* report) {
  for (const auto& way : k_deliveries) {
    if (compare_glob(name, way.pattern)) return way.store(path, report);
  }
  return false;
}

}  // namespace

postbox_task::postbox_task(const char* task_name, int task_order, unsigned customer_mask)
    : task(task_name, task_order) {
  customers = customer_mask;
}

bool postbox_task::run(FILE* fp) {
  char program[k_path_size] = "";
  get_program_filename(program, sizeof program);
  printd("postbox: %s\n", program);
  remove_filename_from_path(program, sizeof program);
  const std::string postbox = std::string(program) + "/POSTBOX";
  printd("postbox: %s\n", postbox.c_str());
  if (!is_accessible(postbox.c_str(), F_OK)) {
    print_error(postbox.c_str(), errno);
    status_fail_text = "Directory not found";
    return false;
  }
  add_from_postbox(postbox.c_str(), fp);
  return true;
}

int postbox_task::add_from_postbox(const char* directory, FILE* fp) {
  int added = 0, failed = 0;
  const std::unique_ptr<filescan> scan = make_filescan();
  scan->add_directory_to_scan(directory);
  while (scan->next()) {
    char file[k_path_size], path[k_path_size];
    scan->get_filename(file, sizeof file);
    scan->get_full_pathname(path, sizeof path);
    ++(deliver(file, path, fp) ? added : failed);
  }
  if (failed == 0) {
    format_string(status_, sizeof status_, "%d file(s) added", added);
  } else {
    format_string(status_, sizeof status_, "%d file(s) added, %d file(s) failed", added, failed);
  }
  status_ok_text = status_;
  printd("postbox: %d files added, %d files failed\n", added, failed);
  return added;
}

}  // namespace kestrel
