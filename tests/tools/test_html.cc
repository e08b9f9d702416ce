// The page's writer below the browser: what it escapes and how it cuts files. How the page behaves,
// and that its policy lets its own script run, is tested in a browser (tests/run/html_check.py).
#include <gtest/gtest.h>

#include "tests/lib/report_capture.h"
#include "tools/ks2/html_page.h"
#include "tools/ks2/html_text.h"

namespace kestrel::ks2 {
namespace {

std::string page_of(const report& content) {
  const judgement found;
  const page_source source = {"f.xml", 1, {}, content, found};
  return written_by([&](FILE* out) { write_page(source, out); });
}

struct escape_case {
  const char* from;
  const char* text;   ///< as characters on one line
  const char* lines;  ///< as text of a report, lines kept
};
constexpr escape_case k_escapes[] = {
    {"a<b>&\"'",                     "a&lt;b&gt;&amp;&quot;&#39;",           "a&lt;b&gt;&amp;&quot;&#39;" },
    {"&lt;&amp;&apos;",              "&amp;lt;&amp;amp;&amp;apos;",          "&lt;&amp;&#39;"             },
    {"&amp;lt;&#60;&",               "&amp;amp;lt;&amp;#60;&amp;",           "&amp;lt;&amp;#60;&amp;"     },
    {"a\r\nb\tc\rd",                 "a  b c d",
     "a\nb\tc\xEF\xBF\xBD"
     "d"                                                                                                  },
    {"\x1b[1m\x7f",                  "\xEF\xBF\xBD[1m\xEF\xBF\xBD",          "\xEF\xBF\xBD[1m\xEF\xBF\xBD"},
    {"\xC3\xA9\xC2\x85\xE2\x80\xAE", "\xC3\xA9\xEF\xBF\xBD\xEF\xBF\xBD",
     "\xC3\xA9\xEF\xBF\xBD\xEF\xBF\xBD"                                                                   },
    {"\xFF\xE2\x82",                 "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD",
     "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD"                                                               },
};

TEST(Html, EscapesEverything) {
  for (const escape_case& each : k_escapes) {
    EXPECT_EQ(written_by([&](FILE* out) { html_writer(out).text(each.from); }), each.text);
    EXPECT_EQ(written_by([&](FILE* out) { html_writer(out).raw_lines(each.from); }), each.lines);
  }
  const std::string long_text(200'000, '<');
  EXPECT_EQ(written_by([&](FILE* out) { html_writer(out).text(long_text); }).size(), 800'000U);
}

TEST(Html, HumanUnits) {
  EXPECT_EQ(human_bytes(1023), "1023 bytes");
  EXPECT_EQ(human_bytes(1024 * 1024 - 1), "1.0 MiB");
  EXPECT_EQ(human_bytes(UINT64_MAX), "16.0 EiB");
}

/// The text of all pieces of the page's file, joined.
std::string shown_file(std::string_view content) {
  report shown = {};
  shown.sections.push_back({"S", 0});
  shown.sections[0].files.push_back({"f", 0});
  shown.sections[0].files[0].content = content;
  shown.sections[0].parts.push_back({true, 0});
  const std::string page = page_of(shown);
  std::string text;
  for (size_t at = 0; (at = page.find("<pre>\n", at)) != std::string::npos;) {
    at += 6;
    text += page.substr(at, page.find("</pre>", at) - at);
  }
  for (size_t at; (at = text.find("&gt;")) != std::string::npos;) text.replace(at, 4, ">");
  return text;
}

// Wherever a piece ends: inside a line, a character, a line end or a joint of two CDATA sections.
TEST(Html, FilesAreWholeHoweverTheyAreCut) {
  for (size_t shift = 0; shift < 20; ++shift) {
    const std::string start(1985 + shift, 'x');
    EXPECT_EQ(shown_file(start + "]]]]><![CDATA[>" + start), start + "]]>" + start);
    EXPECT_EQ(shown_file(start + "\r\n\n" + start + "\n"), start + "\n\n" + start + "\n");
    std::string accents;
    for (int i = 0; i < 40'000; ++i) accents += "\xC3\xA9";
    EXPECT_EQ(shown_file(std::string(shift, 'x') + accents), std::string(shift, 'x') + accents);
  }
  std::string lines;
  for (int i = 0; i < 1000; ++i) lines += "\nline";
  EXPECT_EQ(shown_file(lines), lines);
}

}  // namespace
}  // namespace kestrel::ks2
