// The table writer: one and the same report in every format, compared whole; other locales; misuse;
// sections and files. Long sums are recomputed in tests/tools/test_ks2.cc.
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <csignal>

#include "lib/date.h"
#include "lib/section.h"
#include "lib/table.h"
#include "tests/lib/report_capture.h"

using namespace std::string_literals;

namespace kestrel {
namespace {

template <class Date>
Date parsed(const char* text, unsigned hint) {
  Date value;
  value.setDate(text, hint);
  return value;
}

constexpr column k_columns[] = {
    {"Name",       DT_STRING,  12},
    {"Größe/MB", DT_INTEGER, 8 },
    {"Address",    DT_HEX,     0 },
    {"On",         DT_BOOL,    5 },
    {"Plain",      DT_ASCII,   7 },
    {"Ratio",      DT_FLOAT,   2 },
    {"Made",       DT_STRING,  10},
    {"Wide text",  DT_STRING,  6 },
};

/// Every kind of cell, missing cells, one cell too many.
void write_sample(FILE* out) {
  start_section(out, "Überblick & more");
  {
    Table table(out, "Disks (all)", "disk");
    table.declare(k_columns);
    table.start_row("first <1>");
    table.log_data("a < b & \"c\" 'd'");
    table.log_data(-5);
    table.log_data(255);
    table.log_data(1);
    table.log_data("t\tb\x7f\xC3\xA9");
    table.log_data(3);
    table.log_data(parsed<gathered_date>("2006-08-15", 0));
    table.log_wide_data(L"wide\u20ac\u00e9\U0001F600");
    table.end_row();
    table.start_row(L"r\u00f6w");
    table.log_data("ééééééééééééééé");
    table.log_data(18446744073709551615ul);
    table.log_data(0xDEADBEEFCAFEul);
    table.log_data(0);
    table.log_wide_data(L"\u00e9<z");
    table.log_data(1ul);
    table.log_data(parsed<gathered_datetime>("05/06/2006", 0));
    table.log_wide_data(L"<\u0001\uFFFE");
    table.log_data("surplus");
    table.end_row();
    table.start_row("");
    table.log_data("\x01\xFF");
    table.log_data(7ul);
    table.log_data(-1);
    table.log_data(1ul);
    table.log_data("");
    table.log_data(0);
    table.log_data(parsed<gathered_time>("2006-08-15 14:42:24", 0));
    table.end_row();
  }
  end_section(out);
}

TEST(Table, EveryFormatAsAWhole) {
  const std::pair<output_format_type, const char*> cases[] = {
      {OUTPUT_TEXT,          "table.txt"          },
      {OUTPUT_XML,           "table.xml"          },
      {OUTPUT_TALV,          "table.talv.xml"     },
      {OUTPUT_LIST,          "table.list"         },
      {OUTPUT_KSML,          "table.ksml"         },
      {OUTPUT_HTML,          "table.html"         },
      {OUTPUT_XML_LOWERCASE, "table.lowercase.xml"},
  };
  for (const auto& [format, golden_name] : cases) {
    Table::set_output_format(format);
    EXPECT_EQ(written_by(write_sample),
              content_of(KESTREL_TEST_FOLDER "/lib/golden/" + std::string(golden_name)));
  }
  EXPECT_EQ(Table::get_output_format(), OUTPUT_XML) << "the lower-case flavour is stored as XML";
}

// Narrow text is in the locale's encoding, what is written UTF-8; sums are over that, in wide cells
// over the characters.
TEST(Table, LocaleThatIsNotUtf8) {
  const made_locale locale("de_DE", "ISO-8859-1");
  const std::pair<output_format_type, std::string> cases[] = {
      {OUTPUT_TEXT,
       "\n=====\n  Ü  \n=====\n\nTable: t\n+------+------+\n| Name | Wide |\n"
       "+------+------+\n| é<\uFFFD  | é€   |\n+------+------+\n\n"                    },
      {OUTPUT_LIST, "\n=====\n  Ü  \n=====\n-\nt\n-\n  Name: é<\uFFFD\nWide: é€\n\n\n"},
      {OUTPUT_HTML,
       "<a name=\"Ü\"><H2>Ü</H2></a>\n<H3>t</H3><TABLE BORDER>\n"
       "<TR><TH>Name</TH><TH>Wide</TH></TR>\n<TR ALIGN=CENTER>\n"
       "<TD>é<\uFFFD</TD><TD>é€</TD></TR>\n</TABLE>\n"                                 },
      {OUTPUT_KSML,
       with_cr("<SECTION ID=\"Ü\">\n<TABLE ID=\"t\">\n<COLS>2</COLS>\n<ROW ID=\"r\">\n"
               "<STR ID=\"Name\" W=\"4\">é&lt;\xC2\x80</STR>\n<STR ID=\"Wide\" W=\"4\">é€</STR>\n"
               "<CHK>207F</CHK>\n</ROW>\n<ROWS>1</ROWS>\n<CHK>207F</CHK>\n</TABLE>\n"
               "<CHK>    207F</CHK>\n</SECTION>\n")                                        },
  };
  for (const auto& [format, expected] : cases) {
    Table::set_output_format(format);
    EXPECT_EQ(written_by([](FILE* out) {
                start_section(out, "\xDC");
                {
                  Table table(out, "t");
                  constexpr column k_two[] = {
                      {"Name", DT_STRING, 4},
                      {"Wide", DT_STRING, 4},
                  };
                  table.declare(k_two);
                  table.start_row("r");
                  table.log_data("\xE9<\x80");
                  table.log_wide_data(L"\u00e9\u20ac");
                  table.end_row();
                }
                end_section(out);
              }),
              expected);
  }
}

// Firmware may hold what a terminal obeys, in either form of the control characters.
TEST(Table, WhatATerminalWouldObeyIsReplaced) {
  const std::pair<output_format_type, const char*> cases[] = {
      {OUTPUT_TEXT,
       "\n======\n  s\uFFFD  \n======\n\nTable: t\uFFFD\n+------+------+\n| c\uFFFD   | c    |\n"
       "+------+------+\n| é\uFFFD[2 | \uFFFD\t\uFFFD\n |\n+------+------+\n\n"},
      {OUTPUT_LIST,
       "\n======\n  s\uFFFD  \n======\n--\nt\uFFFD\n--\n  c\uFFFD  : é\uFFFD[2J\uFFFD\uFFFD\n"
       "c   : \uFFFD\t\uFFFD\n\uFFFDz\n\n\n"                                    },
      {OUTPUT_HTML,
       "<a name=\"s\uFFFD\"><H2>s\uFFFD</H2></a>\n<H3>t\uFFFD</H3><TABLE BORDER>\n<TR>"
       "<TH>c\uFFFD</TH><TH>c</TH></TR>\n<TR ALIGN=CENTER>\n<TD>é\uFFFD[2J\uFFFD\uFFFD</TD>"
       "<TD>\uFFFD\t\uFFFD\n\uFFFDz</TD></TR>\n</TABLE>\n"                      },
  };
  constexpr column k_two[] = {
      {"c\x1B", DT_STRING, 4},
      {"c",     DT_STRING, 4},
  };
  for (const auto& [format, expected] : cases) {
    Table::set_output_format(format);
    EXPECT_EQ(written_by([&](FILE* out) {
                start_section(out, "s\x1B");
                {
                  Table table(out, "t\r");
                  table.declare(k_two);
                  table.start_row("r\x1B");
                  table.log_data("é\x1B[2J\xC2\x9B\xFF");
                  table.log_wide_data(L"\u007f\t\r\n\u0007z");
                  table.end_row();
                }
                end_section(out);
              }),
              expected);
  }
}

TEST(Table, EveryIntegerAndEveryText) {
  constexpr column k_kinds[] = {
      {"d", DT_INTEGER},
      {"x", DT_HEX    },
      {"s", DT_STRING },
  };
  Table::set_output_format(OUTPUT_XML_LOWERCASE);
  const auto cells = [&](auto number, auto text) {
    return written_by([&](FILE* out) {
      Table table(out, "t");
      table.declare(k_kinds);
      table.start_row("");
      EXPECT_TRUE(table.log_data(number) && table.log_data(number) && table.log_data(text));
      table.end_row();
    });
  };
  const auto expected = [](std::string decimal, std::string hex) {
    return with_cr("<t>\n<d>" + decimal + "</d>\n<x>0x" + hex + "</x>\n<s>text</s>\n</t>\n");
  };
  EXPECT_EQ(cells(int16_t{-5}, "text"), expected("-5", "FFFFFFFB"));
  EXPECT_EQ(cells(uint8_t{200}, "text"s), expected("200", "C8"));
  EXPECT_EQ(cells(4000000000u, std::string_view("text more", 4)),
            expected("4000000000", "EE6B2800"));
  EXPECT_EQ(cells(-5L, "text\0more"s), expected("-5", "FFFFFFFB"));
  EXPECT_EQ(cells(-5000000000LL, "text"), expected("-5000000000", "FFFFFFFED5FA0E00"));
  EXPECT_EQ(cells(18446744073709551615ull, "text"),
            expected("18446744073709551615", "FFFFFFFFFFFFFFFF"));
  // Counts stay whole where unsigned long has 32 bits, too.
  EXPECT_EQ(cells(int64_t{1} << 40, "text"), expected("1099511627776", "10000000000"));
}

// A full disk must not pass for success; the tasks ask when they close the report.
TEST(Table, FailedStreamsAreTold) {
  const sample_file file("content");
  for (const output_format_type format : {OUTPUT_TEXT, OUTPUT_KSML}) {
    FILE* full = std::fopen("/dev/full", "w");
    Table::set_output_format(format);
    start_section(full, "s");
    {
      Table table(full, "t");
      table.declare(std::span(k_columns, 1));
      table.start_row("r");
      EXPECT_FALSE(table.end_row());
    }
    EXPECT_FALSE(log_file(full, file.path()));
    EXPECT_FALSE(end_section(full));
    std::fclose(full);
  }
}

// --- misuse

TEST(Table, MisuseIsToldAndRefused) {
  Table::set_output_format(OUTPUT_KSML);
  report_capture report;
  testing::internal::CaptureStdout();
  {
    Table table(report.stream(), "t");
    EXPECT_FALSE(table.add_column("early", DT_STRING));
    EXPECT_FALSE(table.end_heading());
    EXPECT_TRUE(table.start_heading());
    EXPECT_FALSE(table.start_heading());
    EXPECT_TRUE(table.add_column("text", DT_STRING));
    EXPECT_TRUE(table.add_column("number", DT_HEX));
    EXPECT_TRUE(table.set_column_width(-1, 9) && table.set_column_width(2, 9));
    EXPECT_FALSE(table.start_row("row"));
    EXPECT_FALSE(table.start_row(L"r\u00f6w"));
    EXPECT_TRUE(table.end_heading());
    EXPECT_FALSE(table.end_row());
    EXPECT_FALSE(table.log_data(1));
    EXPECT_FALSE(table.log_data("x"));
    EXPECT_TRUE(table.start_row("row"));
    EXPECT_FALSE(table.log_data(-1));
    EXPECT_FALSE(table.log_data(5000000000ul));
    EXPECT_TRUE(table.log_data("first"));
    EXPECT_FALSE(table.log_wide_data(L"w\u00e9"));
    EXPECT_FALSE(table.log_data(parsed<gathered_date>("nonsense", 0)));
    EXPECT_TRUE(table.log_data(parsed<gathered_datetime>("2006-08-15 14:42:24", 0)))
        << "ksml has dates";
    EXPECT_TRUE(table.log_data("surplus"));
    EXPECT_FALSE(table.log_data("more"));
    EXPECT_FALSE(table.log_data(parsed<gathered_time>("2006-08-15 01:02:03", 0)));
    EXPECT_TRUE(table.end_row());
  }
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "add_column(early) - Heading not open\n"
            "end_heading() - Heading Not Open"
            "start_heading() - Heading Already Open"
            "start_row(row) - Heading is still open\n"
            "start_row(röw) - Heading is still open\n"
            "end_row() - Row Not Open"
            "log_data(1) - Row not open\n"
            "log_data(x) - Row not open\n"
            "log_data(-1) - Column 0 (text) is NOT type INTEGER, HEX, FLOAT or BOOL\n"
            "log_data(5000000000) - Column 0 (text) is NOT type INTEGER, HEX, FLOAT or BOOL\n"
            "log_data(wé) - Column 1 (number) is NOT type STRING or ASCII STRING\n"
            "log_data(nonsense) - Column 1 (number) is NOT type STRING or ASCII STRING\n"
            "log_data(more) - Column 3 is beyond defined columns of 1\n"
            "log_data(01:02:03) - Column 3 is beyond defined columns of 1\n");
  EXPECT_EQ(report.text(),
            with_cr("<TABLE ID=\"t\">\n<COLS>2</COLS>\n<ROW ID=\"row\">\n"
                    "<STR ID=\"text\" W=\"36\">first</STR>\n"
                    "<DATETIME ID=\"number\" W=\"36\">2006-08-15 14:42:24</DATETIME>\n"
                    "<STR ID=\"\">surplus</STR>\n<CHK> 8FB</CHK>\n</ROW>\n"
                    "<ROWS>1</ROWS>\n<CHK> 8FB</CHK>\n</TABLE>\n"));
}

TEST(Table, TwentyColumnsAndOneValueMore) {
  Table::set_output_format(OUTPUT_KSML);
  report_capture report;
  testing::internal::CaptureStdout();
  {
    Table table(report.stream(), "t");
    table.start_heading();
    for (int i = 0; i < 20; ++i) EXPECT_TRUE(table.add_column("c", DT_INTEGER));
    EXPECT_FALSE(table.add_column("21st", DT_INTEGER));
    table.set_column_width(20, 7);
    table.end_heading();
    table.start_row("r");
    for (int i = 0; i < 20; ++i) EXPECT_TRUE(table.log_data(i));
    EXPECT_FALSE(table.log_data(20)) << "the slot behind the columns takes strings";
    EXPECT_TRUE(table.log_data("last"));
    EXPECT_FALSE(table.log_data("beyond"));
    table.end_row();
  }
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "Cannot add column for 21st - too many columns.  Max is 20\n"
            "log_data(20) - Column 20 () is NOT type INTEGER, HEX, FLOAT or BOOL\n"
            "log_data(beyond) - Column 21 is beyond defined columns of 19\n");
  EXPECT_NE(report.text().find("<DEC ID=\"c\" W=\"1\">19</DEC>\r\n<STR ID=\"\">last</STR>"),
            std::string::npos);
}

TEST(Table, WithoutAStreamOnlyTheChecksRemain) {
  Table::set_output_format(OUTPUT_TEXT);
  testing::internal::CaptureStdout();
  write_sample(nullptr);
  Table table(nullptr, nullptr, nullptr);
  EXPECT_FALSE(table.end_row());
  EXPECT_FALSE(log_file(nullptr, "/dev/null"));
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "end_row() - Row Not Open");
}

TEST(Table, TitlesAreCutAtACharacter) {
  Table::set_output_format(OUTPUT_HTML);
  report_capture report;
  { const Table table(report.stream(), (std::string(254, 'x') + "éy").c_str()); }
  EXPECT_EQ(report.text(), "<H3>" + std::string(254, 'x') + "</H3><TABLE BORDER>\n</TABLE>\n");
}

/// Others write to the stream between two rows, and read what a text report holds after each.
TEST(Table, RowsReachTheStreamWhole) {
  const sample_file file("");
  FILE* out = std::fopen(file.path(), "w");
  Table::set_output_format(OUTPUT_TEXT);
  {
    Table table(out, "t");
    table.declare(std::span(k_columns, 1));
    table.start_row("r");
    table.log_data("one");
    table.end_row();
    EXPECT_TRUE(file.content().ends_with("| one          |\n"));
    std::fputs("between", out);
    table.start_row("r");
    table.end_row();
    EXPECT_TRUE(file.content().ends_with("|\nbetween|\n"));
  }
  EXPECT_TRUE(file.content().ends_with("between|\n+--------------+\n")) << "flushed at the end";
  std::fclose(out);
}

// --- files

TEST(Table, FilesInPlainFormats) {
  const auto logged = [](output_format_type format, const char* path, unsigned limit) {
    Table::set_output_format(format);
    report_capture report;
    const bool is_logged = log_file(report.stream(), path, limit);
    return (is_logged ? "yes " : "no ") + report.text();
  };
  const sample_file file("one & two\nno newline");
  const std::string path = file.path();
  const std::string frame = "\n---> FILE: " + path + " <---\n";
  const std::string whole = frame + "one & two\nno newline---> END OF FILE <---\n";
  EXPECT_EQ(logged(OUTPUT_TEXT, file.path(), 0), "yes " + whole);
  EXPECT_EQ(logged(OUTPUT_LIST, file.path(), 2), "yes " + whole) << "only a limit of 1 is kept";
  EXPECT_EQ(logged(OUTPUT_TEXT, file.path(), 1), "yes " + frame + "o---> END OF FILE <---\n");
  EXPECT_EQ(logged(OUTPUT_HTML, file.path(), 0),
            "yes <H3>" + path + "</H3>\n<PRE>\n" + whole + "</PRE>\n");
  EXPECT_EQ(logged(OUTPUT_TALV, file.path(), 0), "no ");
  EXPECT_EQ(logged(OUTPUT_HTML, "/dev", 0), "no <H3>/dev</H3>\n<PRE>\n");
  EXPECT_EQ(logged(OUTPUT_TEXT, "/nonexistent", 0), "no ");
}

// A report that takes itself in, as a file or as an import, ends at the size it had.
TEST(Table, ReportsInThemselvesEnd) {
  signal(SIGXFSZ, SIG_IGN);
  rlimit before = {};
  getrlimit(RLIMIT_FSIZE, &before);
  const rlimit limit = {1 << 20, before.rlim_max};
  for (const output_format_type format : {OUTPUT_TEXT, OUTPUT_HTML, OUTPUT_XML, OUTPUT_KSML}) {
    for (const bool is_import : {false, true}) {
      const sample_file file("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n" +
                             std::string(20000, 'x'));
      Table::set_output_format(format);
      FILE* out = std::fopen(file.path(), "a");
      setrlimit(RLIMIT_FSIZE, &limit);  // for a report that does not end
      is_import ? log_ksml_file(out, file.path()) : log_file(out, file.path());
      std::fclose(out);
      setrlimit(RLIMIT_FSIZE, &before);
      EXPECT_LT(file.content().size(), 41000u) << format;
    }
  }
}

}  // namespace
}  // namespace kestrel
