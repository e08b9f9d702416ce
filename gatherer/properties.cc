// The lines of a properties file, each split at its first '=': blank ones and those that begin with
// '#' are comments. A mistake is told as on the command line.
#include "gatherer/properties.h"

#include <cerrno>
#include <cwchar>
#include <memory>
#include <string>

#include "gatherer/console.h"
#include "gatherer/getarg.h"
#include "gatherer/probe.h"
#include "gatherer/settings.h"
#include "gatherer/task.h"
#include "lib/ascii.h"
#include "lib/debug.h"
#include "lib/file.h"
#include "lib/getline.h"
#include "lib/mbcs.h"
#include "lib/utilstr.h"

namespace kestrel {

void set_probe_list(int kind, const wchar_t* list) {
  if (list == nullptr) return;
  probe_task::set_probe_list(kind, std::make_unique<str_list>(list, L';'));
}

void gatherer_parse_properties(const wchar_t* path) {
  std::string name = wide_to_mbcs(path);
  file_ptr in = open_regular_file(name.c_str());
  if (in == nullptr) {
    print_error("getarg: properties", errno);
    printd("getarg: failed to read %s\n", name.c_str());
    return;
  }
  printm("Using properties from %s\n", name.c_str());
  std::wstring line;
  while (get_wide_line(in.get(), line)) {
    size_t begin = line.find_first_not_of(L" \t\r\n\v\f");
    if (begin == std::wstring::npos || line[begin] == L'#') continue;
    line = line.substr(begin, line.find_last_not_of(L" \t\r\n\v\f") - begin + 1);
    size_t sign = line.find(L'=');
    wchar_t* value = sign == std::wstring::npos ? nullptr : line.data() + sign + 1;
    if (value != nullptr) line[sign] = L'\0';
    if (is_logging()) {
      printd("parameter: %s, value: %s\n", wide_to_mbcs(line.c_str()).c_str(),
             value == nullptr ? "(null)" : wide_to_mbcs(value).c_str());
    }
    gatherer_parse_property(line.data(), value);
  }
}

void gatherer_parse_property(wchar_t* name, wchar_t* value) {
  if (wchar_t* dot = wcschr(name, L'.')) {
    *dot = L'\0';
    task::set_task_parameter(name, dot + 1, value);
    printm("probe %s, parameter %s\n", wide_to_mbcs(name).c_str(), wide_to_mbcs(dot + 1).c_str());
    return;
  }
  struct list_property {
    const wchar_t* word;
    int kind;
  };
  constexpr list_property k_lists[] = {
      {L"probe",  probe_task::probe_list },
      {L"probes", probe_task::probe_list },
      {L"skip",   probe_task::skip_list  },
      {L"enable", probe_task::enable_list},
  };
  for (const list_property& row : k_lists) {
    if (!same_word(row.word, name)) continue;
    set_probe_list(row.kind, value);
    return;
  }
  gatherer_parse_common(name, value);
}

void gatherer_parse_default_properties() {
  const char* folder = get_filename(filename_save_path);
  // The backslash is on purpose.
  std::string path = std::string(folder == nullptr ? "" : folder) + "\\kestrel2.ksp";
  gatherer_parse_properties(mbcs_to_wide(path).c_str());
}

}  // namespace kestrel
