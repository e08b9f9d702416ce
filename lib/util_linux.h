// What the operating system says about this process and its user.
#pragma once

#include <cstddef>
#include <string>

namespace kestrel {

/// Path of the running program (/proc/self/exe), cut to the buffer. False, and "", when it cannot
/// be told.
bool get_program_filename(char* buffer, size_t size);
/// Login name of the real user id ("" when it has none); `get_user_name` is the same for the
/// report ("Unknown" when it has none).
std::string get_current_user();
std::string get_user_name();
/// The user's desktop folder: $HOME/Desktop, "" without HOME.
std::string get_user_desktop();
/// The workstation's domain ("" when it has none).
std::string get_ws_domain();
int get_process_id();
/// TMPDIR or /tmp, looked up once.
const char* get_temp_dir();
/// The current folder, "" when it cannot be told.
std::string GetCurrentDir();
void MilliPause(unsigned milliseconds);

/// How the nodes of a driver are told apart.
enum class device_numbering {
  numbered,  ///< 0, 1, 2 ...
  lettered,  ///< a to z, aa to zz, "NA" above 701
};
/// Writes a device node's name into `buffer`, cut to `size`, and returns it:
/// prefix, base, index text, suffix ("/dev/", "sd", 3, "" is /dev/sdd when lettered).
char* make_device_name(char* buffer, size_t size, const char* prefix, const char* base,
                       const char* suffix, unsigned index, device_numbering mode);

}  // namespace kestrel
