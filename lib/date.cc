// See date.h. The texts come from firmware, files and commands: digits are read with a clamp and
// nothing past the end of the text.
#include "lib/date.h"

#include <algorithm>
#include <array>
#include <limits>

#include "lib/debug.h"
#include "lib/utilstr.h"

namespace kestrel {

namespace {

constexpr const char* k_digits = "0123456789";
constexpr uint32_t k_date_first = date_then_time | date_only;
constexpr uint32_t k_time_first = time_then_date | time_only;

/// Where the parts of a date stand in the text, as indices into its three numbers.
struct date_order {
  uint32_t code;
  size_t day, month, year;
};
constexpr date_order k_date_orders[] = {
    {0x123000, 0, 1, 2},
    {0x124000, 0, 1, 2},
    {0x213000, 1, 0, 2},
    {0x214000, 1, 0, 2},
    {0x321000, 2, 1, 0},
};

struct number {
  uint32_t value = 0;
  size_t digits = 0;
};
/// The parts of a date or time; one with a sign in front makes them invalid.
struct three_numbers : std::array<number, 3> {
  bool is_signed = false;
};

uint32_t reference_year_now() {
  const std::time_t now = std::time(nullptr);
  std::tm local{};
  localtime_r(&now, &local);
  return static_cast<uint32_t>(local.tm_year + 1900);
}

number scan_number(std::string_view& text) {
  constexpr int64_t k_largest = std::numeric_limits<uint32_t>::max();
  const std::string_view digits = trim_whitespace(text);
  int64_t value;
  if (!scan_decimal(text, value)) return {};
  return {static_cast<uint32_t>(std::min(value, k_largest)),
          std::min(digits.find_first_not_of(k_digits), digits.size())};
}

bool has_sign(std::string_view text) {
  text = trim_whitespace(text);
  return !text.empty() && (text[0] == '-' || text[0] == '+');
}

/// The first `count` numbers with any single character between each two; those that are missing are
/// 0.
three_numbers scan_separated(std::string_view text, size_t count) {
  three_numbers found;
  for (size_t i = 0; i < count; ++i) {
    found.is_signed = has_sign(text);
    if (found.is_signed) break;
    found[i] = scan_number(text);
    if (found[i].digits == 0 || text.empty()) break;
    text.remove_prefix(1);
  }
  return found;
}

/// A piece of fixed-width digits, as far as the text reaches; 0 when it holds anything else.
uint32_t fixed_number(std::string_view text, size_t position, size_t width) {
  if (position >= text.size()) return 0;
  std::string_view piece = trim_whitespace(text.substr(position, width));
  if (piece.find_first_not_of(k_digits) != std::string_view::npos) return 0;
  int64_t value = 0;
  scan_decimal(piece, value);
  return static_cast<uint32_t>(value);
}

/// A date without separators; where the year comes first, its four digits do.
three_numbers fixed_date(std::string_view text, bool year_first) {
  const size_t width[] = {year_first ? 4u : 2u, 2, year_first ? 2u : 4u};
  three_numbers found;
  size_t position = 0;
  for (size_t i = 0; i < found.size(); position += width[i++]) {
    found[i] = {fixed_number(text, position, width[i]), width[i]};
  }
  return found;
}

std::string_view after_first_word(std::string_view text) {
  next_word(text);
  return text;
}

std::string_view after_last_space(std::string_view text) {
  return text.substr(text.rfind(' ') + 1);
}

/// What a text begins with: a number, the character behind it, another number.
struct beginning {
  int parts = 0;
  int first = 0;
  char separator = '\0';
  int second = 0;
};

beginning beginning_of(std::string_view text) {
  beginning found;
  int64_t value;
  if (!scan_decimal(text, value)) return found;
  found.first = to_int(value);
  found.parts = 1;
  if (text.empty()) return found;
  found.separator = text[0];
  found.parts = 2;
  text.remove_prefix(1);
  if (!scan_decimal(text, value)) return found;
  found.second = to_int(value);
  found.parts = 3;
  return found;
}

/// The order that two numbers give away; 0 when day and month cannot be told apart.
uint32_t guess_date_order(int first, int second) {
  if (first < 13 && second < 13) return 0;
  if (first >= 33) {
    printd("guessing YYYYMMDD\n");
    return 0x321000;
  }
  if (first >= 13) {
    printd("guessing DDMMYYYY\n");
    return 0x123000;
  }
  printd("guessing MMDDYYYY\n");
  return 0x213000;
}

uint32_t guess_time_order(std::string_view text) {
  const bool has_seconds = text.find(':') != text.rfind(':');
  printd(has_seconds ? "guessing HHMMSS\n" : "guessing HHMM\n");
  return has_seconds ? 0x123 : 0x120;
}

/// Which of date and time the text holds; `date` becomes the part where the date begins.
uint32_t guess_sequence(std::string_view text, std::string_view& date) {
  date = text;
  if (beginning_of(text).separator == ':') {
    const size_t space = text.find(' ');
    if (space == std::string_view::npos) {
      printd("guessing time only\n");
      return time_only;
    }
    printd("guessing time and then date\n");
    date.remove_prefix(std::min(text.find_first_not_of(' ', space), text.size()));
    return time_then_date;
  }
  if (text.find(':') != std::string_view::npos) {
    printd("guessing date and then time\n");
    return date_then_time;
  }
  printd("guessing date only\n");
  return date_only;
}

}  // namespace

gathered_datetime_base::gathered_datetime_base() {
  static const uint32_t now = reference_year_now();
  reference_year = now;
}

void gathered_datetime_base::setDate(const std::tm* value) {
  valid = value != nullptr;
  if (!valid) return;
  year = static_cast<uint32_t>(value->tm_year + 1900);
  month = static_cast<uint32_t>(value->tm_mon + 1);
  day = static_cast<uint32_t>(value->tm_mday);
  hour = static_cast<uint32_t>(value->tm_hour);
  minute = static_cast<uint32_t>(value->tm_min);
  second = static_cast<uint32_t>(value->tm_sec);
  fraction = 0;
}

uint32_t gathered_datetime_base::full_year(uint32_t two_digits) const {
  const uint32_t century = reference_year / 100 * 100;
  const uint32_t cutoff = reference_year - century + 20;
  return century + two_digits - (two_digits < cutoff ? 0 : 100);
}

void gathered_datetime_base::setDate(SP_CLOCK clock) {
  const uint32_t century = reference_year / 100 * 100;
  const uint32_t two_digits = clock.date & 0xFF;
  printd("date: SP_CLOCK current year is %i, current century is %i\n",
         static_cast<int>(reference_year), static_cast<int>(century));
  printd("date: SP_CLOCK year is %i, cutoff is %i\n", static_cast<int>(two_digits),
         static_cast<int>(reference_year - century + 20));
  year = full_year(two_digits);
  printd("date: SP_CLOCK so year is %i\n", static_cast<int>(year));
  month = clock.date >> 8 & 0xFF;
  day = clock.date >> 16 & 0xFF;
  hour = clock.time & 0xFF;
  minute = clock.time >> 8 & 0xFF;
  second = clock.time >> 16 & 0xFF;
  fraction = 0;
  valid = true;
}

void gathered_datetime_base::setDate(ddd_event_log_entry entry) {
  year = (entry.date >> 16 & 0xFF) * 100 + (entry.date >> 24);
  month = entry.date >> 8 & 0xFF;
  day = entry.date & 0xFF;
  hour = entry.time >> 16 & 0xFF;
  minute = entry.time >> 8 & 0xFF;
  second = entry.time & 0xFF;
  fraction = 0;
  valid = hour != 255;
}

void gathered_datetime_base::setDate(const char* source, unsigned int hint) {
  alt_string = source == nullptr ? "" : source;
  parse(*alt_string, hint);
  printd("date: using altstring \"%s\" at %p\n", alt_string->c_str(),
         static_cast<const void*>(alt_string->c_str()));
}

void gathered_datetime_base::parse(const std::string& source, unsigned int hint) {
  printd("date: setting date from \"%s\" (%p) hint %d\n", source.c_str(),
         static_cast<const void*>(source.c_str()), static_cast<int>(hint));
  valid = false;
  if (source.size() < 2) return;
  if (hint == date_hint_guess) return guess(source);
  if ((hint & date_cim) != 0) return parse_cim(source);
  fraction = 0;
  if ((hint & time_only) == 0) parse_date(source, hint);
  if ((hint & date_only) == 0) parse_time(source, hint);
  validate();
}

void gathered_datetime_base::parse_cim(std::string_view source) {
  printd("date: formatting from CIM_DATETIme\n");  // Written so in the log on purpose.
  year = fixed_number(source, 0, 4);
  month = fixed_number(source, 4, 2);
  day = fixed_number(source, 6, 2);
  hour = fixed_number(source, 8, 2);
  minute = fixed_number(source, 10, 2);
  second = fixed_number(source, 12, 2);
  fraction = fixed_number(source, 15, 6);
  validate();
}

void gathered_datetime_base::parse_date(std::string_view source, unsigned int hint) {
  printd("date: parsing date\n");
  const auto* order =
      std::find_if(std::begin(k_date_orders), std::end(k_date_orders),
                   [hint](const date_order& row) { return row.code == (hint & date_order_mask); });
  const bool is_first = (hint & k_date_first) != 0;
  const bool is_fixed = (hint & date_fixed_width) != 0;
  if (is_fixed && !is_first) source = after_last_space(source);
  if (is_fixed && source.size() < 8) {
    clear_date();
  } else if (order != std::end(k_date_orders)) {
    const three_numbers parts =
        is_fixed ? fixed_date(source, order->year == 0)
                 : scan_separated(is_first ? source : after_first_word(source), 3);
    const number y = parts[order->year];
    year = y.digits == 1 || y.digits == 2 ? full_year(y.value) : y.value;
    month = parts[order->month].value;
    day = parts[order->day].value;
    if (parts.is_signed) clear_date();
  }
  printd("date: got date %d-%d-%d\n", static_cast<int>(year), static_cast<int>(month),
         static_cast<int>(day));
}

void gathered_datetime_base::parse_time(std::string_view source, unsigned int hint) {
  printd("date: parsing time\n");
  const uint32_t code = hint & time_order_mask;
  const bool is_first = (hint & k_time_first) != 0;
  const bool is_fixed = (hint & date_fixed_width) != 0;
  if (is_fixed && !is_first) source = after_last_space(source);
  if (is_fixed && source.size() < 6) {
    clear_date();  // The date, not the time, on purpose.
  } else if (code == 0x120 || code == 0x123) {
    three_numbers parts;
    if (is_fixed) {
      for (size_t i = 0; i < parts.size(); ++i) parts[i].value = fixed_number(source, 2 * i, 2);
    } else {
      parts = scan_separated(is_first ? source : after_first_word(source), code == 0x123 ? 3 : 2);
    }
    if (parts.is_signed) clear_date();
    hour = parts[0].value;
    minute = parts[1].value;
    if (code == 0x123) second = parts[2].value;
  }
  printd("date: got time %d:%d:%d\n", static_cast<int>(hour), static_cast<int>(minute),
         static_cast<int>(second));
}

void gathered_datetime_base::guess(const std::string& source) {
  printd("date: let's play \"guess the date\"\n");
  std::string_view date;
  uint32_t hint = guess_sequence(source, date);
  const bool has_time = hint != date_only;
  if (hint != time_only) {
    const beginning start = beginning_of(date);
    if (start.parts == 1) {
      hint = date_cim;
      printd("guessing CIMTIME\n");
    } else if (start.separator == ' ') {
      printd("giving up on date/time without separators\n");
      return;
    } else {
      const uint32_t order = guess_date_order(start.first, start.second);
      // An object may have held another date before.
      if (order == 0) clear_date();
      hint |= order;
    }
  }
  if (has_time) hint |= guess_time_order(source);
  parse(source, hint | date_guessed);
}

void gathered_datetime_base::validate() {
  valid = year != 0 && month >= 1 && month <= 12 && day >= 1 && day <= 31 && hour <= 24 &&
          minute <= 60 && second <= 60;
}

void gathered_datetime_base::clear_date() { year = month = day = 0; }

const char* gathered_datetime_base::altstring() const {
  const char* kept = alt_string ? alt_string->c_str() : nullptr;
  printd("date: alt_string = %p\n", static_cast<const void*>(kept));
  return kept == nullptr ? "" : kept;
}

const char* gathered_datetime::format() {
  return format_string(text, sizeof text, "%04u-%02u-%02u %02u:%02u:%02u", year, month, day, hour,
                       minute, second);
}

const char* gathered_date::format() {
  return format_string(text, sizeof text, "%04u-%02u-%02u", year, month, day);
}

const char* gathered_time::format() {
  return format_string(text, sizeof text, "%02u:%02u:%02u", hour, minute, second);
}

}  // namespace kestrel
