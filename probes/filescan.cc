// The report of the file scan: parameters, one row a file, totals; and the rule that files must
// pass.
#include "probes/filescan.h"

#include <fnmatch.h>

#include <cstdlib>
#include <ctime>

#include "gatherer/console.h"
#include "lib/debug.h"
#include "lib/section.h"
#include "lib/sysinfo.h"
#include "lib/table_rows.h"

namespace kestrel {
namespace {

constexpr int k_path_size = 4096;
constexpr unsigned k_interval = 231;
constexpr unsigned k_interval_with_version = 11;

struct request {
  const char* path;
  const char* filter;
  const char* ignore;
  int mask;
  int check;
  const char* version;
  bool date;
  bool size;
};

constexpr cell_of<request> k_parameters[] = {
    {"Path",             show<&request::path>   },
    {"Filter",           show<&request::filter> },
    {"Ignore Filter",    show<&request::ignore> },
    {"Permission Check", show<&request::check>  },
    {"Permission Mask",  show<&request::mask>   },
    {"Version",          show<&request::version>},
    {"Date",             show<&request::date>   },
    {"Size",             show<&request::size>   },
};

struct totals {
  unsigned files_scanned, directories_scanned, files_found, seconds;
};

constexpr cell_of<totals> k_results[] = {
    {"Files Scanned",           show<&totals::files_scanned>      },
    {"Directories Scanned",     show<&totals::directories_scanned>},
    {"Files Found",             show<&totals::files_found>        },
    {"Elapsed Time in seconds", show<&totals::seconds>            },
};

constexpr cell_of<SysInfo> k_identity[] = {
    {"Computername",     show<&SysInfo::NodeName>},
    {"Vendor",           show<&SysInfo::OEM>     },
    {"Model",            show<&SysInfo::Model>   },
    {"Serial",           show<&SysInfo::Serial>  },
    {"UUID",             show<&SysInfo::UUID>    },
    {"Operating System", show<&SysInfo::OSName>  },
};

// A column of the scanned files, and the request that chooses it.
enum choice : unsigned { always = 1, with_date = 2, with_size = 4, with_version = 8 };
struct file_cell {
  cell_of<filescan*> cell;
  choice chosen;
};

// Files of this system tell no version.
const char* no_version(filescan* const&) { return ""; }

constexpr file_cell k_file_cells[] = {
    {{"Filename", show<&filescan::get_filename>},                 always      },
    {{"Path", show<&filescan::get_path>},                         always      },
    {{"Create Time", show<&filescan::get_create_time>},           with_date   },
    {{"Last Access Time", show<&filescan::get_last_access_time>}, with_date   },
    {{"Last Write Time", show<&filescan::get_last_write_time>},   with_date   },
    {{"Size", show<&filescan::get_file_size>},                    with_size   },
    {{"Permissions", show<&filescan::get_permissions>},           always      },
    {{"User ID", show<&filescan::get_user_id>},                   always      },
    {{"Group ID", show<&filescan::get_group_id>},                 always      },
    {{"Language", show<no_version>},                              with_version},
    {{"File Version", show<no_version>},                          with_version},
    {{"Product Version", show<no_version>},                       with_version},
    {{"CompanyName", show<no_version>},                           with_version},
    {{"ProductName", show<no_version>},                           with_version},
    {{"ProductVersion", show<no_version>},                        with_version},
    {{"FileVersion", show<no_version>},                           with_version},
};

std::vector<cell_of<filescan*>> chosen_cells(const request& what) {
  const unsigned chosen = always | (what.date ? with_date : 0u) | (what.size ? with_size : 0u) |
                          (what.version != nullptr ? with_version : 0u);
  std::vector<cell_of<filescan*>> cells;
  for (const file_cell& wanted : k_file_cells) {
    if ((wanted.chosen & chosen) != 0) cells.push_back(wanted.cell);
  }
  return cells;
}

void prepare(filescan& scan, const request& what) {
  if (what.path != nullptr) scan.add_path_to_scan(what.path);
  scan.set_filter(what.filter);
  scan.set_ignore_filter(what.ignore);
  if (what.mask >= 0) scan.set_perm_mask(what.mask);
  if (what.check >= 0) scan.set_perm_check(what.check);
}

// The table of the files found. Returns the processor seconds that the walk took.
unsigned write_files(FILE* out, filescan& scan, const request& what) {
  static unsigned interval = k_interval;
  const std::vector<cell_of<filescan*>> cells = chosen_cells(what);
  record_table<filescan*> table(out, "SCANNED FILES", "file", cells);
  prepare(scan, what);
  printm("Please wait.\n");
  if (what.version != nullptr) interval = k_interval_with_version;
  const std::clock_t start = std::clock();
  for (unsigned rows = 1; scan.next(); ++rows) {
    char path[k_path_size];
    table.add(scan.get_full_pathname(path, k_path_size), &scan);
    if (rows % interval == 0) {
      printm("\r   Scanned %u files in %u directories, %u files found ...", scan.files_scanned,
             scan.directories_scanned, scan.files_found);
    }
  }
  return static_cast<unsigned>((std::clock() - start) / CLOCKS_PER_SEC);
}

void write_results(FILE* out, const filescan& scan, unsigned seconds) {
  printm("\r   Scanned %u files in %u directories, %u files found.    \n", scan.files_scanned,
         scan.directories_scanned, scan.files_found);
  printm("   Scanning complete in %u min %u sec.\n", seconds / 60, seconds % 60);
  printd("filescan: Scanned %u files in %u directories\n", scan.files_scanned,
         scan.directories_scanned);
  printd("filescan: %u files found\n", scan.files_found);
  record_table(out, "FILESCAN RESULTS", k_results)
      .add("", {scan.files_scanned, scan.directories_scanned, scan.files_found, seconds});
}

}  // namespace

void filescan::add_dentry(dentry entry) { pending_.push_back(std::move(entry)); }

bool match_filters(const char* name, int permissions, str_list* filter, str_list* ignore, int mask,
                   int check) {
  printd("matching filters on %s\n", name);
  const bool permitted = (permissions & mask) != 0 && (check == 0 || permissions == check);
  bool accepted = filter == nullptr && permitted;
  const char* pattern = filter == nullptr ? nullptr : filter->get_first();
  for (; pattern != nullptr && !accepted; pattern = filter->get_next()) {
    accepted = permitted && fnmatch(pattern, name, 0) == 0;
    if (accepted) {
      printd("%s matches %s and %d&%d and %d=%d\n", name, pattern, permissions, mask, permissions,
             check);
    }
  }
  if (filter == nullptr && accepted) {
    printd("%d&%d and %d=%d\n", permissions, mask, permissions, check);
  }
  printd("checking ignores\n");
  pattern = ignore == nullptr ? nullptr : ignore->get_first();
  for (; pattern != nullptr && accepted; pattern = ignore->get_next()) {
    accepted = fnmatch(pattern, name, 0) != 0;
  }
  printd("%s = %d\n", name, accepted);
  return accepted;
}

int parse_octal(const char* text) {
  if (text == nullptr) return -1;
  char* end;
  const long long value = strtoll(text, &end, 8);
  return end == text ? -1 : to_int(value);
}

void get_vpd(FILE* out) { record_table(out, "VPD", k_identity).add("", SysInfo::get_instance()); }

int get_filescan_info(FILE* out, const char* path, const char* filter, const char* ignore,
                      const char* mask, const char* check, const char* version, bool date,
                      bool size) {
  const bool has_version = version != nullptr && *version != '\0';
  const request what = {
      path, filter, ignore, parse_octal(mask), parse_octal(check), has_version ? version : nullptr,
      date, size};
  start_section(out, "FILESCAN");
  record_table(out, "FILESCAN PARAMETERS", k_parameters).add("", what);
  const std::unique_ptr<filescan> scan = make_filescan();
  const unsigned seconds = write_files(out, *scan, what);
  write_results(out, *scan, seconds);
  end_section(out);
  return 1;
}

}  // namespace kestrel
