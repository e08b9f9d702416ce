// The locales of the system, of the user and of this process.
#pragma once

#include <cstddef>
#include <cstdio>
#include <optional>
#include <string>
#include <string_view>

#include "gatherer/probe.h"

namespace kestrel {

/// Whose locale.
enum locale_setting {
  system_default = 0,  ///< what the distribution's files say
  current_user = 1,    ///< what the user's files say, else as above
  current_thread = 2,  ///< what the environment says
};

// Each text has at most `size` - 1 bytes.

/// The name of a locale. False, and `out` empty, when no source has one.
bool get_and_set_locale(locale_setting kind, std::string& out, size_t size);
/// The value of `key` in a file of assignments. False, and `out` empty, when no line has one.
bool parse_rcfile(const char* path, const char* key, std::string& out, size_t size);
/// The value that a line assigns to `key`, in double quotes or up to white space. The line begins
/// with the key; a blank in the key stands for any blanks.
std::optional<std::string> parse_rcfile_line(std::string_view line, std::string_view key,
                                             size_t size);
/// The path of a file in the user's folder. False, and `out` empty, without HOME.
bool build_home_path(const char* name, std::string& out, size_t size);

/// Writes the section of the regional settings.
void get_regional_info(FILE* fp);
/// Writes its table. The process has the environment's locale afterwards.
void get_locale_info(FILE* fp);

/// The task that writes the section; always true.
class locale_probe : public legacy_probe {
 public:
  using legacy_probe::legacy_probe;
  bool run(FILE* fp) override;
};

}  // namespace kestrel
