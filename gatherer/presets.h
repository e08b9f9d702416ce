// What a run is configured with as a whole: the default, and on top of it presets, one for each
// customer flavour or option. They write the settings, the file names and the output format; some
// also choose the tasks or probes that run.
#pragma once

namespace kestrel {

/// What every run starts from.
void gatherer_default_configuration();
/// Presets on top of it: they change settings, file names and the output format, and leave the
/// others as they are.
void text_configuration();
void backdoor_configuration();
void html_configuration();
void vpd_configuration();
/// The debug log, a file opened anew for every line or one stream.
void debug_configuration(bool stream);
/// The preset that this program was built for (CMake option KESTREL_FLAVOUR); nothing for
/// "default".
void flavour_configuration();

// The flavours' presets, of which a program calls its own, and the default one none: no program
// calls these where that is built.
void demo_configuration();
void enterprise_configuration();  ///< changes nothing
void premium_configuration();
void wren_configuration();
void plove_configuration();
void xml_configuration();
void qxr_configuration();
void talv_configuration();
void moorings_configuration();
/// Enables or disables the probes that the words behind argv[*index] name, up to the next option.
void probelist_configuration(int argc, const wchar_t** argv, int* index, bool enable);
/// Make the run one of the install or uninstall tasks, with k_driver_reference.
void install_driver_configuration();
void uninstall_driver_configuration();

}  // namespace kestrel
