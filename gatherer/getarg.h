// The command line. No mistake in it stops the program: it is told, and the run goes on with what
// was understood. Properties (properties.h) reach the same settings by the same keywords.
#pragma once

namespace kestrel {

/// Reads all words but the first, the program's name. What a setting keeps of them is copied.
void gatherer_args(int argc, const wchar_t** argv);
void gatherer_parse_command_line(int argc, const wchar_t** argv);
/// One keyword (without its '-') of the table that the command line and properties share; `value`
/// may be null.
void gatherer_parse_common(const wchar_t* keyword, const wchar_t* value);
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
/// A list of one of the kinds in probe_task::list_kind, its pieces separated by ";": reads the
/// words behind argv[*index] that are no options, and leaves the index on the last one.
void set_probe_list(int kind, int argc, const wchar_t** argv, int* index);
/// Make the run one of the install or uninstall tasks. The next word, when it is no option, names
/// the driver instead of k_driver_reference.
void install_driver(int argc, const wchar_t** argv, int* index);
void remove_driver(int argc, const wchar_t** argv, int* index);

}  // namespace kestrel
