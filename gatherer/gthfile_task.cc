// The gather file of a run: created with the identity block that describes the machine, closed, and
// put in its place. See gthfile_task.h.
#include "gatherer/gthfile_task.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>

#include "gatherer/console.h"
#include "gatherer/file_task.h"
#include "gatherer/gthfile.h"
#include "gatherer/kestrel2.h"
#include "gatherer/ks2file.h"
#include "lib/cleanup.h"
#include "lib/debug.h"
#include "lib/mbcs.h"
#include "lib/staging.h"
#include "lib/temporary.h"
#include "lib/util_linux.h"
#include "lib/utilstr.h"

namespace kestrel {
namespace {

enum gthfile_order { order_create = 9, order_open = 10, order_close = 26 };

constexpr wchar_t k_identity_letters[] = L"CVMSUTLK";

bool is_refused = false;  // this run's container could not be created

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
  make_gather_file().RemoveFile();
  destroy_gather_file();
}

bool refuse_identity(const std::string& text) {
  report_file_error(container_name(), text.c_str());
  return false;
}

bool store_identity() {
  std::string name = format_text("ksid%x.txt", static_cast<unsigned>(get_process_id()));
  temporary_file temporary;
  file_ptr out = temporary.create(name);
  if (out == nullptr) {
    int errnum = errno;
    print_error(name.c_str(), errnum);
    discard_container();
    internal_error("Cannot write temporary file %s. Disk full?\n", name.c_str());
  }
  std::string block = identity_block();
  fwrite(block.data(), 1, block.size(), out.get());
  if (!close_checked(std::move(out))) return refuse_identity(strerror(errno));
  const file_ptr content = temporary.read();
  if (content == nullptr) return refuse_identity(strerror(errno));
  store_stream(content.get(), name.c_str(), item_identity, false);
  return was_stored() || refuse_identity(why_not_stored());
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
  is_refused = !create_container();
  if (is_refused) fail_run();
  return !is_refused;
}

bool gthfile_task::create_container() {
  const std::string temporary = format_text("kestg%x.tmp", static_cast<unsigned>(get_process_id()));
  if (make_gather_file().CreateFile(staged(container_name()).c_str(), temporary) != gth_ok) {
    report_file_error(container_name(), errno);
    return false;
  }
  if (store_identity()) return true;
  discard_container();
  return false;
}

// An older container is not to take what a new one could not.
bool gthfile_task::reopen() {
  return !is_refused && make_gather_file().ReadFile(container_name()) == gth_ok;
}

bool gthfile_task::close() {
  std::string temporary = make_gather_file().GetTemporaryName();
  errno = 0;
  int code = make_gather_file().CloseFile();
  if (code == gth_ok && !deliver(container_name())) {
    code = gth_cannot_create;
    temporary = staged(container_name());
  }
  const char* reason = strerror(errno != 0 ? errno : EIO);
  destroy_gather_file();
  const char* kept = code == gth_cannot_create ? keep_text(temporary.c_str()) : container_name();
  if (code == gth_cannot_create) {
    report_file_error(kept, kept_here_text(container_name(), reason).c_str());
  } else if (code != gth_ok) {
    report_file_error(kept, reason);
  }
  if (code == gth_ok) {
    note_kept(kept);
  } else {
    fail_run();
  }
  status_ok_text = status_fail_text = kept;
  return code == gth_ok;
}

}  // namespace kestrel
