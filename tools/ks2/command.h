// The commands: one row each in the table of command.cc.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "tools/ks2/fault.h"
#include "tools/ks2/input_file.h"

namespace kestrel::ks2 {

/// What the command line asked for, beside the command.
struct arguments {
  std::vector<const char*> operands;
  const char* folder = nullptr;  ///< -d
  const char* output = nullptr;  ///< -o
  std::string_view format = "text";
  bool json = false;
  bool raw = false;
  bool force = false;
  bool all = false;
  bool thorough = false;
  uint64_t max_size = k_default_max_size;
};

struct command {
  const char* name;
  const char* operands;  ///< for the usage line
  const char* options;   ///< accepted short options, as letters
  int least_operands;
  int most_operands;  ///< -1: any number
  const char* summary;
  const char* help;
  /// Returns an exit_status.
  int (*run)(const arguments& given);
};

/// Null for an unknown name.
const command* find_command(std::string_view name);

int run_list(const arguments& given);
int run_extract(const arguments& given);
int run_verify(const arguments& given);
int run_show(const arguments& given);
int run_html(const arguments& given);
int run_stuff(const arguments& given);
int run_unstuff(const arguments& given);

/// The program: returns its exit status.
int ks2_main(int argc, char** argv);

// What commands share.

/// "ks2: PATH: text" on standard error, made safe for a terminal.
void complain(std::string_view path, std::string_view text);
/// Complains about a file that could not be read and returns its status.
int refuse(const input_file& file);
/// Complains about the faults, the first few one by one; returns exit_damaged when there are any.
int warn(const input_file& file, const fault_list& faults);
/// Flushes standard output; complains and returns exit_damaged when it could not be written.
int finish_output(int status);
/// Where a fault is, in words: "item 3, SECTION/TABLE, row 2, offset 1234".
std::string describe_place(const place& where);

}  // namespace kestrel::ks2
