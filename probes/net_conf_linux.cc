// See net_conf_linux.h. Words end at white space; blanks and tabs separate them.
#include "probes/net_conf_linux.h"

#include <cerrno>
#include <utility>

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

constexpr size_t k_longest_name = 128;

struct host_name {
  std::string ip, name;
};
constexpr cell_of<host_name> k_hosts_cells[] = {
    {"IP",       show<&host_name::ip>.wide(64)   },
    {"Hostname", show<&host_name::name>.wide(128)},
};

constexpr cell_of<resolver_option> k_resolver_cells[] = {
    {"Option", show<&resolver_option::option>.wide(64)},
    {"Value",  show<&resolver_option::value>.wide(128)},
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

// Text as the report can show it: up to a NUL, without white space at its ends.
std::string_view clean(std::string_view line) {
  return trim_whitespace(line.substr(0, line.find('\0')));
}

bool is_space(char c) { return k_white_space.find(c) != std::string_view::npos; }

// The next word, at most `limit` characters of it, and the blanks behind it. White space before it
// is skipped, so every call shortens the text.
std::string take_word(std::string_view& text, size_t limit) {
  size_t start = 0;
  while (start < text.size() && is_space(text[start])) ++start;
  size_t end = start;
  while (end < text.size() && end - start < limit && !is_space(text[end])) ++end;
  std::string word(text.substr(start, end - start));
  text = skip_blanks(text.substr(end));
  return word;
}

std::vector<std::string> take_words(std::string_view text) {
  std::vector<std::string> words;
  while (!text.empty() && text.front() != '#') words.push_back(take_word(text, k_longest_name));
  return words;
}

}  // namespace

host_entry parse_hosts_line(std::string_view line) {
  std::string_view text = clean(line);
  host_entry entry;
  entry.ip = take_word(text, 63);
  printd("hosts: %s has hosts: %s\n", entry.ip.c_str(), std::string(text).c_str());
  entry.names = take_words(text);
  return entry;
}

std::vector<resolver_option> parse_resolver_line(std::string_view line) {
  std::string_view text = clean(line);
  std::vector<resolver_option> options;
  for (const resolver_keyword& keyword : k_resolver_keywords) {
    if (!text.starts_with(keyword.word)) continue;
    std::string_view values = skip_blanks(text.substr(keyword.word.size()));
    printd("resolv: %s %s\n", std::string(keyword.word).c_str(), std::string(values).c_str());
    for (std::string& value : take_words(values)) {
      options.push_back({keyword.option, std::move(value)});
    }
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
    host_entry entry = parse_hosts_line(line);
    for (const std::string& name : entry.names) {
      table.add(name, {entry.ip, name});
    }
  });
  running.finish(k_table, table.rows());
}

void write_resolver(FILE* fp) {
  record_table table(fp, "Resolver Configuration", k_resolver_cells);
  file_ptr in = open_regular_file(k_resolver_file);
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
