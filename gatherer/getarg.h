// The command line, and the properties file that reaches the same settings line by line. No mistake
// in either stops the program: it is told, and the run goes on with what was understood.
#pragma once

namespace kestrel {

/// Reads all words but the first, the program's name. What a setting keeps of them is copied.
void gatherer_args(int argc, const wchar_t** argv);
void gatherer_parse_command_line(int argc, const wchar_t** argv);
/// One keyword (without its '-') of the table that the command line and properties share; `value`
/// may be null.
void gatherer_parse_common(const wchar_t* keyword, const wchar_t* value);
/// Reads "name=value" lines; a file that cannot be opened is logged and nothing else happens.
void gatherer_parse_properties(const wchar_t* path);
/// Property "probe", "skip" or "enable" (lists), "task.parameter", which cuts `name` at the dot, or
/// a keyword as above. `value` is null for a line without '='.
void gatherer_parse_property(wchar_t* name, wchar_t* value);
/// The file "kestrel2.ksp", behind the program's folder and a backslash. The normal start does not
/// call it.
void gatherer_parse_default_properties();

/// Accepts "0" to "6"; anything else is a warning. `value` may be null.
void set_detail_level(const wchar_t* value);
/// Accepts whole seconds, 0 for no limit; anything else is a warning. `value` may be null.
void set_timeout(const wchar_t* value);
/// Copied; null changes nothing.
void set_filename_template(const wchar_t* value);
/// The configurations of the same names in presets.h, as words of the command line reach them.
void enable_html_mode();
void enable_text_mode();
void enable_debug_mode(bool stream);
void enable_backdoor();
/// Lists of the kinds in probe_task::list_kind, separated by ";". Null changes nothing. The second
/// reads the words behind argv[*index] that are no options, and leaves the index on the last one.
void set_probe_list(int kind, const wchar_t* list);
void set_probe_list(int kind, int argc, const wchar_t** argv, int* index);
/// Make the run one of the install or uninstall tasks. The next word, when it is no option, names
/// the driver instead of k_driver_reference.
void install_driver(int argc, const wchar_t** argv, int* index);
void remove_driver(int argc, const wchar_t** argv, int* index);

}  // namespace kestrel
