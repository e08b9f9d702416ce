// See getline.h. Lines are read byte by byte, so that a NUL in one is kept and a line without an
// end costs no more memory than the limit.
#include "lib/getline.h"

#include <algorithm>

#include "lib/mbcs.h"
#include "lib/utilstr.h"

namespace kestrel {

bool read_line(FILE* in, std::string& line) {
  char piece[1024];
  size_t count = 0;
  bool any = false;
  line.clear();
  const auto keep = [&] {
    line.append(piece, std::min(count, k_max_line - line.size()));
    count = 0;
  };
  flockfile(in);
  for (int c; (c = getc_unlocked(in)) != EOF;) {
    any = true;
    if (count == sizeof piece) keep();
    piece[count++] = static_cast<char>(c);
    if (c == '\n') break;
  }
  keep();
  funlockfile(in);
  return any;
}

bool read_cut_line(FILE* in, std::string& line) {
  errno = 0;
  if (!read_line(in, line)) return false;
  if (!line.empty()) line.pop_back();
  line.resize(until_nul(line).size());
  return true;
}

bool get_wide_line(FILE* in, std::wstring& line) {
  std::string bytes;
  if (!read_line(in, bytes)) {
    line.clear();
    return false;
  }
  line = mbcs_to_wide(until_nul(bytes));
  return true;
}

}  // namespace kestrel
