// The host table and the resolver's configuration.
#pragma once

#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

namespace kestrel {

/// A line of the host table: one address and the names that it has.
struct host_entry {
  std::string ip;                  ///< at most 63 bytes
  std::vector<std::string> names;  ///< at most 128 bytes each; a longer one goes on in the next
};
/// Takes a line without its newline. A name that begins with '#' ends the line.
host_entry parse_hosts_line(std::string_view line);

/// A row of the resolver's table.
struct resolver_option {
  const char* option;  ///< what the report calls it
  std::string value;   ///< at most 128 bytes
};
/// Takes a line without its newline: a row a domain or server; other keywords give none.
std::vector<resolver_option> parse_resolver_line(std::string_view line);

/// Writes the table of the host names; no rows when the file cannot be read.
void write_hosts(FILE* fp);
/// Writes the table of the resolver's options; no rows when the file cannot be read.
void write_resolver(FILE* fp);

}  // namespace kestrel
