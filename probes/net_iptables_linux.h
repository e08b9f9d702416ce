// The packet filter's built-in chains, as `iptables -L` lists them.
#pragma once

#include <cstdio>
#include <string>
#include <string_view>

namespace kestrel {

/// One line of `iptables -L CHAIN -n -v --line-numbers`.
struct iptables_rule {
  int number = 0;
  int packets = 0;  ///< the leading number only: "12K" is 12
  int bytes = 0;
  std::string target;  ///< empty for a rule without one
  std::string protocol;
  std::string options;
  std::string input_interface;
  std::string output_interface;
  std::string source;
  std::string destination;
  std::string filter;  ///< the rest of the line
};

/// Cuts a line into its fields, which blanks and tabs separate. What is missing stays empty or 0.
iptables_rule parse_iptables_rule(std::string_view line);

/// Whether `iptables` answers at all: only a non-zero exit of its own says no.
bool has_iptables();

/// Writes one table a chain. True only if no read failed, the normal end of output included.
bool write_iptables_chains(FILE* fp);

}  // namespace kestrel
