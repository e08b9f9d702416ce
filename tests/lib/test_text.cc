// Encodings, strings, lists, wildcards and capacities.
#include <gtest/gtest.h>

#include <cstdlib>
#include <random>

#include "lib/ascii.h"
#include "lib/interface.h"
#include "lib/mbcs.h"
#include "lib/textfile.h"
#include "lib/util_linux.h"
#include "lib/util_string.h"
#include "lib/utilstr.h"
#include "tests/lib/scratch.h"

using namespace kestrel;
using namespace std::string_literals;

namespace {

/// Bytes of which many are pieces of multibyte characters.
std::string noise(unsigned seed, size_t size) {
  std::minstd_rand random(seed);
  constexpr std::string_view k_likely =
      "a\n\x80\xA1\xBF\xC2\xE0\xED\xEF\xF0\xF4\x8F\xA4\xE2\x82\xAC";
  std::string bytes;
  while (bytes.size() < size) {
    const auto pick = random();
    bytes.push_back(pick % 3 == 0 ? static_cast<char>(pick / 3)
                                  : k_likely[pick / 3 % k_likely.size()]);
  }
  return bytes;
}

void expect_bytes_survive() {
  for (unsigned seed = 1; seed <= 200; ++seed) {
    const std::string bytes = noise(seed, seed % 40);
    const std::wstring wide = mbcs_to_wide(bytes);
    ASSERT_EQ(wide_to_mbcs(wide), bytes) << "seed " << seed;
    EXPECT_EQ(character_count(bytes), wide.size());
    for (size_t at = 0; at <= bytes.size(); ++at) {
      block_decoder decoder;
      std::wstring pieces;
      decoder.decode(bytes.substr(0, at), pieces);
      decoder.decode(bytes.substr(at), pieces);
      decoder.finish(pieces);
      ASSERT_EQ(pieces, wide) << "seed " << seed << ", split at " << at;
      if (at > wide.size()) continue;
      EXPECT_EQ(mbcs_to_wide(first_characters(bytes, at)), wide.substr(0, at));
    }
  }
}

}  // namespace

TEST(Utf8, TakesShortestFormsOnlyAndKeepsTheRest) {
  const std::pair<std::string, std::wstring> cases[] = {
      {"a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80",    L"a\u00E9\u20AC\U0001F600"      },
      {"\xED\x9F\xBF\xEE\x80\x80\xF4\x8F\xBF\xBF", {0xD7FF, 0xE000, 0x10FFFF}      },
      {"\xC0\xAF",                                 {0xDCC0, 0xDCAF}                },
      {"\xE0\x9F\xBF",                             {0xDCE0, 0xDC9F, 0xDCBF}        },
      {"\xF0\x8F\xBF\xBF",                         {0xDCF0, 0xDC8F, 0xDCBF, 0xDCBF}},
      {"\xED\xB2\x80",                             {0xDCED, 0xDCB2, 0xDC80}        },
      {"\xF4\x90\x80\x80",                         {0xDCF4, 0xDC90, 0xDC80, 0xDC80}},
      {"\xE2\x82"
       "b",                                 {0xDCE2, 0xDC82, L'b'}          },
      {"\xE2\x82",                                 {0xDCE2, 0xDC82}                },
      {"x\0\xFF"s,                                 {L'x', 0, 0xDCFF}               },
  };
  for (const auto& [bytes, text] : cases) {
    EXPECT_EQ(utf8_to_wide(bytes), text) << testing::PrintToString(bytes);
    EXPECT_EQ(wide_to_utf8(text), bytes) << testing::PrintToString(bytes);
  }
  const std::wstring no_characters = {static_cast<wchar_t>(0xD800), static_cast<wchar_t>(0x110000)};
  EXPECT_EQ(wide_to_utf8(no_characters), "\xEF\xBF\xBD\xEF\xBF\xBD");
}

TEST(Utf8, EveryCharacterComesBack) {
  for (wchar_t c = 0; c <= 0x10FFFF; ++c) {
    if (c == 0xD800) c = 0xE000;
    char bytes[4];
    wchar_t again;
    const auto length = static_cast<size_t>(widechar_to_utf8bytes(c, bytes));
    ASSERT_EQ(decode_utf8_character({bytes, length}, again), length);
    ASSERT_EQ(again, c);
    ASSERT_EQ(length > 1 ? decode_utf8_character({bytes, length - 1}, again) : 0, 0u);
  }
}

TEST(Mbcs, NoByteIsLost) {
  expect_bytes_survive();  // "C": taken as UTF-8
  ASSERT_NE(std::setlocale(LC_ALL, "C.UTF-8"), nullptr);
  expect_bytes_survive();
  std::setlocale(LC_ALL, "C");
}

TEST(Mbcs, OtherEncodingsGoThroughTheLocale) {
  const made_locale locale("zh_TW", "BIG5");  // has two forms of some characters
  EXPECT_EQ(mbcs_to_wide("\xBA\x7E"), L"\u6F22");
  EXPECT_EQ(wide_to_utf8(mbcs_to_wide("\xBA\x7E\xBA")), "\xE6\xBC\xA2\xBA");
  EXPECT_EQ(wide_to_mbcs(L"\u6F22\U0001F600"), "\xBA\x7E?");
  EXPECT_EQ(first_characters("\xBA\x7E\xBA\x7E", 1), "\xBA\x7E");
  expect_bytes_survive();
  for (unsigned pair = 0; pair < 0x10000; ++pair) {
    const std::string bytes = {static_cast<char>(pair >> 8), static_cast<char>(pair)};
    ASSERT_EQ(wide_to_mbcs(mbcs_to_wide(bytes)), bytes) << pair;
  }
}

// There "i" is the small form of another letter than "I".
TEST(Strings, WordsAreThoseOfAsciiInTurkish) {
  const made_locale locale("tr_TR", "UTF-8");
  EXPECT_TRUE(same_word("-SKIP", "-skip") && same_word(L"FILENAME", L"filename"));
  EXPECT_TRUE(begins_with_word(L"FILENAME@M", L"filename"));
  EXPECT_FALSE(same_word("skip", "skip2") || same_word("k\xC4\xB1", "ki") || same_word("@", "`"));
  EXPECT_FALSE(begins_with_word("sk", "skip") || same_word(L"\u00e9", L"\u00c9"));
  std::string text = "ip tables\xA0\xC4\xB1";
  convert_to_uppercase(text);
  filter_alphanumeric(text, '_');
  EXPECT_EQ(text, "IP_TABLES___");
}

TEST(Strings, CleanUp) {
  std::string text = "pci Devices\xE9-2";
  convert_to_uppercase(text);
  EXPECT_EQ(text, "PCI DEVICES\xE9-2");
  filter_alphanumeric(text, '_');
  EXPECT_EQ(text, "PCI_DEVICES__2");
  std::wstring name = L"a\"*/<>?\\|\x1F:b\x7F";
  filter_filename(name, L' ');
  EXPECT_EQ(name, L"a         :b\x7F");
  text = "\x1F ~\x7F\xE9";
  filter_printable_ascii(text, '?');
  EXPECT_EQ(text, "? ~??");
  text = "_ \tA _B_\r\n";
  trim_string(text, "_");
  EXPECT_EQ(text, "A _B");
  text = " \v\f ";
  trim_whitespace(text);
  EXPECT_EQ(text, "");
  EXPECT_EQ(trim_whitespace(std::string_view("\t a b\n")), "a b");
}

TEST(Strings, WordsFieldsAndCuts) {
  std::string_view text = "  one\ttwo \n";
  EXPECT_EQ(next_word(text), "one");
  EXPECT_EQ(next_word(text), "two");
  EXPECT_EQ(text, "");
  EXPECT_EQ(next_word(text), "");
  text = "a::b";
  EXPECT_EQ(next_field(text, ':'), "a");
  EXPECT_EQ(next_field(text, ':'), "");
  EXPECT_EQ(next_field(text, ':'), "b");
  EXPECT_EQ(next_field(text, ':'), "");
  EXPECT_EQ(cut("x\xF0\x9F\x98\x80y", 4), "x");
  EXPECT_EQ(cut("x\xF0\x9F\x98\x80y", 5), "x\xF0\x9F\x98\x80");
  EXPECT_EQ(cut("\x80\x80\x80\x80\x80", 4), "\x80\x80\x80\x80");
}

TEST(Strings, NumbersAreClamped) {
  const std::tuple<const char*, bool, int64_t, const char*> cases[] = {
      {" 42 ",                  true,  42,        " "  },
      {"-0x1Fg",                true,  -31,       "g"  },
      {"0xg",                   true,  0,         "xg" },
      {"0x",                    true,  0,         "x"  },
      {"0755",                  true,  493,       ""   },
      {"08",                    true,  0,         "8"  },
      {"- 1",                   false, -7,        "- 1"},
      {"",                      false, -7,        ""   },
      {"9223372036854775808",   true,  INT64_MAX, ""   },
      {"-99999999999999999999", true,  INT64_MIN, ""   },
      {"0xFFFFFFFFFFFFFFFFFF1", true,  INT64_MAX, ""   },
  };
  for (const auto& [text, found, expected, behind] : cases) {
    std::string_view rest = text;
    int64_t value = -7;
    EXPECT_EQ(scan_integer(rest, value), found) << text;
    EXPECT_EQ(value, expected) << text;
    EXPECT_EQ(rest, behind) << text;
  }
  std::string_view text = "010x";
  int64_t value;
  EXPECT_TRUE(scan_decimal(text, value));
  EXPECT_EQ(value, 10);
  EXPECT_EQ(to_int(INT64_MIN), INT32_MIN);
  EXPECT_EQ(to_int(1LL << 31), INT32_MAX);
}

TEST(Strings, BuffersStayBounded) {
  char buffer[8] = "abc";
  EXPECT_STREQ(append_string(buffer, sizeof buffer, "defghi"), "abcdefg");
  EXPECT_STREQ(append_string(buffer, 3, "x"), "abcdefg");
  EXPECT_STREQ(format_string(buffer, sizeof buffer, "%s", "123456789"), "1234567");
  EXPECT_EQ(format_text("%0300d", 7).size(), 300u);
  char path[] = "/opt/kestrel";
  remove_filename_from_path(path, sizeof path);
  EXPECT_STREQ(path, "/opt/");
  char name[] = "kestrel";
  remove_filename_from_path(name, sizeof name);
  EXPECT_STREQ(name, "kestrel");
}

TEST(Strings, SumsAreSigned) {
  EXPECT_EQ(string_checksum("A\xFF"), 0x40);
  EXPECT_EQ(string_checksum("\x80"), 0xFF80);
  EXPECT_EQ(wide_string_checksum(L"\U0001F600\u20AC"), 0xF600 + 0x20AC - 0x10000);
}

TEST(Strings, SequencesAreFound) {
  const auto place = [](std::string_view buffer, std::string_view pattern) -> std::ptrdiff_t {
    const auto* found = FindSequence(buffer.data(), static_cast<int>(buffer.size()), pattern.data(),
                                     static_cast<int>(pattern.size()));
    return found == nullptr ? -1 : reinterpret_cast<const char*>(found) - buffer.data();
  };
  EXPECT_EQ(place("xx_DMI", "_DMI"), 2);
  EXPECT_EQ(place("_DM_DMI _DMI", "_DMI"), 8);
  EXPECT_EQ(place("__DMI", "_DMI"), -1);
  EXPECT_EQ(place("_DM", "_DMI"), -1);
  EXPECT_EQ(place("_DMI", ""), -1);
  EXPECT_EQ(FindSequence(nullptr, 4, "_DMI", 4), nullptr);
  const char doubled[] = "__DMI";
  EXPECT_EQ(static_cast<const void*>(find_sequence(doubled, 5, "_DMI", 4)), doubled + 1);
}

TEST(Glob, StarsAndQuestionMarks) {
  const std::tuple<const char*, const char*, bool> cases[] = {
      {"A.TXT",         "*.txt",     true },
      {"a.txt",         "?.txt",     true },
      {"a.txt.bak",     "*.txt",     false},
      {"INDEX.HTML",    "*.html",    true },
      {"",              "*",         true },
      {"",              "",          true },
      {"",              "?",         false},
      {"a",             "",          false},
      {"ab",            "a",         false},
      {"a",             "ab",        false},
      {"abc",           "a**c*",     true },
      {"aXbXc",         "a*b*c",     true },
      {"mississippi",   "m*iss*ppi", true },
      {"mississippi",   "m*iss*is",  false},
      {"\xC3\x89t\xC3", "?T?",       true },
      {"a*b",           "a?b",       true },
  };
  for (const auto& [text, pattern, matches] : cases) {
    EXPECT_EQ(compare_glob(text, pattern), matches) << text << " " << pattern;
  }
  std::string stars;
  for (int i = 0; i < 200; ++i) stars += "*a";
  EXPECT_FALSE(compare_glob(std::string(5000, 'a').c_str(), (stars + "b").c_str()));
}

std::string storage(uint64_t count, unsigned unit, unsigned kilo) {
  char text[32];
  return calculate_storage_capacity(count, unit, text, sizeof text, kilo);
}

// The units are fixed for the life of a process, so each of the two plays in one of its own.
TEST(CapacityDeathTest, UnitsAreThoseOfTheFirstCall) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(
      {
        const bool good =
            storage(1953525168, 512, 0) == "1.0 TB" && storage(999999, 1, 1024) == "999.9 KB" &&
            storage(999, 1, 0) == "999 bytes" && storage(uint64_t{1} << 33, 4096, 0) == "35.1 TB";
        std::exit(good ? 0 : 1);
      },
      testing::ExitedWithCode(0), "");
  EXPECT_EXIT(
      {
        const bool good = storage(1, 1023, 1024) == "1023 bytes" &&
                          storage(1000, 1000, 1000) == "980.3 KB" &&  // 1000000 / 102
                          storage(1, 1000, 1000) == "1000 bytes";
        std::exit(good ? 0 : 1);
      },
      testing::ExitedWithCode(0), "");
}

TEST(Capacity, MemoryKeepsItsRounding) {
  const auto memory = [](unsigned long long a, unsigned long long b) {
    char text[32];
    return std::string(calculate_memory_size(a, b, text, sizeof text));
  };
  EXPECT_EQ(memory(512, 1048576), "512 MB");
  EXPECT_EQ(memory(3, 1ULL << 30), "3.00 GB");
  EXPECT_EQ(memory((1ULL << 31) - 1, 1), "1.100 GB");
  EXPECT_EQ(memory(3ULL << 39, 1), "1.50 TB");
  EXPECT_EQ(memory((1ULL << 30) / 1000 * 1006, 1), "1.01 GB");  // 5 thousandths, cut
  EXPECT_EQ(memory((1 << 20) - 1, 1), "1023 KB");
  EXPECT_EQ(memory(1023, 1), "1023 bytes");
  EXPECT_EQ(memory(1ULL << 32, 1ULL << 32), "0 bytes");
}

TEST(StrList, SplitsAndWalks) {
  str_list list("a;;b;", ';');
  EXPECT_EQ(list.get_current(), nullptr);
  wchar_t more[] = L";c\x20AC;d";
  list.add_separated_list(more, L';');
  EXPECT_STREQ(list.get_first(), "a");
  EXPECT_STREQ(list.get_next(), "b");
  EXPECT_STREQ(list.get_next(), "c\xE2\x82\xAC");
  EXPECT_STREQ(list.get_current(), "c\xE2\x82\xAC");
  EXPECT_STREQ(list.get_next(), "d");
  EXPECT_EQ(list.get_next(), nullptr);
  EXPECT_EQ(list.get_next(), nullptr);
  EXPECT_EQ(more[0], L'\0');
  EXPECT_EQ(more[3], L'\0');
  list.initialize();
  EXPECT_EQ(list.get_first(), nullptr);
}

TEST(OlderStrings, DoWhatTheirNamesSay) {
  EXPECT_LT(StriCmp("Abc", "aBd"), 0);
  EXPECT_EQ(StrniCmp("ABx", "aby", 2), 0);
  EXPECT_EQ(NumWords(" a b\tc "), 3);
  EXPECT_STREQ(FindChars("path=x", "=:"), "=x");
  std::string text = "a\r\nb\rc\r\n";
  TranslateCRLF(text);
  EXPECT_EQ(text, "a\nb\rc\n");
  StrStreap(text);
  EXPECT_EQ(text, "abc");
  uint32_t word = 0x01020304;
  ChgByteOrder(&word, sizeof word);
  EXPECT_EQ(word, 0x04030201u);
  char four[4];
  EXPECT_STREQ(StrnCpy(four, "abcdef", sizeof four), "abc");
}

TEST(TextLookUp, FindsLinesWordsAndValues) {
  const std::string_view text = "Model Name : Fast CPU\nflags:\n\nlast = x";
  EXPECT_EQ(CountTextLines(text), 4u);
  EXPECT_EQ(GetTextLine(text, 3), "last = x");
  EXPECT_EQ(GetTextLine(text, 4), std::nullopt);
  EXPECT_EQ(GetTextWord(text, 3), "Fast");
  EXPECT_EQ(GetTextWord(text, 9), std::nullopt);
  EXPECT_EQ(FindTextValue(text, "Model Name", ':'), "Fast CPU");
  EXPECT_EQ(FindTextValue(text, "flags", ':'), "");
  EXPECT_EQ(FindTextValue(text, "Model", ':'), std::nullopt);
}

TEST(DeviceNames, NumbersAndLetters) {
  const auto lettered = [](unsigned index) {
    char name[16];
    return std::string(
        make_device_name(name, sizeof name, "/dev/", "sd", "", index, device_numbering::lettered));
  };
  EXPECT_EQ(lettered(25), "/dev/sdz");
  EXPECT_EQ(lettered(26), "/dev/sdaa");
  EXPECT_EQ(lettered(701), "/dev/sdzz");
  EXPECT_EQ(lettered(702), "/dev/sdNA");
  char name[8];
  EXPECT_STREQ(
      make_device_name(name, sizeof name, "/dev/", "sg", "", 255, device_numbering::numbered),
      "/dev/sg");
}
