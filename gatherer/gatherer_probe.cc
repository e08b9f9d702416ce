// The report about the run itself: what was built into the program, the process's surroundings, the
// arguments and the registry of tasks.
#include "gatherer/gatherer_probe.h"

#include <optional>
#include <string>

#include "gatherer/settings.h"
#include "gatherer/version.h"
#include "lib/debug.h"
#include "lib/mbcs.h"
#include "lib/section.h"
#include "lib/table_rows.h"
#include "lib/util_linux.h"
#include "lib/utilstr.h"

namespace kestrel {
namespace {

constexpr int k_file_name_size = 256;

struct fact {
  const char* name;
  kept_text<255> value;
};

constexpr cell_of<fact> k_information[] = {
    {"Name",  show<&fact::name>.wide(15) },
    {"Value", show<&fact::value>.wide(50)},
};

struct argument {
  int number;
  std::wstring text;
};

constexpr cell_of<argument> k_parameters[] = {
    {"Parameter", show<&argument::number>       },
    {"Value",     show<&argument::text>.wide(50)},
};

// False for what is no probe.
template <bool probe_task::*Flag>
bool is_set(const task& unit) {
  const auto* selectable = dynamic_cast<const probe_task*>(&unit);
  return selectable != nullptr && selectable->*Flag;
}

// "Blocked" keeps its default width on purpose; "Enabled" got the one meant for it as well.
constexpr cell_of<task> k_probes[] = {
    {"Name",    show<&task::name>.wide(20)                },
    {"Detail",  show<&task::detail_level>                 },
    {"Enabled", show<is_set<&probe_task::enabled>>.wide(5)},
    {"Blocked", show<is_set<&probe_task::blocked>>        },
};

void log_row(record_table<fact>* table, const fact& shown) {
  if (table == nullptr) {
    printd("gatherer: %s = %s\n", shown.name, shown.value.c_str());
  } else {
    table->add(shown.name, shown);
  }
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
  std::optional<record_table<fact>> table;
  if (fp != nullptr) table.emplace(fp, "GATHERER INFORMATION", k_information);
  auto row = [&](const char* name, const std::string& value) {
    log_row(table ? &*table : nullptr, {name, value});
  };
  char file_name[k_file_name_size] = "";
  get_program_filename(file_name, k_file_name_size);
  row("Gatherer", file_name);
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
  record_table table(fp, "Parameters", k_parameters);
  for (int i = 0; i < count; ++i) table.add(std::to_string(i), {i, arguments[i]});
}

void get_gatherer_probes_list(FILE* fp) {
  record_table table(fp, "Probes List", k_probes);
  for (task* unit = task::first; unit != nullptr; unit = unit->next) table.add(unit->name, *unit);
}

}  // namespace kestrel
