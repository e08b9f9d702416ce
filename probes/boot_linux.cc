// How the machine boots, from the boot loader's menu, /boot, /proc/cmdline and the links in
// /etc/rc0.d to /etc/rc6.d. Folders are read by the file scan's walker.
#include "probes/boot_linux.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <memory>
#include <utility>

#include "lib/debug.h"
#include "lib/file.h"
#include "lib/getline.h"
#include "lib/mounts.h"
#include "lib/record_lines.h"
#include "lib/table_rows.h"
#include "lib/utilstr.h"
#include "probes/filescan.h"

namespace kestrel {
namespace {

constexpr const char* k_instance = "Linux Startup Information";
constexpr const char* k_boot_folder = "/boot";
constexpr const char* k_command_line = "/proc/cmdline";
constexpr const char* k_scripts_folder = "/etc/init.d";

constexpr const char* k_grub_files[] = {
    "/boot/grub.conf",
    "/boot/grub/grub.conf",
    "/boot/menu.lst",
    "/boot/grub/menu.lst",
};

constexpr size_t k_longest_trace = 4096;  // the rest of the command line, once a token
constexpr int k_path_size = 4096;

constexpr cell_of<grub_entry> k_entry_cells[] = {
    {"Boot Entry Title", show<&grub_entry::title>       },
    {"Root Device",      show<&grub_entry::root>        },
    {"Kernel Image",     show<&grub_entry::kernel>      },
    {"Kernel Options",   show<&grub_entry::options>     },
    {"Initial RAM Disk", show<&grub_entry::initrd>      },
    {"Chain Loaded",     show<&grub_entry::chain_loaded>},
};

constexpr cell_of<grub_option> k_grub_option_cells[] = {
    {"Name",  show<&grub_option::label>.wide(128)},
    {"Value", show<&grub_option::value>          },
};

std::string path_of(filescan* const& files) {
  char path[k_path_size];
  return files->get_full_pathname(path, sizeof path);
}
std::string path_in_boot(filescan* const& files) {
  return path_of(files).substr(std::string_view("/boot/").size());
}

constexpr cell_of<filescan*> k_boot_cells[] = {
    {"Filename",    show<path_in_boot>.wide(128)             },
    {"Permissions", show<&filescan::get_permissions>.wide(32)},
    {"Filesize",    show<&filescan::get_file_size>.wide(32)  },
};

std::string_view value_of(const kernel_option& option) {
  return option.value ? std::string_view(*option.value) : "";
}

constexpr cell_of<kernel_option> k_kernel_option_cells[] = {
    {"Option", show<&kernel_option::option>.wide(128)},
    {"Value",  show<value_of>.wide(128)              },
};

struct service {
  std::string name;
  std::array<const char*, 7> states;  // by runlevel
};

template <size_t Level>
const char* state_in(const service& script) {
  return script.states[Level];
}

constexpr cell_of<service> k_service_cells[] = {
    {"Name",       show<&service::name>.wide(64)},
    {"Runlevel 0", show<state_in<0>>.wide(8)    },
    {"Runlevel 1", show<state_in<1>>.wide(8)    },
    {"Runlevel 2", show<state_in<2>>.wide(8)    },
    {"Runlevel 3", show<state_in<3>>.wide(8)    },
    {"Runlevel 4", show<state_in<4>>.wide(8)    },
    {"Runlevel 5", show<state_in<5>>.wide(8)    },
    {"Runlevel 6", show<state_in<6>>.wide(8)    },
};

// The image's path, and its options behind it.
void keep_kernel(grub_entry& entry, std::string_view value) {
  constexpr size_t k_longest = 256;
  const std::string text = cut(value, k_longest);
  entry.kernel = text.substr(0, text.find_first_of(" \t"));
  entry.options = skip_blanks(std::string_view(text).substr(entry.kernel.size()));
}

// A line that begins with the key holds the field, even when its first word is longer.
constexpr line_of<grub_entry> k_grub_lines[] = {
    {"title",  keep<&grub_entry::title> },
    {"root",   keep<&grub_entry::root>  },
    {"kernel", keep_kernel              },
    {"initrd", keep<&grub_entry::initrd>},
};

struct grub_keyword {
  const char* keyword;
  const char* label;
};
constexpr grub_keyword k_grub_keywords[] = {
    {"default",  "Default Entry" },
    {"fallback", "Fallback Entry"},
    {"timeout",  "Menu Timeout"  },
    {"color",    "Menu Colours"  },
};

const char* first_readable_grub_file() {
  for (const char* path : k_grub_files) {
    if (is_accessible(path, R_OK)) return path;
  }
  return nullptr;
}

// Hands every line of the menu that says something, trimmed, to `handle`.
template <class Handler>
void for_each_grub_line(const char* path, Handler&& handle) {
  const file_ptr in = open_regular_file(path);
  if (in == nullptr) {
    print_error("grub: fopen", errno);
    return;
  }
  std::string line;
  while (read_cut_line(in.get(), line)) {
    trim_whitespace(line);
    if (!line.empty() && line.front() != '#') handle(line);
  }
  print_error("grub: getline", errno);
}

void write_grub_entries(FILE* fp, const char* path) {
  record_table table(fp, "GRUB Boot entries", k_instance, k_entry_cells);
  grub_entries entries;
  for_each_grub_line(path, [&](const std::string& line) {
    printd("grub: %s (%c)\n", line.c_str(), line.front());
    printd("grub: %s\n", line.c_str());
    const std::optional<grub_entry> entry = entries.take(line);
    if (entry) table.add(entry->title, *entry);
  });
}

void write_grub_options(FILE* fp, const char* path) {
  record_table table(fp, "GRUB Options", k_instance, k_grub_option_cells);
  for_each_grub_line(path, [&table](const std::string& line) {
    const std::optional<grub_option> option = parse_grub_option(line);
    if (option) table.add(option->keyword, *option);
  });
}

void write_boot_contents(FILE* fp) {
  record_table table(fp, "/boot Contents", k_instance, k_boot_cells);
  const std::unique_ptr<filescan> files = make_filescan();
  files->add_directory_to_scan(k_boot_folder);
  while (files->next()) {
    const std::string path = path_of(files.get());
    printd("boot: got file.\n");
    printd("boot: got file: %s\n", path.c_str());
    table.add(path, files.get());
    printd("boot: done with file\n");
  }
  printd("boot: done scanning /boot\n");
  printd("boot: %d files found\n", static_cast<int>(files->files_found));
}

service look_up_service(const char* script, filescan& scripts) {
  service found = {script, {}};
  for (size_t level = 0; level < found.states.size(); ++level) {
    const std::string folder = format_text("/etc/rc%zu.d", level);
    const bool starts = scripts.file_exists(folder.c_str(), format_text("S??%s", script).c_str());
    found.states[level] = starts ? "on" : "off";
  }
  return found;
}

}  // namespace

// --- parsing --------------------------------------------------------------------------------

std::optional<grub_entry> grub_entries::take(std::string_view line) {
  const bool chain_loaded = line.starts_with("chainloader");
  const bool next_entry = line.starts_with("title") && !held_.title.empty();
  std::optional<grub_entry> whole;
  if (line.starts_with("boot") || chain_loaded || next_entry) {
    whole = std::exchange(held_, {});
    whole->chain_loaded = chain_loaded;
    if (whole->title.empty()) whole->title = "Unnamed Entry";
  }
  collect(line);
  return whole;
}

void grub_entries::collect(std::string_view line) {
  const line_of<grub_entry>* row = take_key<grub_entry>(k_grub_lines, line);
  line = skip_blanks(line);
  if (row != nullptr && !line.empty()) row->keep(held_, line);
}

std::optional<grub_option> parse_grub_option(std::string_view line) {
  for (const grub_keyword& word : k_grub_keywords) {
    if (!line.starts_with(word.keyword)) continue;
    line.remove_prefix(std::string_view(word.keyword).size());
    return grub_option{word.keyword, word.label, skip_blanks(line)};
  }
  return {};
}

std::vector<kernel_option> parse_kernel_command_line(std::string_view line) {
  std::vector<kernel_option> options;
  while (!(line = trim_whitespace(line)).empty()) {
    const kept_text<256> token = next_word(line);
    printd("processing %s\n", token.c_str());
    const size_t equals = token.find('=');
    kernel_option found = {token.substr(0, equals), {}};
    if (equals != std::string::npos) found.value = token.substr(equals + 1);
    options.push_back(std::move(found));
    if (is_logging()) printd("looping around for %s\n", cut(line, k_longest_trace).c_str());
  }
  return options;
}

// --- tables ---------------------------------------------------------------------------------

void write_grub_configuration(FILE* fp, const char* path) {
  write_grub_entries(fp, path);
  write_grub_options(fp, path);
}

void write_kernel_command_line(FILE* fp, const char* path) {
  record_table table(fp, "Kernel Command Line", k_instance, k_kernel_option_cells);
  const file_ptr in = open_regular_file(path);
  if (in == nullptr) {
    print_error("boot_cmdline: fopen", errno);
    return;
  }
  std::string line;
  if (!read_cut_line(in.get(), line)) {
    print_error("boot_cmdline: getline", errno);
    return;
  }
  printd("boot_cmdline: %s\n", line.c_str());
  printd("boot_cmdline: stating %s\n", line.c_str());
  // The text itself is looked up on purpose.
  const int reason = ask_path(line.c_str(), [](const char* at) {
    struct stat status;
    return stat(at, &status) == 0 ? 0 : errno;
  });
  if (reason != 0) print_error("boot_cmdline: stat", reason);
  for (const kernel_option& option : parse_kernel_command_line(line)) {
    table.add(option.value.value_or(option.option), option);
  }
}

// --- the probes -----------------------------------------------------------------------------

bool grub_probe::test() {
  if (!path_) path_ = first_readable_grub_file();
  return *path_ != nullptr;
}

bool grub_probe::run(FILE* fp) {
  if (test()) write_grub_configuration(fp, *path_);
  return true;
}

// A plain file is asked to be executable on purpose.
bool boot_probe::test() {
  return is_accessible(k_boot_folder, R_OK | X_OK) || is_accessible(k_command_line, R_OK | X_OK);
}

bool boot_probe::run(FILE* fp) {
  write_boot_contents(fp);
  write_kernel_command_line(fp, k_command_line);
  return true;
}

bool rcd_probe::run(FILE* fp) {
  record_table table(fp, "Startup Services", k_service_cells);
  const std::unique_ptr<filescan> scripts = make_filescan();
  scripts->add_directory_to_scan(k_scripts_folder);
  char script[k_path_size];
  while (scripts->next()) {
    scripts->get_filename(script, sizeof script);
    table.add(script, look_up_service(script, *scripts));
  }
  return true;
}

}  // namespace kestrel
