// Boot loader menus, kernel command lines, package and module records, lines of /proc/modules; the
// first byte selects the parser.
#include <cstdint>
#include <cstdlib>

#include "lib/utilstr.h"
#include "probes/boot_linux.h"
#include "probes/deb_software.h"
#include "probes/modules_linux.h"
#include "probes/rpm_software.h"

using namespace kestrel;

static void expect(bool good) {
  if (!good) abort();
}

static void read_menu(std::string_view text) {
  grub_entries entries;
  while (!text.empty()) {
    const std::string_view line = trim_whitespace(next_field(text, '\n'));
    const auto entry = entries.take(line);
    expect(!entry || (entry->title.size() <= 128 && entry->root.size() <= 16));
    expect(!entry || (entry->kernel.size() <= 128 && entry->options.size() <= 128));
    const auto option = parse_grub_option(line);
    expect(!option || option->value.size() <= 128);
  }
}

template <class Record>
static void read_records(std::string_view text, const record_format<Record>& format) {
  record_lines<Record> lines(format);
  while (!text.empty()) lines.take(next_field(text, '\n'));
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  const std::string_view text(reinterpret_cast<const char*>(data) + 1, size - 1);
  const size_t selected = data[0] % 6;
  if (selected == 0) read_records(text, k_rpm_records);
  if (selected == 1) read_records(text, k_deb_records);
  if (selected == 2) read_records(text, k_module_records);
  if (selected == 3) read_menu(text);
  if (selected == 4) {
    for (const kernel_option& word : parse_kernel_command_line(text)) {
      expect(word.option.size() <= 256);
    }
  }
  if (selected == 5) {
    const auto module = parse_loaded_module(text);
    expect(!module || (!module->name.empty() && module->name.size() <= 31));
  }
  return 0;
}
