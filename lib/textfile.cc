// Loads a text as a whole and finds lines, words and values in it, as views into the text: nothing
// of it is copied.
#include "lib/textfile.h"

#include "lib/file.h"
#include "lib/interface.h"
#include "lib/util_string.h"
#include "lib/utilstr.h"

namespace kestrel {

std::optional<std::string> LoadTextFile(const char* path) {
  const auto bytes = LoadFile(path);
  if (!bytes) return std::nullopt;
  std::string text(bytes->begin(), bytes->end());
  TranslateCRLF(text);
  return text;
}

std::optional<std::string> LoadProcFile(const char* path) {
  const file_ptr in = open_for_reading(path);
  std::vector<unsigned char> bytes;
  if (!in || !read_rest(in.get(), bytes)) return std::nullopt;
  return std::string(bytes.begin(), bytes.end());
}

size_t CountTextLines(std::string_view text) {
  size_t count = 0;
  for (; !text.empty(); ++count) next_field(text, '\n');
  return count;
}

std::optional<std::string_view> GetTextLine(std::string_view text, size_t index) {
  for (; !text.empty(); --index) {
    const std::string_view line = next_field(text, '\n');
    if (index == 0) return line;
  }
  return std::nullopt;
}

std::optional<std::string_view> GetTextWord(std::string_view text, size_t index) {
  for (std::string_view word; !(word = next_word(text)).empty(); --index) {
    if (index == 0) return word;
  }
  return std::nullopt;
}

std::optional<std::string_view> GetTextValue(std::string_view line, char separator) {
  const size_t at = line.find(separator);
  if (at == std::string_view::npos) return std::nullopt;
  return trim_whitespace(line.substr(at + 1));
}

std::optional<std::string_view> FindTextValue(std::string_view text, std::string_view name,
                                              char separator) {
  while (!text.empty()) {
    const std::string_view line = next_field(text, '\n');
    const auto value = GetTextValue(line, separator);
    if (value && trim_whitespace(line.substr(0, line.find(separator))) == name) return value;
  }
  return std::nullopt;
}

}  // namespace kestrel
