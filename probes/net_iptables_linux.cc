// Runs `iptables -L`, once to see whether it answers and once a chain, and cuts its lines into
// fields. It lists in columns that blanks fill, and a rule without a target leaves its column
// empty.
#include "probes/net_iptables_linux.h"

#include <cerrno>
#include <csignal>
#include <cstdint>
#include <utility>

#include "lib/command.h"
#include "lib/debug.h"
#include "lib/getline.h"
#include "lib/table_rows.h"
#include "lib/utilstr.h"

namespace kestrel {
namespace {

constexpr const char* k_chains[] = {"INPUT", "FORWARD", "OUTPUT"};

constexpr cell_of<iptables_rule> k_rule_cells[] = {
    {"Rule Order",       show<&iptables_rule::number>          },
    {"No. Packets",      show<&iptables_rule::packets>         },
    {"No. Bytes",        show<&iptables_rule::bytes>           },
    {"Target",           show<&iptables_rule::target>          },
    {"Protocol",         show<&iptables_rule::protocol>        },
    {"Options",          show<&iptables_rule::options>         },
    {"Input Interface",  show<&iptables_rule::input_interface> },
    {"Output Interface", show<&iptables_rule::output_interface>},
    {"Source",           show<&iptables_rule::source>          },
    {"Destination",      show<&iptables_rule::destination>     },
    {"Filter",           show<&iptables_rule::filter>          },
};

// The listing that only tests for iptables looks every address up, so it must not take long.
constexpr int k_test_seconds = 10;
// The others look nothing up; one that hangs must not hold the run three times over.
constexpr int k_chain_seconds = 60;
// How the shell reports a command that SIGPIPE ended.
constexpr int k_sigpipe_exit = 128 + SIGPIPE;

constexpr size_t k_field_limit = 255;
// The column of the target is this wide: as many blanks in its place mean that there is none.
constexpr size_t k_empty_target = 10;

constexpr std::string_view k_blanks = " \t";

// The run of characters that are not blank, at most k_field_limit of them.
std::string_view take_run(std::string_view& text) {
  std::string_view run = text.substr(0, text.find_first_of(k_blanks)).substr(0, k_field_limit);
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

bool discard_line(FILE* in) {
  std::string line;
  errno = 0;
  if (read_line(in, line)) return true;
  print_error("iptables: getline", errno);
  return false;
}

// Skips the chain's line and the column headings, both always; false when one of them is missing.
bool discard_headings(FILE* in) {
  const bool has_title = discard_line(in);
  return discard_line(in) && has_title;
}

void write_chain(FILE* fp, const char* chain, bool has_rows) {
  printd("iptables: Looking at chain %s\n", chain);
  const std::string title = format_text("iptables %s Chain", chain);
  record_table table(fp, title.c_str(), k_rule_cells);
  const std::string command = format_text("iptables -L %s -n -v --line-numbers", chain);
  printd("iptables: '%s'\n", command.c_str());
  command_stream running(command.c_str(), k_chain_seconds);
  if (!running.is_open()) {
    print_error("iptables: popen", errno);
    return;
  }
  if (discard_headings(running.stream()) && has_rows) {
    for_each_line(running.stream(), "iptables", [&](const std::string& text) {
      const iptables_rule rule = parse_iptables_rule(text);
      table.add(format_text("%s%i", chain, rule.number), rule);
    });
  }
  running.finish(title, table.rows());
}

}  // namespace

iptables_rule parse_iptables_rule(std::string_view line) {
  iptables_rule rule;
  rule.number = number_in(take_run(line));
  rule.packets = number_in(take_field(line));
  rule.bytes = number_in(take_field(line));
  if (!starts_without_target(line)) rule.target = take_field(line);
  for (auto* text :
       {&rule.protocol, &rule.options, &rule.input_interface, &rule.output_interface}) {
    *text = take_field(line);
  }
  for (auto* text : {&rule.source, &rule.destination}) *text = take_field(line);
  rule.filter = skip_blanks(line);
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
  const bool failed = result.exited && result.exit_code != 0 && result.exit_code != k_sigpipe_exit;
  if (failed && !result.was_cut()) {
    printd("iptables: error finding iptables\n");
    return false;
  }
  return true;
}

void write_iptables_chains(FILE* fp) {
  // Only the first chain's table has rows, on purpose.
  bool has_rows = true;
  for (const char* chain : k_chains) write_chain(fp, chain, std::exchange(has_rows, false));
}

}  // namespace kestrel
