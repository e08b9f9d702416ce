// The table writer: one and the same report in every format, compared whole; sums recomputed by a
// reader of its own; misuse; sections and files.
#include <gtest/gtest.h>

#include <clocale>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <vector>

#include "lib/table.h"
#include "tests/lib/report_capture.h"

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

std::string sample_in(output_format_type format) {
  Table::set_output_format(format);
  report_capture report;
  write_sample(report.stream());
  return report.text();
}

std::string golden(const std::string& name) {
  const auto folder = std::filesystem::path(KESTREL_TEST_FOLDER) / "lib" / "golden";
  std::ifstream in(folder / name, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

TEST(Table, EveryFormatAsAWhole) {
  const struct {
    output_format_type format;
    const char* golden_name;
  } cases[] = {
      {OUTPUT_TEXT,          "table.txt"          },
      {OUTPUT_XML,           "table.xml"          },
      {OUTPUT_TALV,          "table.talv.xml"     },
      {OUTPUT_LIST,          "table.list"         },
      {OUTPUT_KSML,          "table.ksml"         },
      {OUTPUT_HTML,          "table.html"         },
      {OUTPUT_XML_LOWERCASE, "table.lowercase.xml"},
  };
  for (const auto& one : cases) EXPECT_EQ(sample_in(one.format), golden(one.golden_name));
  EXPECT_EQ(Table::get_output_format(), OUTPUT_XML) << "the lower-case flavour is stored as XML";
}

// --- sums, recomputed by a reader that knows only the report

/// Reads a ksml report and checks every sum in it.
class receiver {
 public:
  explicit receiver(const std::string& report) : rest_(report) {
    while (!rest_.empty()) take_element();
  }
  uint32_t sections() const { return sections_; }
  int checks() const { return checks_; }

 private:
  std::string until(const char* mark) {
    const size_t end = rest_.find(mark);
    EXPECT_NE(end, std::string::npos) << mark;
    std::string piece = rest_.substr(0, end);
    rest_ = end == std::string::npos ? "" : rest_.substr(end + strlen(mark));
    return piece;
  }

  static std::u32string characters(std::string text) {
    const std::map<std::string, char> entities = {
        {"&amp;",  '&' },
        {"&lt;",   '<' },
        {"&gt;",   '>' },
        {"&quot;", '"' },
        {"&apos;", '\''}
    };
    for (const auto& [entity, c] : entities) {
      for (size_t i; (i = text.find(entity)) != std::string::npos;) {
        text.replace(i, entity.size(), 1, c == '&' ? '\x1A' : c);
      }
    }
    std::u32string out;
    for (char byte : text) {
      const auto c = static_cast<unsigned char>(byte);
      if (c < 0x80) out += c == 0x1A ? U'&' : char32_t(c);
      if (c >= 0xC0) out += char32_t(c & (c < 0xE0 ? 0x1F : c < 0xF0 ? 0x0F : 0x07));
      if (c >= 0x80 && c < 0xC0) out.back() = out.back() << 6 | (c & 0x3F);
    }
    return out;
  }

  static uint32_t wide_sum(const std::u32string& text) {
    uint32_t sum = 0;
    for (char32_t c : text) sum += c & 0xFFFF;
    return sum;
  }

  static uint32_t narrow_sum(const std::u32string& text) {
    uint32_t sum = 0;
    for (char32_t c : text) {
      const uint32_t lead = c < 0x80 ? 0 : c < 0x800 ? 1 : c < 0x10000 ? 2 : 3;
      if (lead == 0) sum += c;
      for (uint32_t i = 0; i < lead; ++i) sum += (0x80 | (c >> 6 * i & 0x3F)) - 256;
      if (lead > 0) sum += ((0xF00u >> (lead + 1) & 0xFF) | c >> 6 * lead) - 256;
    }
    return sum;
  }

  void check(uint32_t expected, uint32_t modulus) {
    const std::string shown = until("<");
    EXPECT_EQ(shown.size(), modulus == 0 ? 8u : 4u);
    EXPECT_EQ(std::stoul(shown, nullptr, 16), modulus == 0 ? expected : expected % modulus);
    ++checks_;
  }

  void take_element() {
    until("<");
    const std::string tag = until(">");
    const std::string kind = tag.substr(0, tag.find(' '));
    if (kind == "ROW" || kind == "TABLE" || kind == "SECTION") sums_.push_back(0);
    if (kind == "FILE") in_file_ = true, sums_.push_back(0);
    if (kind.starts_with("![CDATA[")) {
      rest_ = tag.substr(8) + ">" + rest_;
      sums_.back() += wide_sum(characters(until("]]>")));
    }
    if (kind == "CHK") check(sums_.back(), sums_.size() == 1 || in_file_ ? 0 : 0x10000);
    if (kind == "STR" || kind == "ASC" || kind == "DEC" || kind == "HEX" || kind == "BOOL" ||
        kind == "DATE" || kind == "TIME" || kind == "DATETIME") {
      const std::u32string value = characters(until("<"));
      sums_.back() += tag.find("\"Wide") == std::string::npos ? narrow_sum(value) : wide_sum(value);
    }
    if (kind == "/ROW" || kind == "/TABLE" || kind == "/FILE") {
      const uint32_t sum = kind == "/FILE" ? sums_.back() : sums_.back() % 0x10000;
      sums_.pop_back();
      sums_.back() += sum;
      in_file_ = false;
    }
    if (kind == "/SECTION") {
      sections_ += sums_.back();
      sums_.pop_back();
    }
    while (rest_.starts_with("\r") || rest_.starts_with("\n")) rest_.erase(0, 1);
  }

  std::string rest_;
  std::vector<uint32_t> sums_;
  uint32_t sections_ = 0;
  int checks_ = 0;
  bool in_file_ = false;
};

/// A report whose sums pass 16 bits, with everything that a sum may stumble over.
std::string summed_report() {
  const sample_file file("]]> a&b <\xE2\x82\xAC\xF0\x9F\x98\x80\xFF]]]>" + std::string(70000, '~'));
  report_capture report;
  write_sample(report.stream());
  start_section(report.stream(), "second");
  log_file(report.stream(), file.path());
  {
    Table table(report.stream(), "big");
    table.declare(k_columns);
    for (int i = 0; i < 3; ++i) {
      table.start_row("row");
      table.log_data(std::string(1000, 'z') + "ä&\x02");
      table.end_row();
    }
  }
  end_section(report.stream());
  return report.text();
}

TEST(Table, AReceiverFindsTheSums) {
  Table::set_output_format(OUTPUT_KSML);
  const uint32_t before = Table::get_output_checksum();
  const receiver read(summed_report());
  EXPECT_EQ(read.checks(), 3 + 1 + 1 + 1 + 3 + 1 + 1);
  EXPECT_EQ(Table::get_output_checksum() - before, read.sections());
}

/// The sums and the text are the same when the narrow text is not UTF-8.
TEST(Table, SumsAreOverWhatIsWrittenInAnyLocale) {
  std::string folder = testing::TempDir() + "kestrel_locale_XXXXXX";
  ASSERT_NE(mkdtemp(folder.data()), nullptr);
  const std::string command =
      "localedef -c -i de_DE -f ISO-8859-1 " + folder + "/de_DE.l1 >/dev/null 2>&1";
  EXPECT_NE(std::system(command.c_str()), -1);
  setenv("LOCPATH", folder.c_str(), 1);
  ASSERT_NE(std::setlocale(LC_ALL, "de_DE.l1"), nullptr)
      << "needs localedef and its character maps";
  Table::set_output_format(OUTPUT_KSML);
  report_capture report;
  start_section(report.stream(), "\xDC");
  {
    Table table(report.stream(), "t");
    table.declare(std::span(k_columns, 1));
    table.start_row("r");
    table.log_data("\xE9<\x80");
    table.end_row();
  }
  end_section(report.stream());
  std::setlocale(LC_ALL, "C");
  unsetenv("LOCPATH");
  std::filesystem::remove_all(folder);
  const std::string text = report.text();
  EXPECT_NE(text.find("<SECTION ID=\"Ü\">"), std::string::npos);
  EXPECT_NE(text.find(">é&lt;\xC2\x80</STR>"), std::string::npos);
  EXPECT_EQ(receiver(text).checks(), 3);
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
  const auto on_disk = [&file] {
    std::ifstream in(file.path());
    return std::string(std::istreambuf_iterator<char>(in), {});
  };
  FILE* out = std::fopen(file.path(), "w");
  Table::set_output_format(OUTPUT_TEXT);
  {
    Table table(out, "t");
    table.declare(std::span(k_columns, 1));
    table.start_row("r");
    table.log_data("one");
    table.end_row();
    EXPECT_TRUE(on_disk().ends_with("| one          |\n"));
    std::fputs("between", out);
    table.start_row("r");
    table.end_row();
    EXPECT_TRUE(on_disk().ends_with("|\nbetween|\n"));
  }
  EXPECT_TRUE(on_disk().ends_with("between|\n+--------------+\n")) << "flushed at the end";
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

}  // namespace
}  // namespace kestrel
