// The command line: which commands there are, what each accepts, and the texts that tell so.
#include "tools/ks2/command.h"

#include <getopt.h>
#include <langinfo.h>
#include <signal.h>

#include <algorithm>
#include <cerrno>
#include <clocale>
#include <cstdio>
#include <cstring>
#include <new>

#include "lib/utilstr.h"
#include "tools/ks2/shown_text.h"

namespace kestrel::ks2 {

namespace {

constexpr size_t k_most_warnings = 10;

constexpr command k_commands[] = {
    {"list",    "FILE...",                "j",    1, -1, "list the items of gather files",
     "Shows form, stamp, machine and items of each file.\n"
     "  -j, --json            the same as JSON\n",                run_list   },
    {"extract", "FILE [ITEM...]",         "dorf", 1, -1, "write items into files",
     "Writes all items, or those named by number, by type (html, identity, sysevent, appevent,\n"
     "report, filescan, postbox, secevent, stored, text) or by the content or name that list "
     "shows,\n"
     "into a new folder named after the file.\n"
     "  -d, --directory DIR   into this folder instead\n"
     "  -o, --output -        one item to standard output\n"
     "  -r, --raw             leave the header lines of stored files on\n"
     "  -f, --force           replace files that exist\n",        run_extract},
    {"verify",  "FILE...",                "t",    1, -1, "check that files are whole",
     "Checks every size, count and sum of gather files and ksml reports. A line a file; below it\n"
     "what is wrong, with item, section, table, row and the byte in the decoded item.\n"
     "  -t, --thorough        pack items of more than 8 MiB again, too, and compare; look into\n"
     "                        imported reports\n",                run_verify },
    {"show",    "FILE [SECTION[/TABLE]]", "Fa",   1, 2,  "show the report",
     "Lists the sections; or shows those, or those tables, whose names begin so, in any case.\n"
     "  -a, --all             show all sections\n"
     "  -F, --format FORMAT   text (the default), csv or json\n", run_show   },
    {"html",    "FILE",                   "of",   1, 1,  "make a page for the browser",
     "Writes the report as one self-contained page.\n"
     "  -o, --output OUT      the file to write, - for standard output (FILE's name with .html)\n"
     "  -f, --force           replace it if it exists\n",         run_html   },
    {"stuff",   "FILE",                   "of",   1, 1,  "make the form without zero bytes",
     "  -o, --output OUT      the file to write, - for standard output\n"
     "  -f, --force           replace it if it exists\n",         run_stuff  },
    {"unstuff", "FILE",                   "of",   1, 1,  "undo stuff",
     "  -o, --output OUT      the file to write, - for standard output\n"
     "  -f, --force           replace it if it exists\n",         run_unstuff},
};

constexpr option k_options[] = {
    {"all",       no_argument,       nullptr, 'a'},
    {"directory", required_argument, nullptr, 'd'},
    {"force",     no_argument,       nullptr, 'f'},
    {"format",    required_argument, nullptr, 'F'},
    {"help",      no_argument,       nullptr, 'h'},
    {"json",      no_argument,       nullptr, 'j'},
    {"max-size",  required_argument, nullptr, 'm'},
    {"output",    required_argument, nullptr, 'o'},
    {"raw",       no_argument,       nullptr, 'r'},
    {"thorough",  no_argument,       nullptr, 't'},
    {"version",   no_argument,       nullptr, 'V'},
    {nullptr,     0,                 nullptr, 0  },
};
constexpr char k_short_options[] = "ad:fF:hjm:o:rtV";

void print_usage(FILE* out) {
  std::fprintf(out,
               "Usage: ks2 COMMAND [OPTION...] FILE...\n"
               "Reads the files that kestrel writes: gather files and ksml reports.\n\n");
  for (const command& known : k_commands) {
    std::fprintf(out, "  ks2 %-8s %-24s %s\n", known.name, known.operands, known.summary);
  }
  std::fprintf(out,
               "\n  ks2 help [COMMAND]                this text, or the command's\n"
               "\nThe FILE \"-\" is standard input.\n"
               "\n  -h, --help            this text; with a command, the command's\n"
               "  -V, --version         the version\n"
               "  -m, --max-size SIZE   memory limit, K, M or G behind it (1G)\n\n"
               "Exit status: 0 whole, 1 damaged, 2 usage, 3 not a gather file, 4 unreadable.\n");
}

void print_help(const command& asked) {
  std::printf("Usage: ks2 %s [OPTION...] %s\n%s", asked.name, asked.operands, asked.help);
  std::printf("  -m, --max-size SIZE   memory limit, K, M or G behind it (1G)\n");
}

int complain_usage(const command* about, const char* text) {
  const std::string name = about == nullptr ? "ks2" : std::string("ks2 ") + about->name;
  print_text(stderr, name + ": " + text + "\nTry '" + name + " --help'.\n");
  return exit_usage;
}

bool parse_size(std::string_view text, uint64_t& size) {
  int64_t number;
  if (text.empty() || text[0] < '0' || text[0] > '9' || !scan_decimal(text, number)) return false;
  constexpr std::string_view k_units = "KMG";
  unsigned shift = 0;
  if (text.size() == 1 && k_units.find(text[0]) != std::string_view::npos) {
    shift = 10 * static_cast<unsigned>(k_units.find(text[0]) + 1);
  } else if (!text.empty()) {
    return false;
  }
  if (number <= 0 || number > (INT64_MAX >> shift)) return false;
  size = static_cast<uint64_t>(number) << shift;
  return true;
}

/// False for an option that is wrong in itself, with `trouble`.
bool take_option(int letter, arguments& given, const char*& trouble) {
  switch (letter) {
    case 'a':
      given.all = true;
      return true;
    case 'd':
      given.folder = optarg;
      return true;
    case 'f':
      given.force = true;
      return true;
    case 'F':
      given.format = optarg;
      trouble = "the formats are text, csv and json";
      return given.format == "text" || given.format == "csv" || given.format == "json";
    case 'j':
      given.json = true;
      return true;
    case 'm':
      trouble = "the size is a number, with K, M or G behind it";
      return parse_size(optarg, given.max_size);
    case 'o':
      given.output = optarg;
      return true;
    case 't':
      given.thorough = true;
      return true;
    default:
      given.raw = true;
      return true;
  }
}

int run_command(const command& asked, int argc, char** argv) {
  arguments given;
  for (int letter; (letter = getopt_long(argc, argv, k_short_options, k_options, nullptr)) != -1;) {
    if (letter == 'h') {
      print_help(asked);
      return finish_output(exit_whole);
    }
    if (letter == '?') return complain_usage(&asked, "wrong option");
    if (letter != 'm' && std::strchr(asked.options, letter) == nullptr) {
      return complain_usage(&asked, format_text("it has no option -%c", letter).c_str());
    }
    const char* trouble = "";
    if (!take_option(letter, given, trouble)) return complain_usage(&asked, trouble);
  }
  given.operands.assign(argv + optind, argv + argc);
  const auto count = static_cast<int>(given.operands.size());
  if (count < asked.least_operands) return complain_usage(&asked, "a file is missing");
  if (asked.most_operands >= 0 && count > asked.most_operands) {
    return complain_usage(&asked, "too many operands");
  }
  return asked.run(given);
}

/// Text is UTF-8 inside; where the locale is not, that of the machine is at least asked for its
/// column widths.
void set_locale() {
  setlocale(LC_CTYPE, "");
  if (std::strcmp(nl_langinfo(CODESET), "ANSI_X3.4-1968") == 0) setlocale(LC_CTYPE, "C.UTF-8");
}

void print_version() { std::printf("ks2 %s\n", KESTREL_VERSION); }

int complain_command(std::string_view name) {
  return complain_usage(nullptr, ("there is no command " + shown(name, 40)).c_str());
}

int run_help(const char* about) {
  if (about == nullptr) {
    print_usage(stdout);
    return finish_output(exit_whole);
  }
  const command* const asked = find_command(about);
  if (asked == nullptr) return complain_command(about);
  print_help(*asked);
  return finish_output(exit_whole);
}

/// What stands in front of the command.
struct command_line_start {
  int command;  ///< index of its word, argc: there is none
  bool wants_help = false;
  bool wants_version = false;
};

command_line_start read_start(int argc, char** argv) {
  // A '+' in front: an operand ends the options.
  static const std::string options = std::string("+") + k_short_options;
  command_line_start start = {argc};
  opterr = 0;
  for (int letter; (letter = getopt_long(argc, argv, options.c_str(), k_options, nullptr)) != -1;) {
    start.wants_help = start.wants_help || letter == 'h';
    start.wants_version = start.wants_version || letter == 'V';
  }
  start.command = optind;
  opterr = 1;
  optind = 0;  // The next call begins anew.
  return start;
}

int run_program(int argc, char** argv) {
  if (argc < 2) {
    print_usage(stderr);
    return exit_usage;
  }
  const command_line_start start = read_start(argc, argv);
  if (start.wants_version) {
    print_version();
    return finish_output(exit_whole);
  }
  if (start.command == argc) {
    return start.wants_help ? run_help(nullptr) : complain_usage(nullptr, "a command is missing");
  }
  const std::string_view name = argv[start.command];
  if (name == "help") return run_help(argv[start.command + 1]);
  const command* const asked = find_command(name);
  if (asked == nullptr) return complain_command(name);
  // Its options may stand in front of it and behind it.
  std::copy_backward(argv, argv + start.command, argv + start.command + 1);
  return run_command(*asked, argc - 1, argv + 1);
}

}  // namespace

const command* find_command(std::string_view name) {
  for (const command& known : k_commands) {
    if (name == known.name) return &known;
  }
  return nullptr;
}

int ks2_main(int argc, char** argv) {
  set_locale();
  signal(SIGPIPE, SIG_IGN);  // A reader that has seen enough is no reason to die.
  try {
    return run_program(argc, argv);
  } catch (const std::bad_alloc&) {
    std::fputs("ks2: there is not enough memory (--max-size sets a limit below what there is)\n",
               stderr);
    return exit_unreadable;
  }
}

void complain(std::string_view path, std::string_view text) {
  std::fflush(stdout);
  print_text(stderr, "ks2: " + shown(path) + ": " + shown(text) + "\n");
}

int refuse(const input_file& file) {
  complain(file.path(), file.message());
  return file.status();
}

int warn(const input_file& file, const fault_list& faults) {
  size_t told = 0, more = faults.dropped();
  for (const fault& found : faults.all()) {
    if (found.level == severity::note) continue;
    if (told == k_most_warnings) {
      ++more;
      continue;
    }
    ++told;
    complain(file.path(), describe_place(found.where) + ": " + found.text);
  }
  if (more > 0) complain(file.path(), format_text("%zu more; 'ks2 verify' tells them", more));
  return faults.is_whole() ? exit_whole : exit_damaged;
}

int finish_output(int status) {
  if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0) return status;
  if (errno == EPIPE) return status;
  complain("standard output", std::strerror(errno));
  return std::max<int>(status, exit_damaged);
}

std::string describe_place(const place& where) {
  std::string words = where.item == 0 ? "" : format_text("item %d, ", where.item);
  if (!where.name.empty()) words += where.name + ", ";
  if (where.row >= 0) words += format_text("row %d, ", where.row + 1);
  return words + format_text("offset %zu", where.offset);
}

}  // namespace kestrel::ks2
