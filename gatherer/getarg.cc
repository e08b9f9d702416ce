// Options and keywords as tables of {word, effect}. An option consumes the words that are its own,
// a keyword the next one in any case.
#include "gatherer/getarg.h"

#include <cstring>
#include <cwchar>
#include <memory>
#include <string>

#include "gatherer/console.h"
#include "gatherer/presets.h"
#include "gatherer/probe.h"
#include "gatherer/settings.h"
#include "gatherer/version.h"
#include "gatherer/zeng.h"
#include "lib/ascii.h"
#include "lib/cleanup.h"
#include "lib/command.h"
#include "lib/debug.h"
#include "lib/mbcs.h"
#include "lib/utilstr.h"

namespace kestrel {
namespace {

constexpr wchar_t k_list_separator = L';';
constexpr size_t k_timeout_digits = 6;

bool is_option(const wchar_t* argument) { return argument[0] == L'-'; }

bool has_operand(int argc, const wchar_t** argv, int index) {
  return index + 1 < argc && !is_option(argv[index + 1]);
}

// --- options of the command line ------------------------------------------------------------

using option_effect = void (*)(int argc, const wchar_t** argv, int* index);

struct command_line_option {
  const wchar_t* word;
  bool exact_case;
  option_effect effect;
};

void show_help(int, const wchar_t**, int*) { gatherer_setting(setting_run_mode, setting_set, 2); }

void list_probes(int, const wchar_t**, int*) { gatherer_setting(setting_run_mode, setting_set, 1); }

void step(int, const wchar_t**, int*) { gatherer_setting(setting_step, setting_on, 0); }

void marigold(int, const wchar_t**, int*) { enable_backdoor(); }

void probes(int argc, const wchar_t** argv, int* index) {
  set_probe_list(probe_task::probe_list, argc, argv, index);
}

void enable(int argc, const wchar_t** argv, int* index) {
  set_probe_list(probe_task::enable_list, argc, argv, index);
}

void skip(int argc, const wchar_t** argv, int* index) {
  set_probe_list(probe_task::skip_list, argc, argv, index);
}

// Only the framework's own tasks run unless a later option raises the level again.
void stored_file(int argc, const wchar_t** argv, int* index) {
  zeng_task::create_zeng_task(argc, argv, index);
  gatherer_setting(setting_detail_level, setting_set, 0);
}

constexpr command_line_option k_options[] = {
    {L"-help",       false, show_help                },
    {L"-step",       false, step                     },
    {L"-listprobes", false, list_probes              },
    {L"-install",    false, install_driver           },
    {L"-uninstall",  false, remove_driver            },
    {L"-p",          false, task::set_task_parameters},
    {L"-probe",      false, probes                   },
    {L"-probes",     false, probes                   },
    {L"-enable",     false, enable                   },
    {L"-skip",       false, skip                     },
    {L"Marigold",    true,  marigold                 },
    {L"-dgmlfile",   false, stored_file              },
    {L"-ksmlfile",   false, stored_file              },
    {L"-asciifile",  false, stored_file              },
    {L"-textfile",   false, stored_file              },
    {L"-binaryfile", false, stored_file              },
    {L"-xmlfile",    false, stored_file              },
};

bool is_word(const command_line_option& option, const wchar_t* argument) {
  return option.exact_case ? wcscmp(option.word, argument) == 0 : same_word(option.word, argument);
}

void not_understood(const wchar_t* text) {
  printm("I don't understand %s\n", wide_to_mbcs(text).c_str());
}

void parse_argument(int argc, const wchar_t** argv, int* index) {
  const wchar_t* argument = argv[*index];
  for (const command_line_option& option : k_options) {
    if (is_word(option, argument)) {
      option.effect(argc, argv, index);
      return;
    }
  }
  if (!is_option(argument)) {
    not_understood(argument);
    return;
  }
  // The next word goes along even for a keyword that takes none, and is swallowed there.
  const wchar_t* value = has_operand(argc, argv, *index) ? argv[++*index] : nullptr;
  gatherer_parse_common(argument + 1, value);
}

// --- keywords that command line and properties share ----------------------------------------

using keyword_effect = void (*)(const wchar_t* value);

struct keyword {
  const wchar_t* word;
  bool is_prefix;  // the value may follow without a space
  keyword_effect effect;
};

constexpr keyword k_keywords[] = {
    {L"batch",    false, [](const wchar_t*) { gatherer_setting(setting_batch, setting_on, 0); } },
    {L"silent",   false, [](const wchar_t*) { gatherer_setting(setting_silent, setting_on, 0); }},
    {L"nolimit",  false,
     [](const wchar_t*) { gatherer_setting(setting_event_log_limit, setting_set, 0); }          },
    {L"debug",    false, [](const wchar_t*) { enable_debug_mode(false); }                       },
    {L"fdebug",   false, [](const wchar_t*) { enable_debug_mode(true); }                        },
    {L"level",    true,  set_detail_level                                                       },
    {L"filename", true,  set_filename_template                                                  },
    {L"html",     false, [](const wchar_t*) { enable_html_mode(); }                             },
    {L"local",    false,
     [](const wchar_t*) { gatherer_setting(setting_gather_file, setting_off, 0); }              },
    {L"stdout",   false,
     [](const wchar_t*) { gatherer_setting(setting_stdout_output, setting_on, 0); }             },
    {L"text",     false, [](const wchar_t*) { enable_text_mode(); }                             },
    {L"vpd",      false, [](const wchar_t*) { vpd_configuration(); }                            },
    {L"timeout",  false, set_timeout                                                            },
};

void not_supported(const char* what, const wchar_t* value) {
  printm("Warning: %s %s not supported.\n", what,
         value == nullptr ? "(none)" : wide_to_mbcs(value).c_str());
}

void configure_driver(const char* task_name, int argc, const wchar_t** argv, int* index) {
  std::string reference = k_driver_reference;
  if (has_operand(argc, argv, *index)) reference = wide_to_mbcs(argv[++*index]);
  if (task* unit = task::get_task(task_name)) {
    unit->set_parameter("driver_reference", reference.c_str());
  }
  gatherer_setting(setting_use_task_list, setting_on, 0);
}

}  // namespace

void gatherer_args(int argc, const wchar_t** argv) {
  // A self-check of the bounded formatter: one letter and its end, the rest untouched.
  unsigned char check[10];
  memset(check, 0xA5, sizeof check);
  format_string(reinterpret_cast<char*>(check), 2, "%s", "SYSTEM");
  print_hexdump("format_string", check, sizeof check, "getarg:");
  gatherer_parse_command_line(argc, argv);
}

void gatherer_parse_command_line(int argc, const wchar_t** argv) {
  for (int index = 1; index < argc; ++index) parse_argument(argc, argv, &index);
}

void gatherer_parse_common(const wchar_t* word, const wchar_t* value) {
  for (const keyword& row : k_keywords) {
    if (same_word(row.word, word)) {
      row.effect(value);
      return;
    }
    if (row.is_prefix && begins_with_word(word, row.word)) {
      row.effect(word + wcslen(row.word));
      return;
    }
  }
  not_understood(word);
}

void set_detail_level(const wchar_t* value) {
  if (value != nullptr && value[0] >= L'0' && value[0] <= L'6' && value[1] == L'\0') {
    gatherer_setting(setting_detail_level, setting_set, static_cast<int>(value[0] - L'0'));
  } else {
    not_supported("level", value);
  }
}

void set_timeout(const wchar_t* value) {
  std::wstring_view digits = value == nullptr ? L"" : value;
  if (digits.empty() || digits.size() > k_timeout_digits ||
      digits.find_first_not_of(L"0123456789") != std::wstring_view::npos) {
    not_supported("timeout", value);
    return;
  }
  set_command_timeout(static_cast<unsigned>(wcstoul(value, nullptr, 10)));
}

void set_filename_template(const wchar_t* value) {
  if (value == nullptr) return;
  gatherer_filename(filename_template, setting_set, keep_text(wide_to_mbcs(value).c_str()));
}

void enable_html_mode() { html_configuration(); }

void enable_text_mode() { text_configuration(); }

void enable_debug_mode(bool stream) { debug_configuration(stream); }

void enable_backdoor() { backdoor_configuration(); }

void set_probe_list(int kind, int argc, const wchar_t** argv, int* index) {
  if (!has_operand(argc, argv, *index)) return;
  auto names = std::make_unique<str_list>(argv[++*index], k_list_separator);
  while (has_operand(argc, argv, *index)) {
    names->add_separated_list(argv[++*index], k_list_separator);
  }
  probe_task::set_probe_list(kind, std::move(names));
}

void install_driver(int argc, const wchar_t** argv, int* index) {
  configure_driver("INSTALL_DRIVER", argc, argv, index);
  gatherer_task_list.install = true;
}

void remove_driver(int argc, const wchar_t** argv, int* index) {
  configure_driver("REMOVE_DRIVER", argc, argv, index);
  gatherer_task_list.uninstall = true;
}

}  // namespace kestrel
