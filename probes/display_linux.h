// The mode of the display that this process was started on.
#pragma once

#include <optional>
#include <string_view>

#include "gatherer/probe.h"

namespace kestrel {

struct display_mode {
  int width = 0, height = 0;  ///< pixels
  int frequency = 0;          ///< in Hz
  int depth = 0;              ///< bits a pixel
};
/// Takes a line without its newline: four numbers, as in the record.
std::optional<display_mode> parse_display_line(std::string_view line);

class display_probe : public probe {
 public:
  using probe::probe;

  /// True on a display.
  bool test() override;
  bool run(FILE* fp) override;
};

}  // namespace kestrel
