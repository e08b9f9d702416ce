// A properties file: lines that reach the settings by the keywords of the command line. The
// interface promises it; no program calls it, since the normal start reads no such file.
#pragma once

namespace kestrel {

/// Reads "name=value" lines; a file that cannot be opened is logged and nothing else happens.
void gatherer_parse_properties(const wchar_t* path);
/// Property "probe", "skip" or "enable" (lists), "task.parameter", which cuts `name` at the dot, or
/// a keyword as above. `value` is null for a line without '='.
void gatherer_parse_property(wchar_t* name, wchar_t* value);
/// The file "kestrel2.ksp", behind the program's folder and a backslash. The normal start does not
/// call it.
void gatherer_parse_default_properties();
/// A list of one of the kinds in probe_task::list_kind, separated by ";". Null changes nothing.
void set_probe_list(int kind, const wchar_t* list);

}  // namespace kestrel
