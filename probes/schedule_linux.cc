// Reads /etc/crontab: a line that begins with a digit or an asterisk is a job of five times, a user
// and a command.
#include "probes/schedule_linux.h"

#include <unistd.h>

#include <cerrno>

#include "lib/debug.h"
#include "lib/file.h"
#include "lib/table_rows.h"
#include "lib/utilstr.h"

namespace kestrel {
namespace {

constexpr const char* k_crontab = "/etc/crontab";

constexpr cell_of<crontab_job> k_job_cells[] = {
    {"Hour",        show<&crontab_job::hour>   },
    {"Minute",      show<&crontab_job::minute> },
    {"Day",         show<&crontab_job::day>    },
    {"Month",       show<&crontab_job::month>  },
    {"Day of Week", show<&crontab_job::weekday>},
    {"Username",    show<&crontab_job::user>   },
    {"Command",     show<&crontab_job::command>},
};

std::string id_of(const crontab_job& job) {
  return kept_text<63>(job.hour + job.minute + job.day + job.month);
}

}  // namespace

std::optional<crontab_job> parse_crontab_line(std::string_view line) {
  std::string_view text = trim_whitespace(line);
  if (text.find_first_of("0123456789*") != 0) return {};
  crontab_job job;
  for (auto* time : {&job.minute, &job.hour, &job.day, &job.month, &job.weekday}) {
    *time = next_word(text);
  }
  job.user = next_word(text);
  job.command = text;
  return job;
}

void write_crontab(FILE* fp, FILE* in) {
  record_table table(fp, "Scheduled Tasks", k_job_cells);
  add_lines(table, in, "crontab", parse_crontab_line, id_of);
}

bool crontab_probe::test() { return is_accessible(k_crontab, R_OK); }

bool crontab_probe::run(FILE* fp) {
  const file_ptr in = open_regular_file(k_crontab);
  if (in == nullptr) print_error("crontab: fopen", errno);
  write_crontab(fp, in.get());
  return true;
}

}  // namespace kestrel
