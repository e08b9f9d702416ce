// Lists of names that arrive as one separated text.
#include <algorithm>

#include "lib/debug.h"
#include "lib/mbcs.h"
#include "lib/utilstr.h"

namespace kestrel {

str_list::str_list(const wchar_t* list, wchar_t separator) {
  add_separated_list(std::wstring_view(list), separator);
}

str_list::str_list(const char* list, char separator) {
  const std::wstring wide_separator = mbcs_to_wide(std::string_view(&separator, 1));
  add_separated_list(mbcs_to_wide(list), wide_separator[0]);
}

void str_list::initialize() {
  names_.clear();
  current_ = names_.end();
}

void str_list::add(std::string name) { names_.push_back(std::move(name)); }

void str_list::add_separated_list(std::wstring_view list, wchar_t separator) {
  printd("strlist: processing 'l%s'\n", wide_to_mbcs(list).c_str());
  printd("strlist: separator is '%s'\n", wide_to_mbcs({&separator, 1}).c_str());
  while (!list.empty()) {
    const std::wstring_view piece = list.substr(0, list.find(separator));
    list.remove_prefix(std::min(piece.size() + 1, list.size()));
    std::string name = wide_to_mbcs(piece);
    if (is_logging()) {
      printd("s1 = %s\n", name.c_str());
      printd("s2 = %s\n", wide_to_mbcs(list).c_str());
      printd("s: '%s'\n", name.c_str());
    }
    if (!name.empty()) add(std::move(name));
  }
}

void str_list::add_separated_list(wchar_t* list, wchar_t separator) {
  add_separated_list(std::wstring_view(list), separator);
  for (; *list != L'\0'; ++list) {
    if (*list == separator) *list = L'\0';
  }
}

const char* str_list::get_first() {
  current_ = names_.begin();
  return get_current();
}

const char* str_list::get_next() {
  if (current_ != names_.end()) ++current_;
  return get_current();
}

const char* str_list::get_current() const {
  return current_ == names_.end() ? nullptr : current_->c_str();
}

}  // namespace kestrel
