// See schedule_linux.h.
#include "probes/schedule_linux.h"

#include <unistd.h>

#include <cerrno>

#include "lib/debug.h"
#include "lib/file.h"
#include "lib/getline.h"
#include "lib/table.h"
#include "lib/utilstr.h"

namespace kestrel {
namespace {

constexpr const char* k_crontab = "/etc/crontab";

constexpr size_t k_longest_time = 15;
constexpr size_t k_longest_user = 31;
constexpr size_t k_longest_command = 127;
constexpr size_t k_longest_id = 63;

constexpr column k_job_columns[] = {
    {"Hour",        DT_STRING, 16 },
    {"Minute",      DT_STRING, 16 },
    {"Day",         DT_STRING, 16 },
    {"Month",       DT_STRING, 16 },
    {"Day of Week", DT_STRING, 16 },
    {"Username",    DT_STRING, 32 },
    {"Command",     DT_STRING, 128},
};

void write_job(Table& table, const crontab_job& job) {
  table.start_row(cut(job.hour + job.minute + job.day + job.month, k_longest_id).c_str());
  for (const std::string* cell :
       {&job.hour, &job.minute, &job.day, &job.month, &job.weekday, &job.user, &job.command}) {
    table.log_data(*cell);
  }
  table.end_row();
}

}  // namespace

std::optional<crontab_job> parse_crontab_line(std::string_view line) {
  std::string_view text = trim_whitespace(line);
  if (text.find_first_of("0123456789*") != 0) return {};
  crontab_job job;
  for (std::string* time : {&job.minute, &job.hour, &job.day, &job.month, &job.weekday}) {
    *time = cut(next_word(text), k_longest_time);
  }
  job.user = cut(next_word(text), k_longest_user);
  job.command = cut(text, k_longest_command);
  return job;
}

void write_crontab(FILE* fp, FILE* in) {
  Table table(fp, "Scheduled Tasks");
  table.declare(k_job_columns);
  if (in == nullptr) return;
  for_each_line(in, "crontab", [&table](const std::string& line) {
    const std::optional<crontab_job> job = parse_crontab_line(line.c_str());
    if (job) write_job(table, *job);
  });
}

bool crontab_probe::test() { return access(k_crontab, R_OK) == 0; }

bool crontab_probe::run(FILE* fp) {
  const file_ptr in = open_regular_file(k_crontab);
  if (in == nullptr) print_error("crontab: fopen", errno);
  write_crontab(fp, in.get());
  return true;
}

}  // namespace kestrel
