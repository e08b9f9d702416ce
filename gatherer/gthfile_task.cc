// See gthfile_task.h.
#include "gatherer/gthfile_task.h"

#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <string>

#include "gatherer/console.h"
#include "gatherer/file_task.h"
#include "gatherer/gthfile.h"
#include "gatherer/kestrel2.h"
#include "gatherer/ks2file.h"
#include "lib/cleanup.h"
#include "lib/debug.h"
#include "lib/mbcs.h"
#include "lib/util_linux.h"
#include "lib/utilstr.h"

namespace kestrel {
namespace {

enum gthfile_order { order_create = 9, order_open = 10, order_close = 26 };

constexpr wchar_t k_identity_letters[] = L"CVMSUTLK";

bool is_gathering() {
  return get_filename(filename_template) != nullptr && get_setting(setting_gather_file) != 0;
}

// One name for the whole run: a template with the time would give another one a second later.
const char* container_name() {
  static const char* name = nullptr;
  if (name == nullptr) {
    char buffer[256];
    gatherer_generate_filename(get_filename(filename_template), get_filename(filename_extension),
                               buffer, sizeof buffer);
    name = keep_text(buffer);
  }
  return name;
}

std::string identity_block() {
  std::string block;
  for (const wchar_t* letter = k_identity_letters; *letter != L'\0'; ++letter) {
    block += static_cast<char>(*letter);
    block += one_utf8_line(gatherer_expand_filename_macro(*letter));
    block += '\n';
  }
  return block;
}

// Without the identity a container is of no use to anybody.
void discard_container() {
  destroy_gather_file();
  unlink(container_name());
}

bool store_identity() {
  std::string name = format_text("ksid%x.txt", static_cast<unsigned>(get_process_id()));
  file_ptr out = create_output_file(name.c_str(), "wb");
  if (out == nullptr) {
    int errnum = errno;
    print_error(name.c_str(), errnum);
    discard_container();
    internal_error("Cannot write temporary file %s. Disk full?\n", name.c_str());
  }
  temporary_file_note note(name.c_str());
  std::string block = identity_block();
  fwrite(block.data(), 1, block.size(), out.get());
  bool written = close_checked(std::move(out));
  if (!written) {
    report_file_error(name.c_str(), errno);
    fail_run();
  }
  bool stored = written && store_file(name.c_str(), item_identity, false) && was_stored();
  unlink(name.c_str());
  return stored;
}

}  // namespace

gthfile_task::gthfile_task(const char* task_name, int task_order) : task(task_name, task_order) {}

bool gthfile_task::test() {
  if (order == order_close) return is_gather_file_open();
  return is_gathering() && (order == order_create || !is_gather_file_open());
}

bool gthfile_task::run(FILE*) {
  return order == order_create ? create() : order == order_open ? reopen() : close();
}

bool gthfile_task::create() {
  if (make_gather_file().CreateFile(container_name()) != gth_ok) {
    report_file_error(container_name(), errno);
    fail_run();
    return false;
  }
  if (store_identity()) return true;
  discard_container();
  fail_run();
  return false;
}

bool gthfile_task::reopen() { return make_gather_file().ReadFile(container_name()) == gth_ok; }

bool gthfile_task::close() {
  errno = 0;
  bool closed = make_gather_file().CloseFile() == gth_ok;
  if (!closed) {
    report_file_error(container_name(), errno != 0 ? errno : EIO);
    fail_run();
  }
  destroy_gather_file();
  status_ok_text = status_fail_text = container_name();
  return closed;
}

}  // namespace kestrel
