// The file scan as a task: its parameters, and the separate file that takes its result.
#include "probes/filescan_probe.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "gatherer/console.h"
#include "gatherer/file_task.h"
#include "gatherer/gthfile.h"
#include "gatherer/ks2file.h"
#include "gatherer/settings.h"
#include "lib/ascii.h"
#include "lib/cleanup.h"
#include "lib/table.h"
#include "lib/temporary.h"
#include "lib/utilstr.h"
#include "probes/filescan.h"

namespace kestrel {
namespace {

bool is_empty(const char* value) { return value == nullptr || *value == '\0'; }

const char* text_or_null(const std::optional<std::string>& value) {
  return value ? value->c_str() : nullptr;
}

// Switches the output format for as long as it lives.
class format_switch {
 public:
  explicit format_switch(output_format_type format) { Table::set_output_format(format); }
  format_switch(const format_switch&) = delete;
  format_switch& operator=(const format_switch&) = delete;
  ~format_switch() { Table::set_output_format(before_); }

 private:
  output_format_type before_ = Table::get_output_format();
};

}  // namespace

const filescan_probe::text_parameter filescan_probe::k_texts[] = {
    {"path",    &filescan_probe::path_   },
    {"filter",  &filescan_probe::filter_ },
    {"ignore",  &filescan_probe::ignore_ },
    {"mask",    &filescan_probe::mask_   },
    {"check",   &filescan_probe::check_  },
    {"version", &filescan_probe::version_},
};

const filescan_probe::flag_parameter filescan_probe::k_flags[] = {
    {"date", &filescan_probe::date_},
    {"size", &filescan_probe::size_},
};

filescan_probe::filescan_probe(const char* probe_name, int probe_order, int detail,
                               unsigned platform_mask, unsigned customer_mask)
    : legacy_probe(probe_name, probe_order, detail, platform_mask, customer_mask) {}

bool filescan_probe::set_parameter(const char* key, const char* value) {
  for (const text_parameter& parameter : k_texts) {
    if (!same_word(key, parameter.name)) continue;
    this->*parameter.place = value == nullptr ? text() : text(value);
    if (!is_empty(value)) return true;
    printm("The filescan %s parameter requires a non-empty value.\n", parameter.name);
    return false;
  }
  for (const flag_parameter& parameter : k_flags) {
    if (same_word(key, parameter.name)) return set_flag(parameter, value);
  }
  printm("%s is not a valid parameter for filescan\n", key);
  return false;
}

bool filescan_probe::set_flag(const flag_parameter& flag, const char* value) {
  if (!is_empty(value) && strchr("YyNn", *value) != nullptr) {
    this->*flag.place = *value == 'Y' || *value == 'y';
    return true;
  }
  printm("Valid values for 'filescan %s' are 'Yes' or 'No', default is '%s'\n", flag.name, "Yes");
  return false;
}

bool filescan_probe::test() {
  return !is_empty(text_or_null(path_)) && !is_empty(text_or_null(filter_));
}

int filescan_probe::scan(FILE* out) const {
  return get_filescan_info(out, text_or_null(path_), text_or_null(filter_), text_or_null(ignore_),
                           text_or_null(mask_), text_or_null(check_), text_or_null(version_), date_,
                           size_);
}

bool filescan_probe::run(FILE* fp) {
  if (get_setting(setting_stdout_output) != 0) return scan(fp) != 0;
  const format_switch separate(OUTPUT_XML_LOWERCASE);
  return run_into_file();
}

bool filescan_probe::run_into_file() {
  temporary_file temporary;
  FILE* out =
      open_xml_file(temporary, format_text("fscn%x.tmp", static_cast<unsigned>(getpid())).c_str());
  if (out == nullptr) {
    status_fail_text = "Cannot create temporary file";
    return false;
  }
  get_vpd(out);
  scan(out);
  if (close_xml_file(out)) {
    return store_or_save_file(temporary, item_filescan, &status_ok_text, &status_fail_text, "XML",
                              "FILESCAN");
  }
  const int reason = errno;
  report_file_error(name, reason);
  fail_run();
  status_fail_text = keep_text(strerror(reason));
  return false;
}

}  // namespace kestrel
