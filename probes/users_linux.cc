// See users_linux.h.
#include "probes/users_linux.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>

#include "lib/debug.h"
#include "lib/file.h"
#include "lib/getline.h"
#include "lib/table.h"
#include "lib/utilstr.h"

namespace kestrel {
namespace {

constexpr const char* k_passwd_file = "/etc/passwd";
constexpr const char* k_group_file = "/etc/group";

constexpr size_t k_longest_name = 31;
constexpr size_t k_longest_home = 63;
constexpr size_t k_longest_shell = 15;
constexpr size_t k_longest_field = 255;

constexpr column k_account_columns[] = {
    {"Username",       DT_STRING,  32},
    {"User ID",        DT_INTEGER, 0 },
    {"Home Directory", DT_STRING,  64},
    {"Shell",          DT_STRING,  16},
};

constexpr column k_group_columns[] = {
    {"Group name", DT_STRING,  32 },
    {"Group ID",   DT_INTEGER, 0  },
    {"Users",      DT_STRING,  256},
};

using fields = std::array<std::string, 7>;

// The line's fields, empty where it has none; nothing for an empty line.
std::optional<fields> split_fields(std::string_view line) {
  std::string_view text = trim_whitespace(line);
  if (text.empty()) return {};
  fields found;
  for (std::string& field : found) field = cut(next_field(text, ':'), k_longest_field);
  return found;
}

int64_t number_of(std::string_view field) {
  int64_t number = 0;
  scan_decimal(field, number);
  return number;
}

file_ptr open_list(const char* path, const char* error) {
  file_ptr in = open_regular_file(path);
  if (in == nullptr) print_error(error, errno);
  return in;
}

}  // namespace

std::optional<account> parse_passwd_line(std::string_view line) {
  const std::optional<fields> found = split_fields(line);
  if (!found) return {};
  const auto& [name, password, id, group, comment, home, shell] = *found;
  return account{cut(name, k_longest_name), number_of(id), cut(home, k_longest_home),
                 cut(shell, k_longest_shell)};
}

std::optional<user_group> parse_group_line(std::string_view line) {
  const std::optional<fields> found = split_fields(line);
  if (!found) return {};
  const fields& field = *found;
  return user_group{cut(field[0], k_longest_name), number_of(field[2]), field[3]};
}

void write_accounts(FILE* fp, FILE* in) {
  Table table(fp, "User Accounts");
  table.declare(k_account_columns);
  if (in == nullptr) return;
  for_each_line(in, "passwd", [&table](const std::string& line) {
    printd("passwd: scanning %s\n", line.c_str());
    const std::optional<account> found = parse_passwd_line(line.c_str());
    if (!found) return;
    printd("passwd: got %s %i %s %s\n", found->name.c_str(), to_int(found->id), found->home.c_str(),
           found->shell.c_str());
    table.start_row(found->name.c_str());
    table.log_data(found->name);
    table.log_count(std::min<int64_t>(found->id, UINT_MAX));
    table.log_data(found->home);
    table.log_data(found->shell);
    table.end_row();
  });
}

void write_groups(FILE* fp, FILE* in) {
  Table table(fp, "Groups");
  table.declare(k_group_columns);
  if (in == nullptr) return;
  for_each_line(in, "group", [&table](const std::string& line) {
    printd("group: scanning %s\n", line.c_str());
    const std::optional<user_group> found = parse_group_line(line.c_str());
    if (!found) return;
    printd("group: got %s %i %s %s\n", found->name.c_str(), to_int(found->id), found->users.c_str(),
           "");
    table.start_row(found->name.c_str());
    table.log_data(found->name);
    table.log_count(std::min<int64_t>(found->id, UINT_MAX));
    table.log_data(found->users);
    table.end_row();
  });
}

bool passwd_probe::test() { return access(k_passwd_file, R_OK) == 0; }

bool passwd_probe::run(FILE* fp) {
  write_accounts(fp, open_list(k_passwd_file, "passwd: fopen").get());
  write_groups(fp, open_list(k_group_file, "group: fopen").get());
  return true;
}

}  // namespace kestrel
