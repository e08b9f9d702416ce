// See tz_info.h.
#include "probes/tz_info.h"

#include "lib/date.h"
#include "lib/table.h"

namespace kestrel {
namespace {

constexpr column k_time_columns[] = {
    {"Location",        DT_STRING, 5 },
    {"Date",            DT_ASCII,  0 },
    {"Time",            DT_ASCII,  0 },
    {"Daylight Saving", DT_STRING, 0 },
    {"Time Zone",       DT_STRING, 40},
};

void write_row(Table& table, const char* location, const std::tm& value, const char* zone) {
  gathered_date date;
  gathered_time time;
  date.setDate(&value);
  time.setDate(&value);
  table.start_row(location);
  table.log_data(location);
  table.log_data(date);
  table.log_data(time);
  table.log_data(value.tm_isdst > 0 ? "Yes" : "No");
  table.log_data(zone);
  table.end_row();
}

}  // namespace

void write_time(FILE* fp, std::time_t moment) {
  Table table(fp, "Current Time", "TIME");
  table.declare(k_time_columns);
  std::tm local = {};
  std::tm greenwich = {};
  char zone[128] = "";
  tzset();
  localtime_r(&moment, &local);
  gmtime_r(&moment, &greenwich);
  if (std::strftime(zone, sizeof zone, "%Z", &local) == 0) zone[0] = '\0';
  write_row(table, "Local", local, zone);
  write_row(table, "GMT", greenwich, "GMT");
}

void TimeZoneInfo(FILE* fp) { write_time(fp, std::time(nullptr)); }

bool timezone_probe::run(FILE* fp) {
  start_section(fp, name);
  TimeZoneInfo(fp);
  end_section(fp);
  return true;
}

}  // namespace kestrel
