// Records that a command prints as lines of the form "Key: value" and closes with a marker line.
// How they look is data, so that one reader serves every such command.
#pragma once

#include <cstddef>
#include <cstdio>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace kestrel {

/// A line that begins with `key` holds one field: what follows the key and one blank, then
/// `suffix`, cut to `limit` bytes.
struct record_key {
  std::string_view key;
  size_t limit;
  const char* suffix = "";
};

/// How one command prints its records.
struct record_format {
  const char* module;  ///< begins the debug lines
  const char* reader;  ///< what the end of the output is reported as
  std::span<const record_key> keys;
  std::string_view end;  ///< the whole line that closes a record
};

/// One field a key, in the order of the keys; empty when the record had no such line.
using record = std::vector<std::string>;

/// Puts records together, a line at a time.
class record_lines {
 public:
  /// `format` is kept by reference: it must outlive the object.
  explicit record_lines(const record_format& format);
  /// Takes a line without its newline; a record when the line closes one. The next record starts
  /// empty. Of two lines with the same key the later one holds.
  std::optional<record> take(std::string_view line);

 private:
  const record_format& format_;
  record fields_;
};

/// Reads `in` to its end and hands every closed record to `handle`. A record that is not closed is
/// dropped.
void for_each_record(FILE* in, const record_format& format,
                     const std::function<void(const record&)>& handle);

}  // namespace kestrel
