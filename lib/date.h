// Dates and times from many sources (firmware strings, file times, service processor clocks, CIM
// texts), normalised to one value that the table writer prints.
#pragma once

#include <cstdint>
#include <ctime>
#include <optional>
#include <string>
#include <string_view>

namespace kestrel {

/// A service processor clock: first word byte 0 two-digit year, 1 month, 2 day; second word byte 0
/// hour, 1 minute, 2 second.
struct SP_CLOCK {
  uint32_t date;
  uint32_t time;
};

/// Date and time words of an event log entry.
struct ddd_event_log_entry {
  uint32_t date;  ///< bits 24-31 year in the century, 16-23 century, 8-15 month, 0-7 day
  uint32_t time;  ///< bits 16-23 hour (255: no time), 8-15 minute, 0-7 second
};

/// Hints for the string parser; combine a date order, a time order and a sequence.
enum date_hint : uint32_t {
  date_hint_guess = 0,
  time_order_mask = 0x00000FFF,  ///< 0x120 hour minute, 0x123 hour minute second
  date_order_mask = 0x00FFF000,  ///< position of day, month, year: 0x123000, 0x213000, 0x321000
  date_then_time = 0x01000000,
  time_then_date = 0x02000000,
  date_only = 0x04000000,
  time_only = 0x08000000,
  date_fixed_width = 0x10000000,  ///< no separators: two digits a part, four the year
  date_cim = 0x40000000,          ///< a CIM datetime (DMTF DSP0004), "20060815144224.000000"
  date_guessed = 0x80000000,      ///< set by the guess, for the log only
};

/// A moment, or a date or time of day alone, and the text that it came from.
class gathered_datetime_base {
 public:
  gathered_datetime_base();
  virtual ~gathered_datetime_base() = default;

  /// From the C library's broken-down time; a null pointer makes the value invalid.
  void setDate(const std::tm* value);
  /// Parses `text` as `hint` tells (bits of date_hint), or guesses the layout when it is 0. The
  /// text is kept for `altstring` whatever comes of it.
  void setDate(const char* text, unsigned int hint);

  // What the interface promises and no program calls:
  /// The century is chosen so that the year lies at most 19 years after `reference_year`'s.
  void setDate(SP_CLOCK clock);
  /// Invalid when the entry has no time.
  void setDate(ddd_event_log_entry entry);

  bool is_valid() const { return valid; }
  /// The text last given to the string parser, "" when there was none.
  const char* altstring() const;
  /// The value as text; lives until the next call.
  virtual const char* format() = 0;

  /// The parts as they were set; only those of a text are checked. Months and days count from 1.
  uint32_t year = 0, month = 0, day = 0, hour = 0, minute = 0, second = 0;
  uint32_t fraction = 0;    ///< microseconds of a CIM text
  char text[32] = "";       ///< what `format` returned
  uint32_t reference_year;  ///< the current year, for two-digit years
  bool valid = false;

 protected:
  gathered_datetime_base(const gathered_datetime_base&) = default;
  gathered_datetime_base& operator=(const gathered_datetime_base&) = default;

 private:
  void parse(const std::string& source, unsigned int hint);
  void parse_cim(std::string_view source);
  void parse_date(std::string_view source, unsigned int hint);
  void parse_time(std::string_view source, unsigned int hint);
  void guess(const std::string& source);
  uint32_t full_year(uint32_t two_digits) const;
  void validate();
  void clear_date();

  std::optional<std::string> alt_string;
};

/// The values that Table::log_data takes, by what is shown.
class gathered_datetime : public gathered_datetime_base {
 public:
  const char* format() override;  ///< "2006-08-15 14:42:24"
};
class gathered_date : public gathered_datetime_base {
 public:
  const char* format() override;  ///< "2006-08-15"
};
class gathered_time : public gathered_datetime_base {
 public:
  const char* format() override;  ///< "14:42:24"
};

}  // namespace kestrel
