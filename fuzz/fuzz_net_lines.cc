// Lines of the packet filter's listing, the host table and the resolver's file; the first byte
// selects the parser.
#include <cstdint>
#include <cstdlib>

#include "probes/net_conf_linux.h"
#include "probes/net_iptables_linux.h"

using namespace kestrel;

static void expect_word(const std::string& word) {
  if (word.empty() || word.size() > 128) abort();
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  std::string_view line(reinterpret_cast<const char*>(data) + 1, size - 1);
  if (data[0] % 3 == 0 && parse_iptables_rule(line).filter.size() > 127) abort();
  if (data[0] % 3 == 1) {
    for (const host_entry& entry : parse_hosts_line(line)) expect_word(entry.name);
  }
  if (data[0] % 3 == 2) {
    for (const resolver_option& option : parse_resolver_line(line)) expect_word(option.value);
  }
  return 0;
}
