// Dates from texts, clocks and log entries.
#include <gtest/gtest.h>

#include <string>

#include "lib/date.h"

using namespace kestrel;

namespace {

/// The value as the report shows it, or "invalid".
std::string shown(const char* text, unsigned hint) {
  gathered_datetime value;
  value.reference_year = 2006;
  value.setDate(text, hint);
  EXPECT_STREQ(value.altstring(), text);
  return value.is_valid() ? value.format() : "invalid";
}

}  // namespace

TEST(Date, GuessesTheLayout) {
  const std::pair<const char*, const char*> cases[] = {
      {"08/15/2006",                         "2006-08-15 00:00:00"      },
      {"15/08/2006",                         "2006-08-15 00:00:00"      },
      {"2006-08-15",                         "2006-08-15 00:00:00"      },
      {"32/08/15",                           "invalid"                  },
      {"33/08/15",                           "1933-08-15 00:00:00"      },
      {"2006.8.15",                          "2006-08-15 00:00:00"      },
      {"05/06/2006",                         "invalid"                  }, // ambiguous
      {"14:42:24 08/15/2006",                "2006-08-15 14:42:24"      },
      {"14:42   2006-08-15",                 "2006-08-15 14:42:00"      },
      {"08/15/2006 14:42",                   "2006-08-15 14:42:00"      },
      {"2006-08-15 14:42:24.123",            "2006-08-15 14:42:24"      },
      {"14:42:24",                           "invalid"                  }, // no year
      {"20060815144224",                     "2006-08-15 14:42:24"      },
      {"20060815",                           "2006-08-15 00:00:00"      },
      {"15 08 2006",                         "invalid"                  },
      {"Tue Aug 15 2006",                    "invalid"                  },
      {"2006-Aug-15",                        "invalid"                  },
      {"2006-13-15",                         "invalid"                  },
      {"2006-08-00",                         "invalid"                  },
      {"2006-08--15",                        "invalid"                  },
      {"2006-08-",                           "invalid"                  },
      {"08/15/-06",                          "invalid"                  },
      {"08/15/ +06",                         "invalid"                  },
      {"+08/15/2006",                        "invalid"                  },
      {"2006-08-15 -4:42",                   "invalid"                  },
      {"2006-08-15 14:+42",                  "invalid"                  },
      {"2006-08-15 14:42 +0200",             "2006-08-15 14:42:00"      }, // a time zone
      {"08/15/4294967302",                   "4294967295-08-15 00:00:00"},
      {"99999999999999999999-4294967304-15", "invalid"                  },
      {"2006-08-15 24:60:60",                "2006-08-15 24:60:60"      },
      {"2006-08-15 25:00:00",                "invalid"                  },
      {"2006-08-15 23:61:00",                "invalid"                  },
      {"12:",                                "invalid"                  },
      {"1",                                  "invalid"                  },
      {"",                                   "invalid"                  },
      {"::",                                 "invalid"                  },
      {"14:42 20060815",                     "invalid"                  }, // digits from the start
  };
  for (const auto& [text, expected] : cases) EXPECT_EQ(shown(text, 0), expected) << text;
}

TEST(Date, FollowsTheHint) {
  const std::tuple<unsigned, const char*, const char*> cases[] = {
      {0x04213000, "05/06/2006",                "2006-05-06 00:00:00"},
      {0x04124000, "05/06/2006",                "2006-06-05 00:00:00"},
      {0x04321123, "2006/05/06 14:42",          "2006-05-06 00:00:00"},
      {0x04213000, "13/06/2006",                "invalid"            },
      {0x04213000, "05/06",                     "invalid"            },
      {0x01321120, "2006-05-06 14:42:24",       "2006-05-06 14:42:00"},
      {0x02213123, "14:42:24 05/06/2006",       "2006-05-06 14:42:24"},
      {0x02213123, "14:42:24",                  "invalid"            },
      {0x14213000, "05062006",                  "2006-05-06 00:00:00"},
      {0x14214000, "0506200",                   "invalid"            },
      {0x11321123, "20060506 144224",           "2006-05-06 14:42:24"},
      {0x11321123, "20060506 14422",            "invalid"            },
      {0x12123120, "144224 06052006",           "2006-05-06 14:42:00"},
      {0x04999000, "05/06/2006",                "invalid"            },
      {0x40000000, "20060506144224.123456+060", "2006-05-06 14:42:24"},
      {0x40000000, "2006050614",                "2006-05-06 14:00:00"},
      {0x40000000, "20060506******.******+***", "2006-05-06 00:00:00"},
      {0x40000000, "200605",                    "invalid"            },
  };
  for (const auto& [hint, text, expected] : cases) EXPECT_EQ(shown(text, hint), expected) << text;
  gathered_datetime value;
  value.setDate("20060506144224.123456+060", date_cim);
  EXPECT_EQ(value.fraction, 123456u);
}

TEST(Date, TwoDigitYearsTakeTheNearCentury) {
  EXPECT_EQ(shown("08/15/06", 0x04213000), "2006-08-15 00:00:00");
  EXPECT_EQ(shown("08/15/25", 0x04213000), "2025-08-15 00:00:00");
  EXPECT_EQ(shown("08/15/26", 0x04213000), "1926-08-15 00:00:00");
  EXPECT_EQ(shown("99-12-31", 0), "1999-12-31 00:00:00");
  EXPECT_EQ(shown("08/15/00", 0x04213000), "2000-08-15 00:00:00");
  EXPECT_EQ(shown("08/15/0000", 0x04213000), "invalid");

  gathered_date clock;
  clock.reference_year = 2006;
  clock.setDate(SP_CLOCK{0x000F0806, 0x00182A0E});
  EXPECT_STREQ(clock.format(), "2006-08-15");
  EXPECT_EQ(clock.hour * 10000 + clock.minute * 100 + clock.second, 144224u);
  clock.setDate(SP_CLOCK{0x000F081E, 0});
  EXPECT_EQ(clock.year, 1930u);
  clock.reference_year = 1999;
  clock.setDate(SP_CLOCK{0x000F0806, 0});
  EXPECT_EQ(clock.year, 1906u);
}

TEST(Date, TakesTmAndLogEntries) {
  std::tm parts{};
  parts.tm_year = 106;
  parts.tm_mon = 7;
  parts.tm_mday = 15;
  parts.tm_hour = 14;
  gathered_datetime value;
  value.setDate(&parts);
  EXPECT_TRUE(value.is_valid());
  EXPECT_STREQ(value.format(), "2006-08-15 14:00:00");
  value.setDate(ddd_event_log_entry{0x0614080F, 0x000E2A18});
  EXPECT_TRUE(value.is_valid());
  EXPECT_STREQ(value.format(), "2006-08-15 14:42:24");
  value.setDate(ddd_event_log_entry{0x0614080F, 0x00FF0000});
  EXPECT_FALSE(value.is_valid());
}

TEST(Date, AnObjectIsUsedAgain) {
  gathered_datetime value;
  EXPECT_STREQ(value.altstring(), "");
  value.setDate("2006-08-15", 0);
  value.setDate("05/06/2006", 0);
  EXPECT_FALSE(value.is_valid());
  value.setDate("08/15/2006", 0x04213000);
  value.setDate("14:42:24", time_only | 0x123);
  EXPECT_TRUE(value.is_valid());
  EXPECT_STREQ(value.format(), "2006-08-15 14:42:24");
  gathered_time copy;
  copy.setDate(value.altstring(), time_only | 0x120);
  EXPECT_STREQ(copy.format(), "14:42:00");
}
