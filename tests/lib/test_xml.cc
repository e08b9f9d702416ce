// Markup: names and values under every option, files embedded with every trap, ksml imports.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "lib/interface.h"
#include "lib/section.h"
#include "lib/table.h"
#include "lib/xml.h"
#include "tests/lib/report_capture.h"

using namespace std::string_literals;

namespace kestrel {
namespace {

std::string utf16(std::u16string_view text, bool big_endian) {
  std::string out;
  for (char16_t unit : text) {
    const char high = static_cast<char>(unit >> 8);
    const char low = static_cast<char>(unit & 0xFF);
    out += big_endian ? std::string{high, low} : std::string{low, high};
  }
  return out;
}

TEST(Xml, NamesFollowTheOptions) {
  Table::set_output_format(OUTPUT_XML);
  EXPECT_EQ(wide_make_xml_tag(L"disk size/MB 1.5-\u00e9"), L"KS_DISK_SIZE_MB_1.5-_");
  Table::set_output_format(OUTPUT_XML_LOWERCASE);
  EXPECT_EQ(wide_make_xml_tag(L"Disk"), L"disk");
  Table::set_output_format(OUTPUT_TALV);
  EXPECT_EQ(wide_make_xml_tag(L"Disk"), L"Disk");
  EXPECT_EQ(wide_make_xml_tag(nullptr), L"");
}

TEST(Xml, ValuesAreEscapedAndCarriable) {
  EXPECT_EQ(wide_make_xml_value(L"a < b & \"c\" > 'd'"),
            L"a &lt; b &amp; &quot;c&quot; &gt; &apos;d&apos;");
  EXPECT_EQ(wide_make_xml_value(L"\u0001\t\n\r\x1f\x7f\xDC80\xD800\uFFFE\uFFFF\uFFFD\U0010FFFF"),
            L"\uFFFD\t\n\r\uFFFD\x7f\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD\U0010FFFF");
}

TEST(Xml, Writers) {
  report_capture report;
  FILE* out = report.stream();
  Table::set_output_format(OUTPUT_KSML);
  xml_file_heading(out);
  xml_open_tag(out, "row", "a<b");
  xml_open_wide_tag(out, "row", L"\u20ac");
  xml_named_value(out, "STR", "Model", 20, "X");
  xml_wide_named_value(out, "STR", L"Mo\u00e9", 0, L"X");
  xml_wide_tag_value(out, "Value", L"&");
  xml_close_wide_tag(out, L"row");
  Table::set_output_format(OUTPUT_XML_LOWERCASE);
  xml_open_tag(out, "Row", "no attribute");
  xml_named_value(out, "STR", "Model", 20, "X");
  xml_tag_value(out, "größe", nullptr);
  xml_close_tag(out, "Row");
  xml_close_tag(nullptr, "nowhere");
  EXPECT_EQ(report.text(), with_cr("<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"yes\"?>\n"
                                   "<ROW ID=\"a&lt;b\">\n<ROW ID=\"€\">\n"
                                   "<STR ID=\"Model\" W=\"20\">X</STR>\n<STR ID=\"Moé\">X</STR>\n"
                                   "<VALUE>&amp;</VALUE>\n</ROW>\n"
                                   "<row>\n<str W=\"20\">X</str>\n<gr__e></gr__e>\n</row>\n"));
}

// --- embedded files

/// What stands between the element's start and end; the sum goes to `sum`.
std::string embedded(std::string_view content, unsigned limit = 0, uint32_t* sum = nullptr) {
  Table::set_output_format(OUTPUT_XML);
  const sample_file file(content);
  report_capture report;
  const uint32_t found = xml_log_file(report.stream(), file.path(), nullptr, limit);
  if (sum != nullptr) *sum = found;
  const std::string start = "<KS_FILE name=\"" + std::string(file.path()) + "\">\r\n<![CDATA[";
  const std::string end = "]]>\r\n</KS_FILE>\r\n";
  const std::string text = report.text();
  EXPECT_TRUE(text.starts_with(start) && text.ends_with(end)) << text;
  return text.substr(start.size(), text.size() - start.size() - end.size());
}

TEST(Xml, EmbeddedFilesKeepTheReportWhole) {
  const std::string mark = "\xEF\xBF\xBD";
  const std::string filler(1022, 'x');
  EXPECT_EQ(embedded(""), "");
  EXPECT_EQ(embedded("a<&>\r\n\tb"), "a<&>\r\n\tb") << "CDATA is not escaped";
  EXPECT_EQ(embedded("a\0b\x1B\xFF\xC3"s), "a" + mark + "b" + mark + mark + mark);
  EXPECT_EQ(embedded("a]]>b]]]>]] >]>]]"), "a]]]]><![CDATA[>b]]]]]><![CDATA[>]] >]>]]");
  EXPECT_EQ(embedded(filler + "]]>"), filler + "]]]]><![CDATA[>")
      << "the mark lies over two blocks";
  EXPECT_EQ(embedded(filler + "x€y"), filler + "x€y") << "so does the character";
  EXPECT_EQ(embedded(filler + "x€y", 1000), filler + "x€") << "the limit falls into it";
  EXPECT_EQ(embedded(std::string(5000, 'z'), 1025).size(), 2048u) << "limits count in blocks";
}

TEST(Xml, EmbeddedUtf16) {
  const std::u16string filler(511 - 1, u'x');
  for (bool big_endian : {false, true}) {
    const std::u16string text = u"\uFEFF" + filler + u"\U0001F600]]>\xD800z\xDC00";
    uint32_t sum = 0;
    // The pair lies over two blocks, half pairs and an odd byte at the end are replaced.
    EXPECT_EQ(embedded(utf16(text, big_endian) + "!", 0, &sum),
              "\uFEFF" + std::string(filler.size(), 'x') + "😀]]]]><![CDATA[>\uFFFDz\uFFFD\uFFFD");
    EXPECT_EQ(sum, 0xFEFFu + 510 * 'x' + 0x1F600 + ']' * 2 + '>' + 'z' + 3 * 0xFFFD);
    EXPECT_EQ(embedded(utf16(text, big_endian), 512),
              "\uFEFF" + std::string(filler.size(), 'x') + "😀");
  }
}

TEST(Xml, EmbeddedFilesAreFramed) {
  report_capture report;
  FILE* in = fmemopen(const_cast<char*>("AB"), 2, "r");
  Table::set_output_format(OUTPUT_KSML);
  EXPECT_EQ(xml_log_file(report.stream(), "a&b", in, 0), 131u);
  EXPECT_EQ(std::fgetc(in), EOF);
  std::fclose(in);  // still open
  EXPECT_EQ(xml_log_file(report.stream(), "/nonexistent", nullptr, 0), 0u);
  Table::set_output_format(OUTPUT_XML_LOWERCASE);
  EXPECT_EQ(xml_log_file(report.stream(), "/nonexistent", nullptr, 0), 0u);
  EXPECT_EQ(xml_log_file(report.stream(), nullptr, nullptr, 0), 0u);
  EXPECT_EQ(xml_log_file(nullptr, "/nonexistent", nullptr, 0), 0u);
  EXPECT_EQ(report.text(),
            with_cr("<FILE ID=\"a&amp;b\">\n<![CDATA[AB]]>\n<CHK>      83</CHK>\n</FILE>\n"
                    "<FILE ID=\"/nonexistent\">\n<CHK>       0</CHK>\n</FILE>\n"
                    "<FILE>\n<chk>       0</chk>\n</FILE>\n"));
}

// --- imports

struct import_result {
  uint32_t sum;
  std::string text;  // less the comments around an accepted one
};

import_result imported(std::string_view content) {
  const sample_file file(content);
  report_capture report;
  const uint32_t sum = xml_log_ksml_file(report.stream(), file.path());
  std::string text = report.text();
  const std::string start = "<!-- import " + std::string(file.path()) + " -->\r\n";
  const std::string end = "<!-- end of import -->\r\n";
  if (text.starts_with(start) && text.ends_with(end)) {
    text = text.substr(start.size(), text.size() - start.size() - end.size());
  }
  return {sum, text};
}

TEST(Xml, ImportsAreAcceptedByTheirFirstLine) {
  const std::string head = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";
  const std::string body = "<A>\xFF]]>\0</A>\r\n"s;
  uint32_t sum = 0;
  for (char c : body) sum += static_cast<unsigned char>(c);
  const std::pair<std::string, bool> cases[] = {
      {head,                                                      true },
      {"\xEF\xBB\xBF" + head,                                     true },
      {"<?xml  version=\"1.0\"\tencoding=\"UTF-8\" more ?>\r\n",  true },
      {"<?xml version=\"1.1\" encoding=\"UTF-8\"?>\n",            false},
      {"<?xml version=\"1.0\" encoding=\"utf-8\"?>\n",            false},
      {"<?xml version=\"1.0\" encoding=\"UTF-16\"?>\n",           false},
      {"<?xml version=\"1.0\" encoding=\"\"?>\n",                 false},
      {"<?xml version=\"1.0\" encoding=\"UTF-8UTF-8UTF-8UTF-8\n", false},
      {"<?xml version=\"1.0\"?>\n",                               false},
      {" " + head,                                                false},
      {"\n" + head,                                               false},
      {"<?xml\0version=\"1.0\" encoding=\"UTF-8\"?>\n"s,          false},
      {"\xFE\xFF" + head,                                         false},
      {"",                                                        false},
  };
  for (const auto& [start, is_accepted] : cases) {
    const import_result result = imported(start + body);
    EXPECT_EQ(result.text, is_accepted ? body : "") << start;
    EXPECT_EQ(result.sum, is_accepted ? sum : 42) << start;
  }
  EXPECT_EQ(imported(head).sum, 42u) << "an empty import counts as processed";
  EXPECT_EQ(imported("<?").sum, 42u);
  // The first line ends after 1024 characters.
  EXPECT_EQ(imported(head.substr(0, head.size() - 1) + std::string(2000, ' ')).text,
            std::string(2000 + head.size() - 1 - 1024, ' '));
}

TEST(Xml, ImportsOfUtf16) {
  const std::u16string head = u"\uFEFF<?xml version=\"1.0\" encoding=\"UTF-16\"?>\r\n";
  const auto in_utf16 = [&head](std::u16string_view body) {
    return imported(utf16(head, false) + utf16(body, false));
  };
  const std::u16string filler(600, u'-');
  const import_result result = in_utf16(u"<A>\u0A0A\U0001F600\n" + filler + u"\xD800</A>");
  EXPECT_EQ(result.text, "<A>ਊ😀\n" + std::string(600, '-') + "\uFFFD</A>");
  EXPECT_EQ(result.sum,
            2u * ('<' + 'A' + '>') + '/' + 0x0A0A + 0x1F600 + '\n' + 600 * '-' + 0xFFFD);
  EXPECT_EQ(imported(utf16(head, false) + "!").text, "\uFFFD") << "an odd byte";
  EXPECT_EQ(imported(utf16(u"\uFEFF<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n", false)).sum, 42u);
  EXPECT_EQ(imported("\xFF\xFE").sum, 42u);
}

TEST(Xml, ImportsThatMeanHarm) {
  // A path that would end the comment.
  scratch_folder scratch;
  scratch.enter();
  mkdir("a-->--b\t&", 0700);
  const char path[] = "a-->--b\t&/x.ksml";
  put_file(path, "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n");
  report_capture report;
  EXPECT_EQ(xml_log_ksml_file(report.stream(), path), 42u);
  EXPECT_EQ(report.text(), with_cr("<!-- import a- -&gt;- -b\t&amp;/x.ksml -->\n"
                                   "<!-- end of import -->\n"));
  unlink(path);
  // What is no regular file is not even opened.
  ASSERT_EQ(mkfifo(path, 0600), 0);
  EXPECT_EQ(xml_log_ksml_file(report.stream(), path), 0u);
  EXPECT_EQ(xml_log_ksml_file(report.stream(), "."), 0u);
}

TEST(Xml, ImportsGoIntoTheSumOfTheReport) {
  const sample_file file("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n\x01");
  report_capture report;
  Table::set_output_format(OUTPUT_KSML);
  const uint32_t before = Table::get_output_checksum();
  EXPECT_TRUE(log_ksml_file(report.stream(), file.path()));
  EXPECT_EQ(Table::get_output_checksum() - before, 1u);
  EXPECT_FALSE(log_ksml_file(report.stream(), "/nonexistent"));
  EXPECT_FALSE(log_ksml_file(nullptr, file.path()));
}

}  // namespace
}  // namespace kestrel
