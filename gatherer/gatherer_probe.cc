// See gatherer_probe.h.
#include "gatherer/gatherer_probe.h"

#include <memory>
#include <string>

#include "gatherer/kestrel2.h"
#include "gatherer/version.h"
#include "lib/debug.h"
#include "lib/mbcs.h"
#include "lib/table.h"
#include "lib/util_linux.h"
#include "lib/utilstr.h"

namespace kestrel {
namespace {

constexpr size_t k_value_size = 256;

constexpr column k_information[] = {
    {"Name",  DT_STRING, 15},
    {"Value", DT_STRING, 50},
};
constexpr column k_parameters[] = {
    {"Parameter", DT_INTEGER},
    { "Value",  DT_STRING,         50},
};
// "Blocked" keeps its default width on purpose; "Enabled" got the one meant for it as well.
constexpr column k_probes[] = {
    {"Name", DT_STRING, 20},
    {"Detail",      DT_INTEGER       },
    {"Enabled",      DT_BOOL,5},
    {"Blocked",     DT_BOOL              },
};

void log_row(Table* table, const char* name, const char* value) {
  if (table == nullptr) {
    printd("gatherer: %s = %s\n", name, value);
    return;
  }
  table->start_row(name);
  table->log_data(name);
  table->log_data(value);
  table->end_row();
}

}  // namespace

bool gatherer_probe::run(FILE* fp) {
  start_section(fp, name);
  get_gatherer_information(fp);
  get_gatherer_parameters(fp, 0, nullptr);
  get_gatherer_probes_list(fp);
  end_section(fp);
  return true;
}

void get_gatherer_information(FILE* fp) {
  std::unique_ptr<Table> table;
  if (fp != nullptr) {
    table = std::make_unique<Table>(fp, "GATHERER INFORMATION");
    table->declare(k_information);
  }
  auto row = [&](const char* name, const std::string& value) {
    log_row(table.get(), name, cut(value, k_value_size - 1).c_str());
  };
  char value[k_value_size] = "";
  get_program_filename(value, sizeof value);
  row("Gatherer", value);
  row("Gatherer Version", format_text("%s %s (%s)", k_version, get_subversion(), k_release));
  row("Build on", format_text("%s %s", k_build_date, k_build_time));
  row("Build by", k_build_user);
  row("Build host", k_build_host);
  const std::string folder = GetCurrentDir();
  row("Current Directory", folder.empty() ? "Unknown" : folder);
  row("User", get_user_name());
}

void get_gatherer_parameters(FILE* fp, int argc, const wchar_t** argv) {
  static int count = 0;
  static const wchar_t** arguments = nullptr;
  if (argv != nullptr) {
    count = argc;
    arguments = argv;
  }
  if (fp == nullptr || count == 0) {
    printd("argv:");
    for (int i = 0; i < count; ++i) printd(" '%s'", wide_to_mbcs(arguments[i]).c_str());
    printd("\n");
    return;
  }
  Table table(fp, "Parameters");
  table.declare(k_parameters);
  for (int i = 0; i < count; ++i) {
    table.start_row(std::to_string(i).c_str());
    table.log_data(i);
    table.log_wide_data(arguments[i]);
    table.end_row();
  }
}

void get_gatherer_probes_list(FILE* fp) {
  Table table(fp, "Probes List");
  table.declare(k_probes);
  for (task* unit = task::first; unit != nullptr; unit = unit->next) {
    const auto* selectable = dynamic_cast<probe_task*>(unit);
    table.start_row(unit->name);
    table.log_data(unit->name);
    table.log_data(unit->detail_level);
    table.log_data(selectable != nullptr && selectable->enabled ? 1 : 0);
    table.log_data(selectable != nullptr && selectable->blocked ? 1 : 0);
    table.end_row();
  }
}

}  // namespace kestrel
