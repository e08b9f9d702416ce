// The settings and file names of the run, and the customer flavour: what the configuration and the
// command line decide and all other code reads.
#pragma once

namespace kestrel {

/// Indices of the settings store.
enum setting : int {
  setting_batch = 0,               ///< no consent prompt
  setting_silent = 1,              ///< nothing on the console at all
  setting_event_log_limit = 2,     ///< newest event log entries to keep, 0 = all
  setting_step = 3,                ///< ask before every probe
  setting_debug = 4,               ///< debug log on
  setting_detail_level = 5,        ///< 0 to 6
  setting_customers = 6,           ///< customer mask
  setting_gather_file = 7,         ///< pack everything into the gather file
  setting_use_task_list = 8,       ///< run gatherer_task_list instead of the whole registry
  setting_keep_output_files = 10,  ///< keep stand-alone files although they were stored
  setting_return_code = 11,        ///< exit status of the run
  setting_stdout_output = 13,      ///< report goes to standard output
  setting_vpd_mode = 14,           ///< "vpd" was given; nothing reads it
  setting_file_option_given = 15,  ///< a file was given as "zyr/kestrel2"; nothing reads it
  setting_debug_stream = 16,       ///< debug log kept open as one stream
  setting_run_mode = 17,           ///< 0 gather, 1 list probes, 2 help
  setting_count = 18,
};

/// Store 1, store 0, store the value given, or store nothing.
enum setting_mode { setting_on = 0, setting_off = 1, setting_set = 2, setting_get = 3 };

/// Applies `mode` to the setting and returns the value it had before.
int gatherer_setting(int index, setting_mode mode, int value);
/// The setting's value.
inline int get_setting(setting index) { return gatherer_setting(index, setting_get, 0); }

/// Slots of the file-name store.
enum filename_setting {
  filename_template = 0,   ///< template of report and gather file names
  filename_extension = 1,  ///< extension of the gather file
  filename_save_path = 2,  ///< folder of the program file
};

/// setting_off stores null, setting_on and setting_set store `value` (not copied, never freed),
/// setting_get stores nothing. Returns the slot's value after the call.
const char* gatherer_filename(filename_setting slot, setting_mode mode, const char* value);
/// The slot's value, null when it has none.
inline const char* get_filename(filename_setting slot) {
  return gatherer_filename(slot, setting_get, nullptr);
}

/// Marks the run as failed: it will end with return code 1.
void fail_run();

/// Name of the customer flavour, "" for none; a literal.
const char* get_subversion();
/// For the presets of flavours: without one no program calls it.
void set_subversion(const char* name);

}  // namespace kestrel
