// See record_lines.h.
#include "lib/record_lines.h"

#include <utility>

#include "lib/debug.h"
#include "lib/getline.h"
#include "lib/utilstr.h"

namespace kestrel {

record_lines::record_lines(const record_format& format)
    : format_(format), fields_(format.keys.size()) {}

std::optional<record> record_lines::take(std::string_view line) {
  line = line.substr(0, line.find('\0'));
  if (line == format_.end) return std::exchange(fields_, record(format_.keys.size()));
  for (size_t i = 0; i < format_.keys.size(); ++i) {
    const record_key& field = format_.keys[i];
    if (!line.starts_with(field.key)) continue;
    line.remove_prefix(field.key.size());
    if (line.starts_with(' ')) line.remove_prefix(1);
    fields_[i] = cut(std::string(line) + field.suffix, field.limit);
    return {};
  }
  printd("%s: previous line not recognized\n", format_.module);
  return {};
}

void for_each_record(FILE* in, const record_format& format,
                     const std::function<void(const record&)>& handle) {
  record_lines lines(format);
  for_each_line(
      in, format.module,
      [&](const std::string& line) {
        if (const std::optional<record> closed = lines.take(line)) handle(*closed);
      },
      format.reader);
}

}  // namespace kestrel
