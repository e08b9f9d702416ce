// Text files loaded whole, and look-ups in the loaded text. The interface promises them; no program
// calls them: files are read line by line (getline.h).
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace kestrel {

/// The text of a regular file, CR LF made LF; nothing on failure, with errno.
std::optional<std::string> LoadTextFile(const char* path);
/// The text of a /proc file, whose size is not known before it is read.
std::optional<std::string> LoadProcFile(const char* path);

/// Lines of the text; a last one without a newline counts.
size_t CountTextLines(std::string_view text);
/// Line `index`, counted from 0, without its newline; nothing past the last. This and the views
/// below point into the text that was given.
std::optional<std::string_view> GetTextLine(std::string_view text, size_t index);
/// Word `index` of the text, counted from 0; nothing past the last.
std::optional<std::string_view> GetTextWord(std::string_view text, size_t index);
/// What stands behind the first `separator` of a line, trimmed; nothing without a separator.
std::optional<std::string_view> GetTextValue(std::string_view line, char separator);
/// The value of the first line whose trimmed name, up to `separator`, is `name`.
std::optional<std::string_view> FindTextValue(std::string_view text, std::string_view name,
                                              char separator);

}  // namespace kestrel
