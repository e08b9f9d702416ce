// Reads the host table, through the commands that leave out its comments, and the resolver's file.
// Words end at white space; blanks and tabs separate them. A word that is longer than what is kept
// of it goes on as the next one.
#include "probes/net_conf_linux.h"

#include <algorithm>
#include <cerrno>

#include "lib/command.h"
#include "lib/debug.h"
#include "lib/file.h"
#include "lib/getline.h"
#include "lib/table_rows.h"
#include "lib/utilstr.h"

namespace kestrel {
namespace {

// In the plain locale and as text, grep keeps lines whose bytes decode in no encoding.
constexpr const char* k_hosts_command =
    "export LC_ALL=C; cat /etc/hosts | grep -a -v '^#' | grep -a '.'";
constexpr const char* k_resolver_file = "/etc/resolv.conf";

constexpr cell_of<host_entry> k_hosts_cells[] = {
    {"IP",       show<&host_entry::ip>  },
    {"Hostname", show<&host_entry::name>},
};

constexpr cell_of<resolver_option> k_resolver_cells[] = {
    {"Option", show<&resolver_option::option>.wide(64)},
    {"Value",  show<&resolver_option::value>          },
};

struct resolver_keyword {
  std::string_view word;
  const char* option;
};
// Only the beginning of a line is compared, so longer words match as well.
constexpr resolver_keyword k_resolver_keywords[] = {
    {"search",     "Host-name lookup search domain"},
    {"nameserver", "DNS Name Server"               },
};

// The next word, as much of it as `Word` keeps, and the blanks behind it. White space before it is
// skipped, so every call shortens the text.
template <class Word>
Word take_word(std::string_view& text) {
  constexpr size_t longest = Word::buffer_size - 1;
  text.remove_prefix(std::min(text.find_first_not_of(k_white_space), text.size()));
  const std::string_view word =
      text.substr(0, text.find_first_of(k_white_space)).substr(0, longest);
  text = skip_blanks(text.substr(word.size()));
  return word;
}

std::vector<configured_name> take_names(std::string_view text) {
  std::vector<configured_name> names;
  while (!text.empty() && text.front() != '#') names.push_back(take_word<configured_name>(text));
  return names;
}

}  // namespace

std::vector<host_entry> parse_hosts_line(std::string_view line) {
  std::string_view text = trim_whitespace(line);
  const auto ip = take_word<decltype(host_entry::ip)>(text);
  printd("hosts: %s has hosts: %s\n", ip.c_str(), std::string(text).c_str());
  std::vector<host_entry> entries;
  for (const configured_name& name : take_names(text)) entries.push_back({ip, name});
  return entries;
}

std::vector<resolver_option> parse_resolver_line(std::string_view line) {
  const std::string_view text = trim_whitespace(line);
  std::vector<resolver_option> options;
  for (const auto& [word, option] : k_resolver_keywords) {
    if (!text.starts_with(word)) continue;
    const std::string_view values = skip_blanks(text.substr(word.size()));
    printd("resolv: %s %s\n", std::string(word).c_str(), std::string(values).c_str());
    for (const configured_name& value : take_names(values)) options.push_back({option, value});
  }
  return options;
}

void write_hosts(FILE* fp) {
  constexpr const char* k_table = "Hosts File";
  record_table table(fp, k_table, k_hosts_cells);
  command_stream running(k_hosts_command);
  if (!running.is_open()) {
    print_error("hosts: popen", errno);
    return;
  }
  for_each_line(running.stream(), "hosts", [&](const std::string& line) {
    for (const host_entry& entry : parse_hosts_line(line)) table.add(entry.name, entry);
  });
  running.finish(k_table, table.rows());
}

void write_resolver(FILE* fp) {
  record_table table(fp, "Resolver Configuration", k_resolver_cells);
  const file_ptr in = open_regular_file(k_resolver_file);
  if (in == nullptr) {
    print_error("resolv: fopen", errno);
    return;
  }
  for_each_line(in.get(), "resolv", [&](const std::string& line) {
    for (const resolver_option& option : parse_resolver_line(line)) {
      table.add(option.value, option);
    }
  });
}

}  // namespace kestrel
