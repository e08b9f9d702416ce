// The host table (/etc/hosts) and the resolver's configuration (/etc/resolv.conf), a row a name or
// server.
#pragma once

#include <cstdio>
#include <string_view>
#include <vector>

#include "lib/record_members.h"

namespace kestrel {

/// The name of a host or domain. A longer one goes on as the next.
using configured_name = fitted_text<128>;

/// A row of the host table: an address and one of the names that it has.
struct host_entry {
  kept_text<63> ip;
  configured_name name;
};
/// Takes a line without its newline: a row a name. A name that begins with '#' ends the line.
std::vector<host_entry> parse_hosts_line(std::string_view line);

/// A row of the resolver's table.
struct resolver_option {
  const char* option;  ///< what the report calls it
  configured_name value;
};
/// Takes a line without its newline: a row a domain or server; other keywords give none.
std::vector<resolver_option> parse_resolver_line(std::string_view line);

/// Writes the table of the host names; no rows when the file cannot be read.
void write_hosts(FILE* fp);
/// Writes the table of the resolver's options; no rows when the file cannot be read.
void write_resolver(FILE* fp);

}  // namespace kestrel
