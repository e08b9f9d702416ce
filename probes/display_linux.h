// The mode of the display that this process was started on.
#pragma once

#include <optional>
#include <string_view>

#include "gatherer/probe.h"

namespace kestrel {

/// How the display works now.
struct display_mode {
  int width = 0, height = 0;  ///< pixels
  int frequency = 0;          ///< in Hz
  int depth = 0;              ///< bits a pixel
};
/// Takes a line without its newline: four numbers, as in the record.
std::optional<display_mode> parse_display_line(std::string_view line);

/// The table of the display's mode, one row.
class display_probe : public probe {
 public:
  using probe::probe;

  /// True where DISPLAY is set.
  bool test() override;
  /// Always true; no rows where xrandr and xdpyinfo tell no mode.
  bool run(FILE* fp) override;
};

}  // namespace kestrel
