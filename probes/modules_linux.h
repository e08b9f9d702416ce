// The kernel's modules: every module file of the running kernel, and the modules that are loaded.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "gatherer/probe.h"
#include "lib/record_lines.h"
#include "lib/record_members.h"

namespace kestrel {

/// A module file, with what it tells about itself.
struct kernel_module {
  std::wstring name, path, version, author, license, description, loaded;
};
/// What the script that lists the module files prints.
extern const record_format<kernel_module> k_module_records;

/// A module in use, as /proc/modules lists it.
struct loaded_module {
  kept_text<31> name;
  int size = 0;  ///< in bytes
  int uses = 0;  ///< 0 also where the kernel does not count them
  std::string dependants;
};
/// Takes a line without its newline. Nothing for a module that is not live, and for a line without
/// a name and a size.
std::optional<loaded_module> parse_loaded_module(std::string_view line);

/// The module files, with what each tells about itself. Starts several commands a module.
class modules_probe : public probe {
 public:
  using probe::probe;
  /// Always true; no rows where modinfo is not installed.
  bool run(FILE* fp) override;
};

/// The modules of /proc/modules.
class loaded_modules_probe : public probe {
 public:
  using probe::probe;
  /// Always true; no rows when that cannot be read.
  bool run(FILE* fp) override;
};

}  // namespace kestrel
