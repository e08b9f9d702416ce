// The accounts of /etc/passwd and the groups of /etc/group: lines of fields parted by colons.
#include "probes/users_linux.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>

#include "lib/debug.h"
#include "lib/file.h"
#include "lib/table_rows.h"
#include "lib/utilstr.h"

namespace kestrel {
namespace {

constexpr const char* k_passwd_file = "/etc/passwd";
constexpr const char* k_group_file = "/etc/group";

constexpr cell_of<account> k_account_cells[] = {
    {"Username",       show<&account::name> },
    {"User ID",        show<&account::id>   },
    {"Home Directory", show<&account::home> },
    {"Shell",          show<&account::shell>},
};

constexpr cell_of<user_group> k_group_cells[] = {
    {"Group name", show<&user_group::name> },
    {"Group ID",   show<&user_group::id>   },
    {"Users",      show<&user_group::users>},
};

using fields = std::array<kept_text<255>, 7>;

// The line's fields, empty where it has none; nothing for an empty line.
std::optional<fields> split_fields(std::string_view line) {
  std::string_view text = trim_whitespace(line);
  if (text.empty()) return {};
  fields found;
  for (auto& field : found) field = next_field(text, ':');
  return found;
}

int64_t id_in(std::string_view field) {
  int64_t number = 0;
  scan_decimal(field, number);
  return std::min<int64_t>(number, UINT_MAX);
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
  return account{name, id_in(id), home, shell};
}

std::optional<user_group> parse_group_line(std::string_view line) {
  const std::optional<fields> found = split_fields(line);
  if (!found) return {};
  const fields& field = *found;
  return user_group{field[0], id_in(field[2]), field[3]};
}

void write_accounts(FILE* fp, FILE* in) {
  record_table table(fp, "User Accounts", k_account_cells);
  const auto parse = [](std::string_view line) {
    printd("passwd: scanning %s\n", line.data());
    std::optional<account> found = parse_passwd_line(line);
    if (found) {
      printd("passwd: got %s %i %s %s\n", found->name.c_str(), to_int(found->id),
             found->home.c_str(), found->shell.c_str());
    }
    return found;
  };
  add_lines(table, in, "passwd", parse, &account::name);
}

void write_groups(FILE* fp, FILE* in) {
  record_table table(fp, "Groups", k_group_cells);
  const auto parse = [](std::string_view line) {
    printd("group: scanning %s\n", line.data());
    std::optional<user_group> found = parse_group_line(line);
    if (found) {
      printd("group: got %s %i %s %s\n", found->name.c_str(), to_int(found->id),
             found->users.c_str(), "");
    }
    return found;
  };
  add_lines(table, in, "group", parse, &user_group::name);
}

bool passwd_probe::test() { return is_accessible(k_passwd_file, R_OK); }

bool passwd_probe::run(FILE* fp) {
  write_accounts(fp, open_list(k_passwd_file, "passwd: fopen").get());
  write_groups(fp, open_list(k_group_file, "group: fopen").get());
  return true;
}

}  // namespace kestrel
