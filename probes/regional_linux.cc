// The locales of the system, of the user and of this process: their names from the distribution's
// and the user's files and from LANG, the rest from the C library.
#include "probes/regional_linux.h"

#include <langinfo.h>

#include <algorithm>
#include <cerrno>
#include <clocale>
#include <cstdlib>
#include <span>

#include "lib/debug.h"
#include "lib/file.h"
#include "lib/getline.h"
#include "lib/mbcs.h"
#include "lib/section.h"
#include "lib/table_rows.h"
#include "lib/utilstr.h"

namespace kestrel {
namespace {

constexpr size_t k_longest_line = 1023;
constexpr size_t k_path_size = 4096;
constexpr size_t k_name_size = 256;

struct described_locale {
  const char* setting;  // whose it is
  std::string name;
  std::wstring language, country, codeset;
};

constexpr cell_of<described_locale> k_locale_cells[] = {
    {"Setting",  show_ascii<&described_locale::setting>.wide(32)},
    {"Locale",   show<&described_locale::name>.wide(32)         },
    {"Language", show<&described_locale::language>.wide(32)     },
    {"Country",  show<&described_locale::country>.wide(32)      },
    {"Codeset",  show<&described_locale::codeset>.wide(32)      },
};

struct rc_file {
  const char* path;
  const char* key;
  bool is_in_home;
};
constexpr rc_file k_rc_files[] = {
    {".i18n",                   "LANG",        true },
    {".profile",                "export LANG", true },
    {"/etc/sysconfig/i18n",     "LANG",        false},
    {"/etc/sysconfig/language", "RC_LANG",     false},
};
constexpr std::span<const rc_file> k_all_files = k_rc_files;

// In the order of `locale_setting`.
struct locale_row {
  const char* text;
  std::span<const rc_file> files;
  const char* variable;
};
constexpr locale_row locale_settings[] = {
    {"System Default", k_all_files.subspan(2), nullptr},
    {"Current User",   k_all_files,            nullptr},
    {"Current Thread", {},                     "LANG" },
};

bool read_rc_file(const rc_file& file, std::string& out, size_t size) {
  std::string path = file.path;
  if (file.is_in_home && !build_home_path(file.path, path, k_path_size)) return false;
  return parse_rcfile(path.c_str(), file.key, out, size);
}

std::wstring item_text(nl_item item) { return mbcs_to_wide(nl_langinfo(item)); }

// Looks into a locale by being in it for a while; nothing of a locale that the system lacks.
void look_into(described_locale& locale) {
  if (setlocale(LC_ALL, locale.name.c_str()) == nullptr) {
    printd("locale: no locale %s\n", locale.name.c_str());
    return;
  }
  locale.language = item_text(_NL_IDENTIFICATION_LANGUAGE);
  locale.country = item_text(_NL_IDENTIFICATION_TERRITORY);
  locale.codeset = item_text(CODESET);
  // The environment may name one that does not exist; the run started in the plain one then.
  if (setlocale(LC_ALL, "") == nullptr) setlocale(LC_ALL, "C");
}

described_locale describe_locale(locale_setting kind) {
  described_locale locale = {locale_settings[kind].text, {}, {}, {}, {}};
  if (get_and_set_locale(kind, locale.name, k_name_size)) {
    look_into(locale);
  } else {
    locale.name = "Unknown";
  }
  return locale;
}

std::optional<std::string> some_text(std::string_view text, size_t size) {
  if (text.empty() || size < 2) return {};
  return cut(text, size - 1);
}

// True, and `text` advanced, when it begins with the key.
bool take_key(std::string_view& text, std::string_view key) {
  for (char c : key) {
    if (c == ' ') {
      text = skip_blanks(text);
      continue;
    }
    if (!text.starts_with(c)) return false;
    text.remove_prefix(1);
  }
  return true;
}

}  // namespace

bool get_and_set_locale(locale_setting kind, std::string& out, size_t size) {
  out.clear();
  const locale_row& row = locale_settings[kind];
  for (const rc_file& file : row.files) {
    if (read_rc_file(file, out, size)) return true;
  }
  const char* value = row.variable != nullptr ? std::getenv(row.variable) : nullptr;
  if (value != nullptr) out = some_text(value, size).value_or("");
  return !out.empty();
}

std::optional<std::string> parse_rcfile_line(std::string_view line, std::string_view key,
                                             size_t size) {
  if (!take_key(line, key) || !line.starts_with('=')) return {};
  line.remove_prefix(1);
  if (line.starts_with('"')) {
    const std::string_view quoted = line.substr(1, line.find('"', 1) - 1);
    if (!quoted.empty()) return some_text(quoted, size);
  }
  return some_text(next_word(line), size);
}

bool parse_rcfile(const char* path, const char* key, std::string& out, size_t size) {
  out.clear();
  const file_ptr in = open_regular_file(path);
  if (in == nullptr) {
    print_error(path, errno);
    return false;
  }
  std::string line;
  while (out.empty() && read_line(in.get(), line)) {
    line.resize(std::min(line.size(), k_longest_line));
    out = parse_rcfile_line(without_newline(until_nul(line)), key, size).value_or("");
  }
  return !out.empty();
}

bool build_home_path(const char* name, std::string& out, size_t size) {
  out.clear();
  const char* home = std::getenv("HOME");
  printd("locale: HOME = %s\n", home != nullptr ? home : "(null)");
  if (home == nullptr || size == 0) return false;
  out = format_text("%s/%s", home, name).substr(0, size - 1);
  return true;
}

void get_locale_info(FILE* fp) {
  record_table table(fp, "Locale", "LOCALE_INSTANCE", k_locale_cells);
  for (locale_setting kind : {system_default, current_user, current_thread}) {
    const described_locale locale = describe_locale(kind);
    table.add(locale.setting, locale);
  }
}

void get_regional_info(FILE* fp) {
  start_section(fp, "REGIONAL SETTINGS");
  get_locale_info(fp);
  end_section(fp);
}

bool locale_probe::run(FILE* fp) {
  get_regional_info(fp);
  return true;
}

}  // namespace kestrel
