// Wildcards for file names and the like: '*' is any run of characters, '?' any one, case ignored.
#include <cwctype>

#include "lib/mbcs.h"
#include "lib/utilstr.h"

namespace kestrel {

namespace {

bool matches_one(wchar_t c, wchar_t wanted) {
  return wanted == L'?' ||
         std::towupper(static_cast<wint_t>(c)) == std::towupper(static_cast<wint_t>(wanted));
}

}  // namespace

bool compare_glob_wide(const wchar_t* text, const wchar_t* pattern) {
  for (; *text != L'\0' && *pattern != L'*'; ++text, ++pattern) {
    if (!matches_one(*text, *pattern)) return false;
  }
  // Only the last star is ever tried again: an earlier one took the shortest run that let the
  // pattern go on, and a longer one could not help. The time stays a product of the two lengths.
  const wchar_t* retry_text = nullptr;
  const wchar_t* retry_pattern = nullptr;
  while (*text != L'\0') {
    if (*pattern == L'*') {
      if (*++pattern == L'\0') return true;
      retry_pattern = pattern;
      retry_text = text + 1;
    } else if (matches_one(*text, *pattern)) {
      ++text;
      ++pattern;
    } else {
      pattern = retry_pattern;
      text = retry_text++;
    }
  }
  while (*pattern == L'*') ++pattern;
  return *pattern == L'\0';
}

bool compare_glob(const char* text, const char* pattern) {
  return compare_glob_wide(mbcs_to_wide(text).c_str(), mbcs_to_wide(pattern).c_str());
}

}  // namespace kestrel
