// The packet filter's built-in chains, as `iptables -L` lists them: the command is run, its lines
// are cut into records.
#pragma once

#include <cstdio>
#include <string>
#include <string_view>

#include "lib/record_members.h"

namespace kestrel {

/// One line of `iptables -L CHAIN -n -v --line-numbers`.
struct iptables_rule {
  int number = 0;
  int packets = 0;  ///< the leading number only: "12K" is 12
  int bytes = 0;
  kept_text<31> target;  ///< empty for a rule without one
  kept_text<31> protocol;
  kept_text<31> options;
  kept_text<31> input_interface;
  kept_text<31> output_interface;
  kept_text<63> source;
  kept_text<63> destination;
  kept_text<127> filter;  ///< the rest of the line
};

/// Cuts a line into its fields, which blanks and tabs separate. What is missing stays empty or 0.
iptables_rule parse_iptables_rule(std::string_view line);

/// Whether `iptables` answers at all: only a non-zero exit of its own says no.
bool has_iptables();

/// Writes one table a chain; only the first one's has rows.
void write_iptables_chains(FILE* fp);

}  // namespace kestrel
