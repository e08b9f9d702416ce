// Records told in lines that begin with a key, as commands and configuration files print them.
// Which member of the record a key fills is data, so that one reader serves them all:
//
//   constexpr line_of<rpm_package> k_package_lines[] = {
//       {"Name:", keep<&rpm_package::name>},
//   };
#pragma once

#include <concepts>
#include <cstdio>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>

#include "lib/debug.h"
#include "lib/getline.h"
#include "lib/mbcs.h"
#include "lib/record_members.h"
#include "lib/utilstr.h"

namespace kestrel {

/// A line that begins with `key`: `keep` puts what follows into the record.
template <class Record>
struct line_of {
  std::string_view key;
  void (*keep)(Record& record, std::string_view value);
};

/// Fills a member: a text as far as it has room, a number (an int) where the value begins with one.
template <auto Member>
void keep(typename cells::source<decltype(Member)>::record_type& record, std::string_view value) {
  auto& place = record.*Member;
  using kept = std::remove_cvref_t<decltype(place)>;
  if constexpr (std::same_as<kept, int>) {
    int64_t number = 0;
    if (scan_integer(value, number)) place = to_int(number);
  } else if constexpr (std::same_as<kept, std::wstring>) {
    place = mbcs_to_wide(value);
  } else {
    place = value;
  }
}

/// The row whose key begins `line`, which then is what follows; null, and `line` unchanged, when
/// there is none.
template <class Record>
const line_of<Record>* take_key(std::span<const line_of<Record>> lines, std::string_view& line) {
  for (const line_of<Record>& row : lines) {
    if (!line.starts_with(row.key)) continue;
    line.remove_prefix(row.key.size());
    return &row;
  }
  return nullptr;
}

/// How a command prints records: "Key: value", a line a field.
template <class Record>
struct record_format {
  const char* module;  ///< begins the debug lines
  const char* reader;  ///< what the end of the output is reported as
  std::span<const line_of<Record>> lines;
  std::string_view end;  ///< the whole line that closes a record
};

/// Puts records together, a line at a time.
template <class Record>
class record_lines {
 public:
  /// `format` is kept by reference: it must outlive the object.
  explicit record_lines(const record_format<Record>& format) : format_(format) {}

  /// Takes a line without its newline; a record when the line closes one. The next record starts
  /// empty. Of two lines with the same key the later one holds. One blank behind the key is none of
  /// the value.
  std::optional<Record> take(std::string_view line) {
    if (line == format_.end) return std::exchange(held_, {});
    const line_of<Record>* row = take_key(format_.lines, line);
    if (row == nullptr) {
      printd("%s: previous line not recognized\n", format_.module);
      return {};
    }
    if (line.starts_with(' ')) line.remove_prefix(1);
    row->keep(held_, line);
    return {};
  }

 private:
  const record_format<Record>& format_;
  Record held_;
};

/// Reads `in` to its end and hands every closed record to `handle(const Record&)`. A record that is
/// not closed is dropped.
template <class Record, class Handler>
void for_each_record(FILE* in, const record_format<Record>& format, Handler&& handle) {
  record_lines<Record> lines(format);
  for_each_line(
      in, format.module,
      [&](const std::string& line) {
        if (const std::optional<Record> closed = lines.take(line)) handle(*closed);
      },
      format.reader);
}

}  // namespace kestrel
