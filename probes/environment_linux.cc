// See environment_linux.h.
#include "probes/environment_linux.h"

#include <unistd.h>

#include <cstring>
#include <string>

#include "lib/debug.h"
#include "lib/table.h"

namespace kestrel {
namespace {

constexpr column k_variable_columns[] = {
    {"Name",  DT_STRING, 40 },
    {"Value", DT_STRING, 256},
};

void write_variable(Table& table, const char* entry) {
  const char* separator = std::strchr(entry, '=');
  if (separator == nullptr) return;
  const std::string name(entry, separator);
  table.start_row(name.c_str());
  table.log_data(name);
  table.log_data(separator + 1);
  table.end_row();
}

void write_environment(FILE* fp) {
  printd("environment: get_current_environment\n");
  printd("environment: environ = %p\n", static_cast<void*>(environ));
  if (environ == nullptr) return;
  Table table(fp, "Shell variables");
  table.declare(k_variable_columns);
  for (int i = 0; environ[i] != nullptr; ++i) {
    printd("environment: environ[%d] = %s\n", i, environ[i]);
    write_variable(table, environ[i]);
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
