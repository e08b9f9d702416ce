// Runs xrandr and xdpyinfo on the display of the environment and reads their answer, one line of
// four numbers: width, height, frequency and depth.
#include "probes/display_linux.h"

#include <cerrno>
#include <cstdlib>
#include <string>

#include "lib/command.h"
#include "lib/debug.h"
#include "lib/getline.h"
#include "lib/table_rows.h"
#include "lib/utilstr.h"

namespace kestrel {
namespace {

// Made for an xrandr that numbers its modes; what later ones print gives no row.
constexpr const char* k_mode_command =
    R"sh(xrandr 2>/dev/null | grep '*' | awk '{print $2" "$4" "$10}' | tr -d '*\n';)sh"
    R"sh(echo -n " ";)sh"
    R"sh(xdpyinfo 2>/dev/null | grep 'depth of root window' | egrep -o '[0-9]+')sh";

constexpr cell_of<display_mode> k_display_cells[] = {
    {"Horizontal Resolution", show<&display_mode::width>    },
    {"Vertical Resolution",   show<&display_mode::height>   },
    {"Bits Per Pixel",        show<&display_mode::depth>    },
    {"Frequency",             show<&display_mode::frequency>},
};

constexpr const char* k_table = "Display Settings";
constexpr int k_patience = 30;  // seconds, for an X server that does not answer
constexpr const char* k_display = "DISPLAY";

}  // namespace

std::optional<display_mode> parse_display_line(std::string_view line) {
  display_mode mode;
  for (int* number : {&mode.width, &mode.height, &mode.frequency, &mode.depth}) {
    int64_t value = 0;
    if (!scan_integer(line, value)) return {};
    *number = to_int(value);
  }
  return mode;
}

bool display_probe::test() { return std::getenv(k_display) != nullptr; }

bool display_probe::run(FILE* fp) {
  record_table table(fp, k_table, k_display_cells);
  command_stream running(k_mode_command, k_patience);
  if (!running.is_open()) {
    print_error("display: popen", errno);
    return true;
  }
  const char* display = std::getenv(k_display);
  add_lines(table, running.stream(), "display", parse_display_line,
            [display](const display_mode&) { return std::string(display); });
  running.finish(k_table, table.rows());
  return true;
}

}  // namespace kestrel
