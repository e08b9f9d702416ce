// The debug log as a reader finds it: lines and their stamps, both modes, dumps, the fatal exit.
#include <gtest/gtest.h>

#include <csignal>
#include <regex>

#include "lib/debug.h"
#include "lib/interface.h"
#include "tests/lib/scratch.h"

namespace kestrel {
namespace {

/// What is logged while it lives, time stamps as "@ ".
class logged {
 public:
  logged() { enable_log_to_file(path_.c_str()); }
  ~logged() { disable_log_to_file(); }
  std::string text() const {
    return std::regex_replace(content_of(path_), std::regex("(^|\n) *[0-9]+\\.[0-9]{4} "), "$1@ ");
  }
  const std::string& path() const { return path_; }

 private:
  scratch_folder folder_;
  std::string path_ = folder_ / "gatherer.log";
};

TEST(debug_log, stamps_a_line_where_the_format_before_it_ended) {
  const logged log;
  printd("a");
  printd("b\n");
  printd("%s", "text with an end\n");
  printd("same line\n");
  printdW(L"%ls\n", L"w\x20AC");
  print_error("call", ENOENT);
  EXPECT_EQ(log.text(),
            "@ ab\n@ text with an end\nsame line\n@ w\xE2\x82\xAC\n"
            "@ call (2): No such file or directory\n");
}

TEST(debug_log, writes_to_both_targets_and_to_none) {
  EXPECT_FALSE(is_logging());
  EXPECT_EQ(printd("nothing\n"), 0);
  scratch_folder folder;
  const std::string stream_path = folder / "stream";
  {
    const logged log;
    enable_log_to_stream(stream_path.c_str());
    EXPECT_EQ(printd("four\n"), 5);
    timer_reset("t");
    timer_mark("t");
    disable_log_to_stream();
    EXPECT_TRUE(std::regex_search(
        log.text(),
        std::regex("^@ four\n@ t: --- MARK ---\n@ t: --- MARK --- [0-9]\\.0000 sec\n$")));
    EXPECT_EQ(content_of(stream_path), content_of(log.path()));
    disable_log_to_file();
    enable_append_log_to_file(log.path().c_str());
    print_with_time("later\n");
    EXPECT_TRUE(std::regex_search(log.text(), std::regex("\n[A-Z]\\w\\w [A-Z]\\w\\w [ 1-3]\\d "
                                                         "\\d\\d:\\d\\d:\\d\\d later\n$")));
    enable_log_to_file(log.path().c_str());
    EXPECT_EQ(log.text(), "");
  }
  EXPECT_FALSE(is_logging());
}

TEST(debug_log, dumps_bytes_and_words) {
  const logged log;
  const unsigned char bytes[] = {' ', '!', '}', '~', 5,  6,  7,  8,  9,
                                 10,  11,  12,  13,  14, 15, 16, 'A'};
  const unsigned short words[] = {0x41, 0x1234};
  print_hexdump("title", bytes, sizeof bytes, "p:");
  print_worddump("words", words, 2, nullptr);
  print_hexdump("array", bytes, 2, "p:", true);
  const std::string blank(55, ' '), spaces(54, ' ');
  EXPECT_EQ(log.text(),
            "p: --- title (17 bytes) ---\n"
            "p: 0000: 20 21 7d 7e  05 06 07 08  09 0a 0b 0c  0d 0e 0f 10   .!}.............\n"
            "p: 0010: 41 " +
                std::string(48, ' ') +
                "  A               \n"
                "p: --- END HEX DUMP ---\n"
                " --- words (2 words) ---\n"
                " 0000: 0041 1234 " +
                std::string(73, ' ') +
                "  A.              \n"
                " --- END WORD DUMP ---\n"
                "/* ----  array" +
                std::string(51, ' ') +
                "      2 bytes */ unsigned char hex_dump[] = {\n"
                "/* 0000: 20 21 " +
                std::string(45, ' ') + "  .!               */ 0x20,0x21," + std::string(73, ' ') +
                "\n/* ----  END HEX DUMP ---" + spaces + "*/ };\n");
}

TEST(debug_log, tells_a_fatal_error_everywhere_and_aborts) {
  const logged log;
  EXPECT_EXIT(internal_error("no %s left\n", "disk"), testing::KilledBySignal(SIGABRT),
              "AN INTERNAL ERROR OCCURRED -- THE PROGRAM CANNOT COMPLETE\nno disk left");
  EXPECT_EQ(log.text(), "@ Internal error: no disk left\n");
}

}  // namespace
}  // namespace kestrel
