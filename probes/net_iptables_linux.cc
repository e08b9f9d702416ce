// See net_iptables_linux.h.
#include "probes/net_iptables_linux.h"

#include <cerrno>
#include <csignal>
#include <cstdint>

#include "lib/command.h"
#include "lib/debug.h"
#include "lib/getline.h"
#include "lib/table.h"
#include "lib/utilstr.h"

namespace kestrel {
namespace {

constexpr const char* k_chains[] = {"INPUT", "FORWARD", "OUTPUT"};

constexpr column k_rule_columns[] = {
    {"Rule Order",       DT_INTEGER, 0  },
    {"No. Packets",      DT_INTEGER, 0  },
    {"No. Bytes",        DT_INTEGER, 0  },
    {"Target",           DT_STRING,  32 },
    {"Protocol",         DT_STRING,  32 },
    {"Options",          DT_STRING,  32 },
    {"Input Interface",  DT_STRING,  32 },
    {"Output Interface", DT_STRING,  32 },
    {"Source",           DT_STRING,  64 },
    {"Destination",      DT_STRING,  64 },
    {"Filter",           DT_STRING,  128},
};

// The listing that only tests for iptables looks every address up, so it must not take long.
constexpr int k_test_seconds = 10;
// The others look nothing up; one that hangs must not hold the run three times over.
constexpr int k_chain_seconds = 60;
// How the shell reports a command that SIGPIPE ended.
constexpr int k_sigpipe_exit = 128 + SIGPIPE;

constexpr size_t k_longest_field = 255;
constexpr size_t k_short_text = 31;
constexpr size_t k_address_text = 63;
constexpr size_t k_filter_text = 127;
// The column of the target is this wide: as many blanks in its place mean that there is none.
constexpr size_t k_empty_target = 10;

constexpr std::string_view k_blanks = " \t";

// The run of characters that are not blank, at most k_longest_field of them.
std::string_view take_run(std::string_view& text) {
  std::string_view run = text.substr(0, text.find_first_of(k_blanks)).substr(0, k_longest_field);
  text.remove_prefix(run.size());
  return run;
}

std::string_view take_field(std::string_view& text) {
  text = skip_blanks(text);
  return take_run(text);
}

int number_in(std::string_view field) {
  int64_t number = 0;
  scan_integer(field, number);
  return to_int(number);
}

bool starts_without_target(std::string_view text) {
  return text.size() - skip_blanks(text).size() >= k_empty_target;
}

bool is_listing(std::string_view line) { return line.substr(0, 6) == "Chain "; }

bool discard_line(FILE* in, std::string& line) {
  errno = 0;
  if (read_line(in, line)) return true;
  print_error("iptables: getline", errno);
  return false;
}

void write_rule(Table& table, const char* chain, const iptables_rule& rule) {
  table.start_row(cut(format_text("%s%i", chain, rule.number), k_short_text).c_str());
  for (int number : {rule.number, rule.packets, rule.bytes}) table.log_data(number);
  for (const std::string* text :
       {&rule.target, &rule.protocol, &rule.options, &rule.input_interface, &rule.output_interface,
        &rule.source, &rule.destination, &rule.filter}) {
    table.log_data(*text);
  }
  table.end_row();
}

void write_chain(FILE* fp, const char* chain, int& status) {
  printd("iptables: Looking at chain %s\n", chain);
  const std::string title = format_text("iptables %s Chain", chain);
  Table table(fp, title.c_str());
  table.declare(k_rule_columns);
  std::string command = format_text("iptables -L %s -n -v --line-numbers", chain);
  printd("iptables: '%s'\n", command.c_str());
  command_stream running(command.c_str(), k_chain_seconds);
  if (!running.is_open()) {
    print_error("iptables: popen", errno);
    status = -1;
    return;
  }
  std::string line;
  for (int heading = 0; heading < 2; ++heading) {
    if (!discard_line(running.stream(), line)) status = -1;
  }
  if (status == 0) {
    for_each_line(running.stream(), "iptables", [&](const std::string& text) {
      write_rule(table, chain, parse_iptables_rule(text));
    });
  }
  running.finish(title, table.rows());
  status = -1;
}

}  // namespace

iptables_rule parse_iptables_rule(std::string_view line) {
  iptables_rule rule;
  rule.number = number_in(take_run(line));
  rule.packets = number_in(take_field(line));
  rule.bytes = number_in(take_field(line));
  if (!starts_without_target(line)) rule.target = cut(take_field(line), k_short_text);
  for (std::string* text :
       {&rule.protocol, &rule.options, &rule.input_interface, &rule.output_interface}) {
    *text = cut(take_field(line), k_short_text);
  }
  rule.source = cut(take_field(line), k_address_text);
  rule.destination = cut(take_field(line), k_address_text);
  rule.filter = cut(skip_blanks(line), k_filter_text);
  return rule;
}

bool has_iptables() {
  command_stream running("iptables -L 2>&1", k_test_seconds);
  command_result result;
  if (running.is_open()) {
    std::string line;
    bool answered = read_line(running.stream(), line);
    printd("iptables: getline, rc = %d\n",
           answered ? to_int(static_cast<int64_t>(line.size())) : -1);
    // An error message is read to its end: closing early would hide the status that follows it.
    while (answered && !is_listing(line) && read_line(running.stream(), line)) continue;
    result = running.close();
  } else {
    print_error("iptables: popen", errno);
    result.status = 0;
  }
  printd("iptables: which iptables - %i\n", result.status);
  bool failed = result.exited && result.exit_code != 0 && result.exit_code != k_sigpipe_exit;
  if (failed && !result.was_cut()) {
    printd("iptables: error finding iptables\n");
    return false;
  }
  return true;
}

bool write_iptables_chains(FILE* fp) {
  // Never reset, so only the first chain's table has rows, on purpose.
  int status = 0;
  for (const char* chain : k_chains) write_chain(fp, chain, status);
  return status == 0;
}

}  // namespace kestrel
