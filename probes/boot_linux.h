// How the machine boots: the boot loader's menu, the files of /boot, the kernel's command line and
// the services that start in each runlevel.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "gatherer/probe.h"
#include "lib/record_members.h"

namespace kestrel {

/// One entry of the boot loader's menu.
struct grub_entry {
  fitted_text<128> title;  ///< of a whole one "Unnamed Entry" when it has none
  fitted_text<16> root;
  fitted_text<128> kernel;   ///< path of the image
  fitted_text<128> options;  ///< the kernel's, separated as in the file
  fitted_text<80> initrd;
  bool chain_loaded = false;
};

/// Puts the entries together, a line at a time.
class grub_entries {
 public:
  /// Takes a trimmed line; an entry when the line shows that it is whole. The last one of a menu
  /// stays here unless a "boot" or "chainloader" line ends it.
  std::optional<grub_entry> take(std::string_view line);

 private:
  void collect(std::string_view line);

  grub_entry held_;
};

/// An option of the whole menu.
struct grub_option {
  const char* keyword;
  const char* label;  ///< what the report calls it
  fitted_text<128> value;
};
/// Takes a trimmed line. Nothing for a line without an option that is reported.
std::optional<grub_option> parse_grub_option(std::string_view line);

/// A word of the kernel's command line, cut to 256 bytes.
struct kernel_option {
  std::string option;
  std::optional<std::string> value;  ///< what follows the first '=', if there is one
};
/// The words of a line like that of /proc/cmdline (bootparam(7)), separated by white space.
std::vector<kernel_option> parse_kernel_command_line(std::string_view line);

/// Writes the tables of the menu's entries and options; no rows when the file cannot be read.
void write_grub_configuration(FILE* fp, const char* path);
/// Writes the table of the kernel's options; `path` is /proc/cmdline.
void write_kernel_command_line(FILE* fp, const char* path);

/// The boot loader's menu, of the first menu file that can be read.
class grub_probe : public probe {
 public:
  using probe::probe;
  /// True where there is such a file; looked for once a run.
  bool test() override;
  /// Always true, as for the two below; what cannot be read gives no rows.
  bool run(FILE* fp) override;

 private:
  std::optional<const char*> path_;  // null when there is no such file
};

/// The files of /boot and the command line of the running kernel.
class boot_probe : public probe {
 public:
  using probe::probe;
  /// True where /boot or /proc/cmdline can be read; a plain file is asked to be executable on
  /// purpose.
  bool test() override;
  bool run(FILE* fp) override;
};

/// The scripts of /etc/init.d and the runlevels in which they start.
class rcd_probe : public probe {
 public:
  using probe::probe;
  bool run(FILE* fp) override;
};

}  // namespace kestrel
