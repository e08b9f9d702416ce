// See boot_linux.h.
#include "probes/boot_linux.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <memory>
#include <utility>

#include "lib/debug.h"
#include "lib/file.h"
#include "lib/getline.h"
#include "lib/table.h"
#include "lib/utilstr.h"
#include "probes/filescan.h"

namespace kestrel {
namespace {

constexpr const char* k_instance = "Linux Startup Information";
constexpr const char* k_boot_folder = "/boot";
constexpr const char* k_command_line = "/proc/cmdline";
constexpr const char* k_scripts_folder = "/etc/init.d";
constexpr int k_runlevels = 7;

constexpr const char* k_grub_files[] = {
    "/boot/grub.conf",
    "/boot/grub/grub.conf",
    "/boot/menu.lst",
    "/boot/grub/menu.lst",
};

constexpr column k_entry_columns[] = {
    {"Boot Entry Title", DT_STRING, 128},
    {"Root Device",      DT_STRING, 16 },
    {"Kernel Image",     DT_STRING, 128},
    {"Kernel Options",   DT_STRING, 128},
    {"Initial RAM Disk", DT_STRING, 80 },
    {"Chain Loaded",     DT_BOOL,   0  },
};

constexpr column k_grub_option_columns[] = {
    {"Name",  DT_STRING, 128},
    {"Value", DT_STRING, 128},
};

constexpr column k_boot_columns[] = {
    {"Filename",    DT_STRING, 128},
    {"Permissions", DT_STRING, 32 },
    {"Filesize",    DT_STRING, 32 },
};

constexpr column k_kernel_option_columns[] = {
    {"Option", DT_STRING, 128},
    {"Value",  DT_STRING, 128},
};

constexpr column k_service_columns[] = {
    {"Name",       DT_STRING, 64},
    {"Runlevel 0", DT_STRING, 8 },
    {"Runlevel 1", DT_STRING, 8 },
    {"Runlevel 2", DT_STRING, 8 },
    {"Runlevel 3", DT_STRING, 8 },
    {"Runlevel 4", DT_STRING, 8 },
    {"Runlevel 5", DT_STRING, 8 },
    {"Runlevel 6", DT_STRING, 8 },
};

// A line that begins with the keyword holds the field, even when its first word is longer. That of
// the kernel holds the image and its options, until they are parted.
struct grub_field {
  std::string_view keyword;
  std::string grub_entry::*place;
  size_t limit;
};
constexpr grub_field k_grub_fields[] = {
    {"title",  &grub_entry::title,  128},
    {"root",   &grub_entry::root,   16 },
    {"kernel", &grub_entry::kernel, 256},
    {"initrd", &grub_entry::initrd, 80 },
};
constexpr size_t k_longest_image = 128;
constexpr size_t k_longest_kernel_options = 128;

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
constexpr size_t k_longest_value = 128;

constexpr size_t k_longest_token = 256;
constexpr size_t k_longest_trace = 4096;  // the rest of the command line, once a token
constexpr size_t k_path_size = 4096;

// Drops the line's last character, which is the newline; a last line without one loses a character
// of its text on purpose.
bool read_cut_line(FILE* in, std::string& line) {
  errno = 0;
  if (!read_line(in, line)) return false;
  line.pop_back();
  line.resize(std::min(line.find('\0'), line.size()));
  return true;
}

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

// Takes the options behind the image's path out of the kernel's text.
void part_kernel(grub_entry& entry) {
  const std::string_view text = entry.kernel;
  std::string image = cut(text.substr(0, text.find_first_of(" \t")), k_longest_image);
  entry.options = cut(skip_blanks(text.substr(image.size())), k_longest_kernel_options);
  entry.kernel = std::move(image);
}

void write_grub_entry(Table& table, const grub_entry& entry) {
  const std::string title = entry.title.empty() ? "Unnamed Entry" : entry.title;
  table.start_row(title.c_str());
  table.log_data(title);
  table.log_data(entry.root);
  table.log_data(entry.kernel);
  table.log_data(entry.options);
  table.log_data(entry.initrd);
  table.log_data(static_cast<int>(entry.chain_loaded));
  table.end_row();
}

void write_grub_entries(FILE* fp, const char* path) {
  Table table(fp, "GRUB Boot entries", k_instance);
  table.declare(k_entry_columns);
  grub_entries entries;
  for_each_grub_line(path, [&](const std::string& line) {
    printd("grub: %s (%c)\n", line.c_str(), line.front());
    printd("grub: %s\n", line.c_str());
    if (const std::optional<grub_entry> entry = entries.take(line)) write_grub_entry(table, *entry);
  });
}

void write_grub_options(FILE* fp, const char* path) {
  Table table(fp, "GRUB Options", k_instance);
  table.declare(k_grub_option_columns);
  for_each_grub_line(path, [&table](const std::string& line) {
    const std::optional<grub_option> option = parse_grub_option(line);
    if (!option) return;
    table.start_row(option->keyword);
    table.log_data(option->label);
    table.log_data(option->value);
    table.end_row();
  });
}

void write_boot_file(Table& table, filescan& files) {
  char path[k_path_size], permissions[32], size[32];
  files.get_full_pathname(path, sizeof path);
  printd("boot: got file.\n");
  printd("boot: got file: %s\n", path);
  table.start_row(path);
  table.log_data(path + std::string_view("/boot/").size());
  table.log_data(files.get_permissions(permissions, sizeof permissions));
  table.log_data(files.get_file_size(size, sizeof size));
  table.end_row();
  printd("boot: done with file\n");
}

void write_boot_contents(FILE* fp) {
  Table table(fp, "/boot Contents", k_instance);
  table.declare(k_boot_columns);
  const std::unique_ptr<filescan> files = make_filescan();
  files->add_directory_to_scan(k_boot_folder);
  while (files->next()) write_boot_file(table, *files);
  printd("boot: done scanning /boot\n");
  printd("boot: %d files found\n", static_cast<int>(files->files_found));
}

void write_service(Table& table, const char* name, filescan& scripts) {
  table.start_row(name);
  table.log_data(name);
  for (int level = 0; level < k_runlevels; ++level) {
    const std::string folder = format_text("/etc/rc%i.d", level);
    const bool starts = scripts.file_exists(folder.c_str(), format_text("S??%s", name).c_str());
    table.log_data(starts ? "on" : "off");
  }
  table.end_row();
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
  }
  collect(line);
  return whole;
}

void grub_entries::collect(std::string_view line) {
  for (const grub_field& field : k_grub_fields) {
    if (!line.starts_with(field.keyword)) continue;
    const std::string rest = cut(skip_blanks(line.substr(field.keyword.size())), field.limit);
    if (rest.empty()) continue;
    held_.*field.place = rest;
    if (field.place == &grub_entry::kernel) part_kernel(held_);
  }
}

std::optional<grub_option> parse_grub_option(std::string_view line) {
  for (const grub_keyword& word : k_grub_keywords) {
    if (!line.starts_with(word.keyword)) continue;
    line.remove_prefix(std::string_view(word.keyword).size());
    return grub_option{word.keyword, word.label, cut(skip_blanks(line), k_longest_value)};
  }
  return {};
}

std::vector<kernel_option> parse_kernel_command_line(std::string_view line) {
  std::vector<kernel_option> options;
  while (!(line = trim_whitespace(line)).empty()) {
    const std::string token = cut(next_word(line), k_longest_token);
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
  Table table(fp, "Kernel Command Line", k_instance);
  table.declare(k_kernel_option_columns);
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
  struct stat status;
  if (stat(line.c_str(), &status) != 0) print_error("boot_cmdline: stat", errno);
  for (const kernel_option& option : parse_kernel_command_line(line)) {
    table.start_row(option.value.value_or(option.option).c_str());
    table.log_data(option.option);
    table.log_data(option.value.value_or(""));
    table.end_row();
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
  Table table(fp, "Startup Services");
  table.declare(k_service_columns);
  const std::unique_ptr<filescan> scripts = make_filescan();
  scripts->add_directory_to_scan(k_scripts_folder);
  char script[k_path_size];
  while (scripts->next()) {
    write_service(table, scripts->get_filename(script, sizeof script), *scripts);
  }
  return true;
}

}  // namespace kestrel
