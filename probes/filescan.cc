// The report of the file scan: parameters, one row a file, totals; and the rule that files must
// pass.
#include "probes/filescan.h"

#include <fnmatch.h>

#include <cstdlib>
#include <ctime>

#include "gatherer/console.h"
#include "lib/debug.h"
#include "lib/sysinfo.h"
#include "lib/table.h"

namespace kestrel {
namespace {

constexpr int k_buffer_size = 4096;
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

constexpr column k_parameters[] = {
    {"Path",             DT_STRING },
    {"Filter",           DT_STRING },
    {"Ignore Filter",    DT_STRING },
    {"Permission Check", DT_INTEGER},
    {"Permission Mask",  DT_INTEGER},
    {"Version",          DT_STRING },
    {"Date",             DT_BOOL   },
    {"Size",             DT_BOOL   },
};

constexpr column k_results[] = {
    {"Files Scanned",           DT_INTEGER},
    {"Directories Scanned",     DT_INTEGER},
    {"Files Found",             DT_INTEGER},
    {"Elapsed Time in seconds", DT_INTEGER},
};

constexpr column k_identity[] = {
    {"Computername",     DT_STRING},
    {"Vendor",           DT_STRING},
    {"Model",            DT_STRING},
    {"Serial",           DT_STRING},
    {"UUID",             DT_STRING},
    {"Operating System", DT_STRING},
};

// A column of the scanned files, and the request that chooses it.
enum choice : unsigned { always = 1, with_date = 2, with_size = 4, with_version = 8 };
struct file_column {
  const char* name;
  char* (filescan::*get)(char* buffer, int size);  ///< null: blank on this system
  choice chosen;
};
constexpr file_column k_file_columns[] = {
    {"Filename",         &filescan::get_filename,         always      },
    {"Path",             &filescan::get_path,             always      },
    {"Create Time",      &filescan::get_create_time,      with_date   },
    {"Last Access Time", &filescan::get_last_access_time, with_date   },
    {"Last Write Time",  &filescan::get_last_write_time,  with_date   },
    {"Size",             &filescan::get_file_size,        with_size   },
    {"Permissions",      &filescan::get_permissions,      always      },
    {"User ID",          &filescan::get_user_id,          always      },
    {"Group ID",         &filescan::get_group_id,         always      },
    {"Language",         nullptr,                         with_version},
    {"File Version",     nullptr,                         with_version},
    {"Product Version",  nullptr,                         with_version},
    {"CompanyName",      nullptr,                         with_version},
    {"ProductName",      nullptr,                         with_version},
    {"ProductVersion",   nullptr,                         with_version},
    {"FileVersion",      nullptr,                         with_version},
};

std::vector<file_column> chosen_columns(const request& what) {
  const unsigned chosen = always | (what.date ? with_date : 0u) | (what.size ? with_size : 0u) |
                          (what.version != nullptr ? with_version : 0u);
  std::vector<file_column> columns;
  for (const file_column& wanted : k_file_columns) {
    if ((wanted.chosen & chosen) != 0) columns.push_back(wanted);
  }
  return columns;
}

const char* text_or_empty(const char* text) { return text == nullptr ? "" : text; }

void write_parameters(FILE* out, const request& what) {
  Table table(out, "FILESCAN PARAMETERS");
  table.declare(k_parameters);
  table.start_row("");
  table.log_data(text_or_empty(what.path));
  table.log_data(text_or_empty(what.filter));
  table.log_data(text_or_empty(what.ignore));
  table.log_data(what.check);
  table.log_data(what.mask);
  table.log_data(text_or_empty(what.version));
  table.log_data(static_cast<int>(what.date));
  table.log_data(static_cast<int>(what.size));
  table.end_row();
}

void write_file(Table& table, filescan& scan, const std::vector<file_column>& columns) {
  char buffer[k_buffer_size];
  table.start_row(scan.get_full_pathname(buffer, sizeof buffer));
  for (const file_column& wanted : columns) {
    table.log_data(wanted.get == nullptr ? "" : (scan.*wanted.get)(buffer, sizeof buffer));
  }
  table.end_row();
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
  const std::vector<file_column> columns = chosen_columns(what);
  Table table(out, "SCANNED FILES", "file");
  table.start_heading();
  for (const file_column& wanted : columns) table.add_column(wanted.name, DT_STRING);
  table.end_heading();

  prepare(scan, what);
  printm("Please wait.\n");
  if (what.version != nullptr) interval = k_interval_with_version;
  const std::clock_t start = std::clock();
  for (unsigned rows = 1; scan.next(); ++rows) {
    write_file(table, scan, columns);
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
  Table table(out, "FILESCAN RESULTS");
  table.declare(k_results);
  table.start_row("");
  for (unsigned value : {scan.files_scanned, scan.directories_scanned, scan.files_found, seconds}) {
    table.log_data(static_cast<unsigned long>(value));
  }
  table.end_row();
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

void get_vpd(FILE* out) {
  const SysInfo& machine = SysInfo::get_instance();
  Table table(out, "VPD");
  table.declare(k_identity);
  table.start_row("");
  for (const char* value : {machine.NodeName(), machine.OEM(), machine.Model(), machine.Serial(),
                            machine.UUID(), machine.OSName()}) {
    table.log_data(value);
  }
  table.end_row();
}

int get_filescan_info(FILE* out, const char* path, const char* filter, const char* ignore,
                      const char* mask, const char* check, const char* version, bool date,
                      bool size) {
  const bool has_version = version != nullptr && *version != '\0';
  const request what = {
      path, filter, ignore, parse_octal(mask), parse_octal(check), has_version ? version : nullptr,
      date, size};
  start_section(out, "FILESCAN");
  write_parameters(out, what);
  const std::unique_ptr<filescan> scan = make_filescan();
  const unsigned seconds = write_files(out, *scan, what);
  write_results(out, *scan, seconds);
  end_section(out);
  return 1;
}

}  // namespace kestrel
