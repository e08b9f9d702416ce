// Lines of the files and commands that tell about the running system; the first byte selects the
// parser.
#include <cstdint>
#include <cstdlib>

#include "probes/display_linux.h"
#include "probes/fs_partitions_linux.h"
#include "probes/memory_linux.h"
#include "probes/ps_probe.h"
#include "probes/regional_linux.h"
#include "probes/resources_linux.h"
#include "probes/schedule_linux.h"
#include "probes/users_linux.h"

using namespace kestrel;

static void expect(bool holds) {
  if (!holds) abort();
}

static void (*const k_parsers[])(std::string_view) = {
    [](std::string_view line) {
      memory_handle_struct info;
      parse_meminfo(line, info);
      expect(mem_get_memory_load(info) == 0 || info.total >= 100);
    },
    [](std::string_view line) {
      const auto found = parse_dma_line(line);
      expect(!found || (!found->name.empty() && found->name.size() <= 63));
    },
    [](std::string_view line) {
      const auto found = parse_range_line(line);
      expect(!found || (found->range.size() <= 63 && found->description.size() <= 63));
    },
    [](std::string_view line) {
      const auto found = parse_interrupt_line(line, line.size() % 40);
      expect(!found || (found->type.size() <= 31 && found->device.size() <= 63));
    },
    [](std::string_view line) {
      const auto found = parse_partition_line(line);
      expect(!found || (!found->name.empty() && found->name.size() <= 63));
    },
    [](std::string_view line) {
      partition details;
      parse_superblock_line(line, details);
      expect(details.features.size() <= 128 && details.state.size() <= 16);
    },
    [](std::string_view line) {
      for (const char* key : {"LANG", "export LANG"}) {
        const auto value = parse_rcfile_line(line, key, 32);
        expect(!value || (!value->empty() && value->size() <= 31));
      }
    },
    [](std::string_view line) {
      const auto found = parse_passwd_line(line);
      expect(!found || (found->name.size() <= 31 && found->home.size() <= 63));
    },
    [](std::string_view line) {
      const auto found = parse_group_line(line);
      expect(!found || found->users.size() <= 255);
    },
    [](std::string_view line) {
      const auto found = parse_crontab_line(line);
      expect(!found || (!found->minute.empty() && found->command.size() <= 127));
    },
    [](std::string_view line) {
      const auto found = parse_ps_line(line);
      expect(!found || (!found->name.empty() && !found->user.empty() && !found->state.empty()));
    },
    [](std::string_view line) { parse_display_line(line); },
};

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  k_parsers[data[0] % std::size(k_parsers)]({reinterpret_cast<const char*>(data) + 1, size - 1});
  return 0;
}
