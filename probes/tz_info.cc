// Reads the clock once and writes it as local time, with the name of the zone, and as Greenwich
// time.
#include "probes/tz_info.h"

#include "lib/date.h"
#include "lib/section.h"
#include "lib/table_rows.h"

namespace kestrel {
namespace {

struct clock_reading {
  std::string location;
  gathered_date date;
  gathered_time time;
  std::string is_daylight_saving;
  std::string zone;
};

constexpr cell_of<clock_reading> k_time_cells[] = {
    {"Location",        show<&clock_reading::location>.wide(5)  },
    {"Date",            show_ascii<&clock_reading::date>        },
    {"Time",            show_ascii<&clock_reading::time>        },
    {"Daylight Saving", show<&clock_reading::is_daylight_saving>},
    {"Time Zone",       show<&clock_reading::zone>.wide(40)     },
};

clock_reading read_clock(const char* location, const std::tm& value, const char* zone) {
  clock_reading reading = {location, {}, {}, value.tm_isdst > 0 ? "Yes" : "No", zone};
  reading.date.setDate(&value);
  reading.time.setDate(&value);
  return reading;
}

}  // namespace

void write_time(FILE* fp, std::time_t moment) {
  record_table table(fp, "Current Time", "TIME", k_time_cells);
  std::tm local = {};
  std::tm greenwich = {};
  char zone[128] = "";
  tzset();
  localtime_r(&moment, &local);
  gmtime_r(&moment, &greenwich);
  if (std::strftime(zone, sizeof zone, "%Z", &local) == 0) zone[0] = '\0';
  table.add("Local", read_clock("Local", local, zone));
  table.add("GMT", read_clock("GMT", greenwich, "GMT"));
}

void TimeZoneInfo(FILE* fp) { write_time(fp, std::time(nullptr)); }

bool timezone_probe::run(FILE* fp) {
  start_section(fp, name);
  TimeZoneInfo(fp);
  end_section(fp);
  return true;
}

}  // namespace kestrel
