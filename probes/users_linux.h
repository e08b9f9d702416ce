// The user accounts and the groups, from the machine's own files.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "gatherer/probe.h"
#include "lib/record_members.h"

namespace kestrel {

/// An account of passwd(5).
struct account {
  kept_text<31> name;
  int64_t id = 0;  ///< 32 bits at most
  kept_text<63> home;
  kept_text<15> shell;
};
/// Takes a line of /etc/passwd without its newline; missing fields are empty. Nothing for an empty
/// line.
std::optional<account> parse_passwd_line(std::string_view line);

/// A group of group(5).
struct user_group {
  kept_text<31> name;
  int64_t id = 0;        ///< 32 bits at most
  kept_text<255> users;  ///< the list as it stands
};
/// The same for a line of /etc/group.
std::optional<user_group> parse_group_line(std::string_view line);

/// Writes one table each from `in`, which is read to its end; null for none.
void write_accounts(FILE* fp, FILE* in);
void write_groups(FILE* fp, FILE* in);

/// The tables of /etc/passwd and /etc/group.
class passwd_probe : public probe {
 public:
  using probe::probe;
  /// True where the accounts can be read; `run` is always true.
  bool test() override;
  bool run(FILE* fp) override;
};

}  // namespace kestrel
