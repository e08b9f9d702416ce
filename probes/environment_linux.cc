// Reads `environ` of this process, one entry a row; an entry without "=" is no variable and left
// out.
#include "probes/environment_linux.h"

#include <unistd.h>

#include <cstring>
#include <string>

#include "lib/debug.h"
#include "lib/section.h"
#include "lib/table_rows.h"

namespace kestrel {
namespace {

struct variable {
  std::string name, value;
};

constexpr cell_of<variable> k_variable_cells[] = {
    {"Name",  show<&variable::name>.wide(40)  },
    {"Value", show<&variable::value>.wide(256)},
};

std::optional<variable> parse_variable(const char* entry) {
  const char* separator = std::strchr(entry, '=');
  if (separator == nullptr) return {};
  return variable{
      {entry, separator},
      separator + 1
  };
}

void write_environment(FILE* fp) {
  printd("environment: get_current_environment\n");
  printd("environment: environ = %p\n", static_cast<void*>(environ));
  if (environ == nullptr) return;
  record_table table(fp, "Shell variables", k_variable_cells);
  for (int i = 0; environ[i] != nullptr; ++i) {
    printd("environment: environ[%d] = %s\n", i, environ[i]);
    const std::optional<variable> found = parse_variable(environ[i]);
    if (found) table.add(found->name, *found);
  }
}

}  // namespace

bool environment_probe::run(FILE* fp) {
  start_section(fp, "ENVIRONMENT");
  write_environment(fp);
  end_section(fp);
  return true;
}

}  // namespace kestrel
