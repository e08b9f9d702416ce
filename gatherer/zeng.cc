// Takes the options that name a file (-textfile, -binaryfile and the like) with the MIME type
// behind it, and stores that file when the run comes to it, or merges it into the report.
#include "gatherer/zeng.h"

#include <cerrno>
#include <cwchar>
#include <memory>
#include <vector>

#include "gatherer/console.h"
#include "gatherer/gthfile.h"
#include "gatherer/ks2file.h"
#include "gatherer/settings.h"
#include "lib/ascii.h"
#include "lib/cleanup.h"
#include "lib/debug.h"
#include "lib/file.h"
#include "lib/mbcs.h"
#include "lib/section.h"

namespace kestrel {
namespace {

constexpr int k_order = 19;

struct file_option {
  const wchar_t* word;
  generic_file_type file_type;
  const char* mime_type;
};
constexpr file_option k_options[] = {
    {L"-dgmlfile",   FILE_DGML,   nullptr                   },
    {L"-ksmlfile",   FILE_KSML,   nullptr                   },
    {L"-asciifile",  FILE_ASCII,  "text/plain"              },
    {L"-textfile",   FILE_TEXT,   "text/plain"              },
    {L"-binaryfile", FILE_BINARY, "application/octet-stream"},
    {L"-xmlfile",    FILE_BINARY, "text/xml"                },
};
constexpr file_option k_any_other = {L"", FILE_BINARY, nullptr};

// MIME types that are really orders to this program.
struct special_type {
  const char* mime_type;
  generic_file_type file_type;
};
constexpr special_type k_special_types[] = {
    {"zyr/kestrel2", FILE_KESTREL2},
    {"zyr/sysevent", FILE_SYSEVENT},
    {"zyr/appevent", FILE_APPEVENT},
    {"zyr/secevent", FILE_SECEVENT},
};

file_option find_option(const wchar_t* word) {
  for (const file_option& option : k_options) {
    if (same_word(option.word, word)) return option;
  }
  return k_any_other;
}

void apply_special_type(file_option& chosen) {
  if (chosen.mime_type == nullptr) return;
  for (const special_type& special : k_special_types) {
    if (!same_word(special.mime_type, chosen.mime_type)) continue;
    chosen.file_type = special.file_type;
    if (special.file_type == FILE_KESTREL2) {
      gatherer_setting(setting_file_option_given, setting_on, 0);
    }
  }
}

}  // namespace

zeng_task::zeng_task(const char* filename) : task(filename, k_order) {}

void zeng_task::create_zeng_task(int argc, const wchar_t** argv, int* index) {
  file_option chosen = find_option(argv[*index]);
  if (*index + 1 >= argc) {
    printm("Filename expected after %s parameter\n", wide_to_mbcs(argv[*index]).c_str());
    return;
  }
  const wchar_t* filename = argv[++*index];
  if (*index + 1 < argc && argv[*index + 1][0] != L'-') {
    chosen.mime_type = keep_text(wide_to_mbcs(argv[++*index]).c_str());
  }
  apply_special_type(chosen);
  static std::vector<std::unique_ptr<zeng_task>> tasks;
  tasks.push_back(std::make_unique<zeng_task>(keep_text(wide_to_mbcs(filename).c_str())));
  tasks.back()->set_filename(filename);
  tasks.back()->set_mime_type(chosen.mime_type);
  tasks.back()->set_file_type(chosen.file_type);
}

void zeng_task::set_filename(const wchar_t* filename) { filename_ = wide_to_mbcs(filename); }

void zeng_task::set_mime_type(const char* mime_type) { mime_type_ = mime_type; }

void zeng_task::set_file_type(generic_file_type file_type) { file_type_ = file_type; }

bool zeng_task::test() { return is_gather_file_open(); }

// The container reads its sources by name; a directory or a FIFO must not get that far.
bool zeng_task::store_plain(int item_type) {
  const file_ptr file = open_regular_file(filename_.c_str());
  if (file == nullptr) {
    print_error(filename_.c_str(), errno);
    return false;
  }
  store_user_file(file.get(), filename_.c_str(), item_type);
  return true;
}

bool zeng_task::run(FILE* current) {
  printd("zeng: running zeng task:\nzeng:\tfilename %s\nzeng:\tmime_type %s\nzeng:\tfile_type %d\n",
         filename_.c_str(), mime_type_ == nullptr ? "(null)" : mime_type_, file_type_);
  const char* path = filename_.c_str();
  switch (file_type_) {
    case FILE_ASCII:
      return store_ascii_file(path, mime_type_);
    case FILE_TEXT:
      return store_text_file(path, mime_type_);
    case FILE_BINARY:
      return store_binary_file(path, mime_type_);
    case FILE_KSML:
      return log_ksml_file(current, path);
    case FILE_DGML:
      return store_plain(item_postbox);
    case FILE_KESTREL2:
      return store_plain(item_report);
    case FILE_SYSEVENT:
      return store_plain(item_sysevent);
    case FILE_APPEVENT:
      return store_plain(item_appevent);
    case FILE_SECEVENT:
      return store_plain(item_secevent);
  }
  return true;
}

}  // namespace kestrel
