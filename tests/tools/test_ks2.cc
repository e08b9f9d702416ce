// ks2: reports of the real writer and containers around them, then damaged in every way: each byte,
// each length, each size.
#include <gtest/gtest.h>

#include "lib/lzh.h"
#include "lib/utilstr.h"
#include "tests/lib/report_capture.h"
#include "tests/tools/ks2_samples.h"
#include "tools/ks2/input_file.h"
#include "tools/ks2/json.h"
#include "tools/ks2/ksml_check.h"
#include "tools/ks2/ksml_reader.h"
#include "tools/ks2/safe_output.h"
#include "tools/ks2/shown_text.h"
#include "tools/ks2/text_table.h"

namespace kestrel::ks2 {
namespace {

/// What a character_reader or a shown_reader hands out.
template <class Reader>
std::string all_of(Reader reader) {
  std::string text;
  for (wchar_t c; reader.next(c);) append_character(text, c);
  return text;
}

std::vector<std::string> wrap(const std::string& text, size_t width) {
  line_breaker breaker(shown_reader({text}, true), width);
  std::vector<std::string> lines;
  for (std::string line; breaker.next(line);) lines.push_back(line);
  return lines;
}

std::string formatted(const text_table& table, size_t width) {
  report_capture out;
  text_output text(out.stream(), audience::programs);
  write_rows(table, width, text);
  text.flush();
  return out.text();
}

// --- whole files ------------------------------------------------------------------------------

TEST(Ks2Verify, WhatTheGathererWritesIsWhole) {
  for (const unsigned size : {0U, 1000U, 70000U}) {  // sums that pass 16 bits
    const outcome loose = verified(make_report({}, std::string(size, '~')));
    EXPECT_FALSE(loose.is_damaged()) << loose.text;
  }
  const file_bytes plain = make_container(small_parts(make_report()));
  for (const file_bytes& form : {plain, stuffed(plain)}) {
    const outcome found = verified(form);
    EXPECT_FALSE(found.is_damaged()) << found.text;
    EXPECT_EQ(found.text, "machine identity, stored file") << "what carries no sums";
  }
}

TEST(Ks2Verify, ImportsCountAsTheirWriterCountedThem) {
  const std::string head = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\r\n";
  const std::string nested =
      head + "<X>\n<!-- import y -->\r\n<Y/>\r\n<!-- end of import -->\r\n</X>\n";
  std::string utf16 = "\xFF\xFE";
  for (const char c : std::string("<?xml version=\"1.0\" encoding=\"UTF-16\"?>\n<Z>\xE9</Z>\n")) {
    utf16 += {c, '\0'};
  }
  const std::string section =
      head + "<SECTION ID=\"PLUG-IN\">\n<TABLE ID=\"T\">\n</TABLE>\n</SECTION>\n";
  const std::string report = make_report({nested, utf16, section, head, "no ksml", "none either"});
  const outcome found = verified(report);
  EXPECT_FALSE(found.is_damaged()) << found.text;
  EXPECT_TRUE(found.tells("files that were to be imported but were no ksml: 2"));
  fault_list faults;
  const kestrel::ks2::report content = read_ksml(report, k_default_max_size, faults);
  ASSERT_EQ(content.imports.size(), 4u);
  ASSERT_EQ(content.sections.size(), 6u);
  EXPECT_EQ(content.sections[4].title, "PLUG-IN");
  EXPECT_EQ(content.sections[4].import, 2);
  EXPECT_EQ(all_of(character_reader(text_of(content.sections[2].files[0]))),
            nested.substr(head.size()));
  EXPECT_TRUE(verified(replaced(report, "<Y/>", "<Z/>")).tells("the sum of the report"));
}

TEST(Ks2Verify, FilesCountWithWholeCharacters) {
  const file_sums sums =
      sums_of_file({.path = {}, .offset = 0, .content = "\xF0\x9F\x98\x80]]]]><![CDATA[>"});
  EXPECT_EQ(sums.whole, 0x1F600u + ']' * 2 + '>');
  EXPECT_EQ(sums.low_halves, 0xF600u + ']' * 2 + '>') << "as older gatherers counted";
}

TEST(Ks2Verify, CellsOfARowMixTheTwoRules) {
  const value_sums sums = sums_of_value("&lt;\xC3\xA9\xF0\x9F\x98\x80&amp;");
  EXPECT_EQ(sums.narrow, static_cast<uint16_t>('<' + 0xC3 + 0xA9 - 512 + 0xF0 + 0x9F + 0x98 + 0x80 -
                                               1024 + '&'));
  EXPECT_EQ(sums.wide, '<' + 0xE9 + 0xF600 + '&');
  // The real writer mixed them too; any other sum is told, with its place.
  const std::string report = make_report();
  const size_t at = report.find("<CHK>") + 5;
  std::string changed = report;
  changed[at] = changed[at] == 'A' ? 'B' : 'A';
  EXPECT_TRUE(verified(changed).tells("STORAGE/Disks & <more> row 0: the sum of the row"));
  for (const char* wrong : {"12a4", " 0 1", "0001", "    ", "123", "12345", "-123"}) {
    EXPECT_FALSE(parse_sum(wrong, 4)) << wrong;
  }
  EXPECT_EQ(parse_sum("   0", 4), 0u);
  EXPECT_EQ(parse_sum("FFFFFFFF", 8), 0xFFFFFFFFu);
}

// --- damage -----------------------------------------------------------------------------------

TEST(Ks2Damage, EveryChangedByteOfAReportIsTold) {
  const std::string report =
      make_report({"<?xml version=\"1.0\" encoding=\"UTF-8\"?>\r\n<X>1</X>\r\n"});
  const std::vector<bool> silent = unguarded(report);
  for (size_t at = 0; at < report.size(); ++at) {
    for (const int flip : {0x01, 0x08, 0x20, 0x80}) {
      std::string changed = report;
      changed[at] = static_cast<char>(changed[at] ^ flip);
      if (!silent[at]) {
        EXPECT_TRUE(verified(changed).is_damaged()) << at << " " << report.substr(at, 20);
      }
    }
  }
}

TEST(Ks2Damage, EveryTruncationIsToldAndShownAsFarAsItGoes) {
  const std::string report = make_report();
  for (size_t size = 0; size < report.size(); ++size) {
    const std::string cut_report = report.substr(0, size);
    ASSERT_TRUE(verified(cut_report).is_damaged()) << size;
  }
  const file_bytes plain = make_container(small_parts(report));
  for (const file_bytes& form : {plain, stuffed(plain)}) {
    size_t most_rows = 0;
    for (size_t size = 0; size < form.size(); ++size) {
      file_bytes bytes(form.begin(), form.begin() + static_cast<std::ptrdiff_t>(size));
      ASSERT_TRUE(verified(bytes).is_damaged()) << size;
      const input_file file("file", bytes, k_default_max_size);
      if (file.status() != exit_whole) continue;
      std::optional<opened_report> opened;
      EXPECT_NE(judge(file, judging::quick, &opened).status(), exit_whole) << size;
      if (!opened) continue;
      const std::string_view shown_part = opened->decoded.text();
      EXPECT_EQ(shown_part, std::string_view(report).substr(0, shown_part.size())) << size;
      if (opened->content.sections.empty()) continue;
      const auto& tables = opened->content.sections[0].tables;
      if (!tables.empty()) most_rows = std::max(most_rows, tables[0].rows.size());
    }
    EXPECT_EQ(most_rows, 4u);
  }
}

/// The report without what nothing vouches for, its letters in order: sums do not tell two letters
/// that changed places.
std::string guarded(std::string_view report) {
  const std::vector<bool> silent = unguarded(std::string(report));
  std::string text;
  for (size_t i = 0; i < report.size(); ++i) {
    if (!silent[i]) text += report[i];
  }
  std::sort(text.begin(), text.end());
  return text;
}

TEST(Ks2Damage, EveryChangedByteOfAContainerIsToldOrLeavesTheReportAlone) {
  const std::string report = make_report();
  const file_bytes plain = make_container(small_parts(report));
  for (const file_bytes& form : {plain, stuffed(plain)}) {
    for (size_t at = 0; at < form.size(); ++at) {
      file_bytes changed = form;
      changed[at] ^= static_cast<unsigned char>(1u << (at % 8));
      if (verified(changed).is_damaged()) continue;
      const input_file file("file", changed, k_default_max_size);
      ASSERT_EQ(file.items().size(), 3u) << at;
      EXPECT_EQ(guarded(file.decode(file.items()[2]).text()), guarded(report)) << at;
    }
  }
}

TEST(Ks2Damage, HeadsAndSizesThatLieAreTold) {
  const file_bytes plain = make_container(small_parts(make_report()));
  const auto changed = [&](size_t at, int by) {
    file_bytes bytes = plain;
    bytes[at] = static_cast<unsigned char>(bytes[at] + by);
    return verified(bytes);
  };
  EXPECT_EQ(changed(9, 1).status, exit_not_gather_file);
  EXPECT_TRUE(changed(17, 1).tells("byte 17"));
  EXPECT_TRUE(changed(18, 1).tells("byte 18"));
  EXPECT_TRUE(changed(10, 1).tells("stamp"));
  EXPECT_TRUE(changed(19, 1).tells("the file ends inside an item's record"));
  EXPECT_TRUE(changed(19, -1).tells("bytes behind the last item"));
  const input_file file("file", plain, k_default_max_size);
  for (const input_item& item : file.items()) {
    for (const size_t field : {size_t{1}, size_t{6}}) {
      for (const int by : {-1, 1, 2, -2, 16, 100}) {
        EXPECT_TRUE(changed(item.offset + field, by).is_damaged()) << item.offset << " " << by;
      }
      EXPECT_TRUE(changed(item.offset + field + 3, 0xFF).is_damaged());
    }
    EXPECT_TRUE(changed(item.offset + 5, item.flag == 0 ? 1 : -1).is_damaged());
    EXPECT_TRUE(changed(item.offset + 5, 7).is_damaged());
    file_bytes swapped = plain;
    std::swap_ranges(swapped.begin() + static_cast<std::ptrdiff_t>(item.offset + 1),
                     swapped.begin() + static_cast<std::ptrdiff_t>(item.offset + 5),
                     swapped.begin() + static_cast<std::ptrdiff_t>(item.offset + 6));
    EXPECT_TRUE(verified(swapped).is_damaged());
  }
  file_bytes longer = plain;
  longer.push_back(0);
  EXPECT_TRUE(verified(longer).tells("bytes behind the last item: 1"));
}

TEST(Ks2Damage, WhatIsMissingAroundAnElementCostsNothingElse) {
  const std::string report = make_report();
  const std::tuple<const char*, const char*, const char*> samples[] = {
      {"<SECTION ID=\"STORAGE\">", "",                    "outside of SECTION"          },
      {"<ROW ID=\"sda\">\r\n",     "",                    "outside of ROW"              },
      {"</ROW>\r\n",               "",                    "ROW has no end"              },
      {"</TABLE>\r\n",             "",                    "TABLE has no end"            },
      {"<GATHERED_DATA>\r\n",      "",                    "outside of GATHERED_DATA"    },
      {">sda</STR>",               ">sd<a</STR>",         "a '<' in the value"          },
      {">sda</STR>\r\n",           ">sda\r\n",            "element <STR> has no end"    },
      {">sda</STR>",               ">s\x1b[2Jda</STR>",   "forbidden character U+001B"  },
      {">sda</STR>",               ">\xE9 sda</STR>",     "byte E9 is no UTF-8"         },
      {">sda</STR>",               ">s&nbsp;da</STR>",    "begins no entity"            },
      {"]]]]><![CDATA[>",          "]]>",                 "a CDATA section ends early"  },
      {"<COLS>5</COLS>\r\n",       "<COLS>3</COLS>\r\n",  "the row has 5 cells in 3"    },
      {"<COLS>5</COLS>\r\n",       "",                    "no column count"             },
      {"<ROWS>4</ROWS>",           "<ROWS>5</ROWS>",      "should have 5 rows, it has 4"},
      {"ID=\"Size\"",              "ID=\"Sise\"",         "column 2 is \"Size\""        },
      {"<CHK>",                    "<!-- x -->\r\n<CHK>", "a comment that no gatherer"  },
      {"<FILE ",                   "<BLINK>\r\n<FILE ",   "unknown element <BLINK>"     },
      {"\r\n<TABLE",               "\n<TABLE",            "lines that end in LF"        },
  };
  for (const auto& [what, with, told] : samples) {
    const std::string damaged = replaced(report, what, with);
    const outcome found = verified(damaged);
    EXPECT_TRUE(found.tells(told)) << what << " -> " << with << "\n" << found.text;
    EXPECT_LE(found.faults.fault_count(), 12u) << what << "\n" << found.text;
    fault_list faults;
    const kestrel::ks2::report content = read_ksml(damaged, k_default_max_size, faults);
    ASSERT_GE(content.sections.size(), 2u) << what;
    EXPECT_EQ(content.sections.back().tables[0].rows.size(), 4u) << what;
    EXPECT_EQ(content.sections[0].tables[0].rows.size(), 4u) << what;
    EXPECT_EQ(content.sections[0].files.size(), 2u) << what;
  }
}

TEST(Ks2Damage, HostileFilesStayWithinTheLimit) {
  // 20 bytes that claim 4 GiB, and as much as they could hold at the very most.
  for (const uint32_t claim : {0xFFFFFFFFu, 20u * 48}) {
    file_bytes bomb = make_container({});
    bomb[k_gth_count_offset] = 1;
    append(bomb, encode_record({item_report, claim, 1, 20}));
    bomb.resize(bomb.size() + 20);
    EXPECT_TRUE(verified(bomb).is_told());
  }
  const std::string blanks(1 << 20, ' ');
  const file_bytes packed = make_container({
      {item_identity, k_identity, false},
      {item_filescan, blanks,     true }
  });
  EXPECT_TRUE(verified(packed, 1 << 16).tells("more than --max-size allows"));
  EXPECT_EQ(verified(packed, 100).status, exit_unreadable);
  std::string cells =
      "<GATHERED_DATA>\r\n<SECTION ID=\"S\">\r\n<TABLE ID=\"T\">\r\n<ROW ID=\"R\">\r\n";
  for (int i = 0; i < 10'000; ++i) cells += "<STR ID=\"\"></STR>\r\n";
  EXPECT_TRUE(verified(bytes_of(cells), 3 * cells.size()).tells("takes more memory"));
  // Patterns that tempt a reader into searching the same bytes again and again.
  for (const char* pattern :
       {"<", "<!-- import x -->\r\n<!-- import x -->\r\n<!-- end of import -->\r\n",
        "<FILE ID=\"x\">\r\n<![CDATA[]]>x", "<STR>", "<![CDATA[", "<?", "&", "<!--", "</",
        "<A ID=\"", "]]><![CDATA["}) {
    std::string text = "<GATHERED_DATA>";
    while (text.size() < 400'000) text += pattern;
    EXPECT_TRUE(verified(text).is_told());
  }
}

// --- what is shown and written ----------------------------------------------------------------

TEST(Ks2Show, AFileIsShownByItsCharacters) {
  const std::string text = make_report();
  fault_list faults;
  const kestrel::ks2::report content = read_ksml(text, k_default_max_size, faults);
  EXPECT_EQ(all_of(character_reader(text_of(content.sections[0].files[0]))),
            "line\r\n]]> and ]]]]>\n\xF0\x9F\x98\x80 \xEF\xBF\xBD end]]");
}

TEST(Ks2Show, TablesFitAndLoseNothing) {
  setlocale(LC_CTYPE, "C.UTF-8");
  EXPECT_EQ(wrap("one two three", 7), (std::vector<std::string>{"one two", "three"}));
  EXPECT_EQ(wrap("\u4e2d\u6587\u5b57", 4), (std::vector<std::string>{"\u4e2d\u6587", "\u5b57"}));
  EXPECT_EQ(wrap("abcdef\n\nx", 3), (std::vector<std::string>{"abc", "def", "", "x"}));
  EXPECT_EQ(wrap("e\u0301e\u0301e", 2), (std::vector<std::string>{"e\u0301e\u0301", "e"}));
  text_table table({
      {"A",      false},
      {"Number", true }
  });
  table.rows = {
      {"\u4e2d\u6587 and more words", "17"},
      {"x",                             "4"},
      {"short"}
  };
  EXPECT_EQ(formatted(table, 20),
            "\u4e2d\u6587 and          17\nmore words\nx                  4\nshort\n");
  EXPECT_EQ(
      formatted(table, 12),
      "A       \u4e2d\u6587\n        and\n        more\n        word\n        s\nNumber  17\n\n"
      "A       x\nNumber  4\n\nA       shor\n        t\n\n");
  setlocale(LC_CTYPE, "C");
}

TEST(Ks2Show, NothingReachesTheTerminalThatItWouldActUpon) {
  const std::string text = "a\x1b[31m\tb\r\nc\rd\x7f\xC2\x9B\xE2\x80\xAE\xE9!";
  const std::string mark = "\xEF\xBF\xBD";
  EXPECT_EQ(shown(text), "a" + mark + "[31m b  c d" + mark + mark + mark + mark + "!");
  EXPECT_EQ(all_of(shown_reader({text}, true)),
            "a" + mark + "[31m\tb\nc" + mark + "d" + mark + mark + mark + mark + "!");
  EXPECT_EQ(json_string("\"\\\n\x1b\xC2\x9B\xE9\xF3\xA0\x80\x81"),
            "\"\\\"\\\\\\n\\u001b\\u009b\xEF\xBF\xBD\\udb40\\udc01\"");
  EXPECT_TRUE(is_json_integer("-17") && is_json_integer("0"));
  for (const char* other : {"", "-", "007", "1.5", "1234567890123456", "1e3"}) {
    EXPECT_FALSE(is_json_integer(other)) << other;
  }
}

TEST(Ks2Extract, NamesAreSafe) {
  EXPECT_EQ(safe_file_name("/etc/passwd"), "passwd");
  EXPECT_EQ(safe_file_name("..\\..\\boot.ini"), "boot.ini");
  EXPECT_EQ(safe_file_name("/etc/.."), "_.");
  EXPECT_EQ(safe_file_name("-rf"), "_rf");
  EXPECT_EQ(safe_file_name("a\x1b\n\xE9\xE2\x80\xAE"
                           "b"),
            "a____b");
  EXPECT_EQ(safe_file_name("dir/"), "");
  EXPECT_EQ(safe_file_name(std::string(199, 'a') + "\xC3\xA9").size(), 199u);
  name_giver names;
  names.reserve("report.ksml");
  EXPECT_EQ(names.unused_name("report.ksml", false), "report.ksml.2");
  EXPECT_EQ(names.unused_name("report.ksml", true), "report.ksml");
  EXPECT_EQ(names.unused_name("report.ksml", true), "report.ksml.3");
  EXPECT_EQ(names.unused_name(std::string(200, 'a'), false).size(), 200u);
  EXPECT_EQ(names.unused_name(std::string(200, 'a'), false), std::string(198, 'a') + ".2");
}

/// The most bytes of output that need no more than the stream.
size_t whole_output(LzH& coder, byte_span stream, size_t size) {
  file_bytes output(size);
  size_t least = 0;
  for (size_t most = size; least < most;) {
    const size_t middle = most - (most - least) / 2;
    // Equal sizes would mean stored; the next size is asked instead.
    const size_t asked = middle + (middle == stream.size() ? 1 : 0);
    const bool is_whole =
        asked <= size && coder.Decode(stream, std::span(output).first(asked)) == 0;
    (is_whole ? least : most) = is_whole ? middle : middle - 1;
  }
  return least;
}

TEST(Ks2Damage, OfACutStreamExactlyTheGoodBeginningIsKept) {
  LzH coder;
  for (const std::string& text : {std::string(3000, ' ') + std::string(500, 'x'), make_report(),
                                  make_report().substr(0, 300) + std::string(9000, '~')}) {
    file_bytes stream(2 * text.size()), output(text.size());
    LzwComp sizes = {};
    ASSERT_EQ(coder.Encode(bytes_of(text), stream, &sizes), 0);
    for (size_t size = 0; size <= sizes.compressed_size; ++size) {
      const byte_span cut_stream = byte_span(stream).first(size);
      const size_t expected = whole_output(coder, cut_stream, text.size());
      const bool is_whole = coder.Decode(cut_stream, output) == 0;
      ASSERT_TRUE(coder.output_made() == expected || coder.output_made() == size) << size;
      ASSERT_EQ(is_whole, coder.output_made() == text.size()) << size;
      ASSERT_TRUE(std::equal(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(expected),
                             reinterpret_cast<const char*>(output.data())));
    }
  }
}

}  // namespace
}  // namespace kestrel::ks2
