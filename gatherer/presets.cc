// Each preset as what it sets. Some reach into the registry of tasks, which reads the settings:
// what the registry needs stands in settings.h.
#include "gatherer/presets.h"

#include "gatherer/probe.h"
#include "gatherer/settings.h"
#include "gatherer/task.h"
#include "gatherer/version.h"
#include "lib/mbcs.h"
#include "lib/table.h"

namespace kestrel {
namespace {

struct default_setting {
  int index;
  int value;
};
constexpr default_setting k_defaults[] = {
    {setting_batch,             0  },
    {setting_silent,            0  },
    {setting_event_log_limit,   500},
    {setting_step,              0  },
    {setting_debug,             0  },
    {setting_detail_level,      5  },
    {setting_customers,         1  },
    {setting_gather_file,       1  },
    {setting_use_task_list,     0  },
    {setting_keep_output_files, 0  },
    {setting_return_code,       0  },
    {setting_stdout_output,     0  },
    {setting_vpd_mode,          0  },
    {setting_file_option_given, 0  },
    {setting_debug_stream,      0  },
    {setting_run_mode,          0  },
    {setting_count,             0  },
};

// The tasks that exist for the TALV flavour alone; its run consists of them.
const wchar_t* talv_tasks[] = {L"Time Zone Info", L"SMBIOS INFO", L"List Probes", nullptr};

void turn_on(setting index) { gatherer_setting(index, setting_on, 0); }

void turn_off(setting index) { gatherer_setting(index, setting_off, 0); }

void set(setting index, int value) { gatherer_setting(index, setting_set, value); }

void configure_driver_task(const char* task_name) {
  if (task* unit = task::get_task(task_name)) {
    unit->set_parameter("driver_reference", k_driver_reference);
  }
  turn_on(setting_use_task_list);
}

}  // namespace

void gatherer_default_configuration() {
  for (const default_setting* row = k_defaults; row->index != setting_count; ++row) {
    gatherer_setting(row->index, setting_set, row->value);
  }
  Table::set_output_format(OUTPUT_KSML);
  gatherer_filename(filename_template, setting_set, "@V-@M-@S");
  gatherer_filename(filename_extension, setting_set, ".KS2");
}

void demo_configuration() { set(setting_customers, 0xC0); }

void enterprise_configuration() {}

void premium_configuration() {
  set(setting_customers, 0xC0);
  turn_on(setting_batch);
}

void wren_configuration() {
  set(setting_customers, 0x40);
  turn_on(setting_batch);
}

void plove_configuration() {
  turn_on(setting_batch);
  gatherer_filename(filename_template, setting_set, "@D\\PCDCHECK");
}

void text_configuration() {
  Table::set_output_format(OUTPUT_TEXT);
  gatherer_filename(filename_extension, setting_set, ".GTH");
}

void xml_configuration() { Table::set_output_format(OUTPUT_XML); }

void backdoor_configuration() { turn_on(setting_keep_output_files); }

void qxr_configuration() {
  set_subversion("QXR");
  set(setting_customers, 2);
  turn_on(setting_batch);
  Table::set_output_format(OUTPUT_XML);
}

void talv_configuration() {
  set_subversion("TALV");
  set(setting_customers, 0x10);
  set(setting_detail_level, 6);
  turn_on(setting_batch);
  turn_on(setting_silent);
  turn_off(setting_gather_file);
  turn_on(setting_use_task_list);
  turn_on(setting_stdout_output);
  Table::set_output_format(OUTPUT_TALV);
  gatherer_task_list.tasks = talv_tasks;
  gatherer_task_list.init = true;
  gatherer_task_list.cleanup = true;
}

void moorings_configuration() {
  set_subversion("Moorings");
  html_configuration();
}

void html_configuration() {
  turn_off(setting_gather_file);
  Table::set_output_format(OUTPUT_HTML);
}

void probelist_configuration(int argc, const wchar_t** argv, int* index, bool enable) {
  while (*index + 1 < argc && argv[*index + 1][0] != L'-') {
    probe_task::set_probe_status(wide_to_mbcs(argv[++*index]).c_str(), enable);
  }
}

void vpd_configuration() { turn_on(setting_vpd_mode); }

void install_driver_configuration() {
  configure_driver_task("INSTALL_DRIVER");
  gatherer_task_list.install = true;
}

void uninstall_driver_configuration() {
  configure_driver_task("REMOVE_DRIVER");
  gatherer_task_list.uninstall = true;
}

void debug_configuration(bool stream) {
  turn_on(setting_debug);
  set(setting_debug_stream, stream);
}

}  // namespace kestrel
