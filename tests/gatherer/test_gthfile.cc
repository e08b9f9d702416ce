// The gather file: bytes laid down, what comes back, and containers that are cut, damaged or lie.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <ctime>
#include <vector>

#include "gatherer/gthfile.h"
#include "lib/lzh.h"
#include "tests/lib/scratch.h"

namespace kestrel {
namespace {

using std::string;

constexpr size_t k_head = k_gth_head_size, k_record = k_gth_record_size;

byte_span bytes_of(const string& bytes) {
  return {reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size()};
}

/// Every test has a folder of its own as the current one.
class Gthfile : public testing::Test {
 protected:
  void SetUp() override {
    folder_.enter();
    put_file("text", text_);
    put_file("bytes", bytes_);
    put_file("empty", "");
  }
  /// "c" with a compressed text, stored bytes and, of the same type, a stored text.
  void make_container() {
    ASSERT_EQ(file_.CreateFile("c"), gth_ok);
    ASSERT_EQ(file_.AddItemFile(item_report, "text", true), gth_ok);
    ASSERT_EQ(file_.AddItemFile(item_identity, "bytes", false), gth_ok);
    ASSERT_EQ(file_.AddItemFile(item_identity, "text", false), gth_ok);
  }
  /// What an item of "c" holds, or "code N".
  string item(int index) {
    const int code = file_.ExtractItem(index, "out");
    return code == gth_ok ? content_of("out") : "code " + std::to_string(code);
  }

  const string text_ = "<ROW><STR>one</STR></ROW>\r\n<ROW><STR>two</STR></ROW>\r\n";
  const string bytes_ = string("\0\xFF\x01\0\0\xFF\xFF\x7F", 8);
  scratch_folder folder_;
  GatherFile file_;
};

TEST_F(Gthfile, NewContainerIsAHead) {
  gthStamp before = {}, stamp = {};
  do {  // Again, should a second end in between.
    GatherFile::GetCurrentDate(&before);
    ASSERT_EQ(file_.CreateFile("c"), gth_ok);
    ASSERT_EQ(file_.GetFileStamp(&stamp), gth_ok);
  } while (before.second != stamp.second);
  const string time = {char(before.hour),     char(before.minute), char(before.second),
                       char(before.day),      char(before.month),  char(before.year & 255),
                       char(before.year >> 8)};
  EXPECT_EQ(content_of("c"), string("_KESTREL_\0", 10) + time + string("\0\2\0", 3));
  EXPECT_EQ(std::filesystem::status("c").permissions(), std::filesystem::perms(0600));
}

TEST_F(Gthfile, ItemsComeBack) {
  make_container();
  const string container = content_of("c");
  const size_t packed = container.size() - k_head - 3 * k_record - bytes_.size() - text_.size();
  EXPECT_LT(packed, text_.size());
  string record = {15, char(text_.size()), 0, 0, 0, 1, char(packed), 0, 0, 0};
  EXPECT_EQ(container.substr(k_head, k_record), record);
  record = {1, 8, 0, 0, 0, 0, 0, 0, 0, 0};
  EXPECT_EQ(container.substr(k_head + k_record + packed, k_record + 8), record + bytes_);
  EXPECT_EQ(container[19], 3);

  ASSERT_EQ(file_.ReadFile("c"), gth_ok);
  EXPECT_EQ(file_.NumItems(), 3);
  EXPECT_EQ(file_.GetItemType(0), item_report);
  EXPECT_EQ(item(0), text_);
  EXPECT_EQ(item(1), bytes_);
  EXPECT_EQ(item(2), text_);
  EXPECT_EQ(item(3), "code -1");
  EXPECT_EQ(file_.ExtractItem(item_identity, "out"), gth_ok);
  EXPECT_EQ(content_of("out"), bytes_);
  EXPECT_EQ(file_.ExtractItem(static_cast<item_type>(99), "out"), gth_no_such_item);

  const gth_container read(bytes_of(container));
  EXPECT_EQ(read.fault(), gth_fault::none);
  ASSERT_EQ(read.items().size(), 3U);
  std::vector<unsigned char> unpacked(read.items()[0].size);
  EXPECT_EQ(LzH().Decode(read.data(read.items()[0]), unpacked), 0);
  EXPECT_EQ(string(unpacked.begin(), unpacked.end()), text_);
  EXPECT_TRUE(read.rest().empty());
}

TEST_F(Gthfile, RefusalsChangeNothing) {
  EXPECT_EQ(file_.AddItemFile(1, "text", false), gth_bad_argument);
  make_container();
  const string container = content_of("c");
  ASSERT_EQ(symlink("c", "link"), 0);
  ASSERT_EQ(mkfifo("fifo", 0600), 0);
  EXPECT_EQ(file_.AddItemFile(1, nullptr, false), gth_bad_argument);
  EXPECT_EQ(file_.AddItemFile(1, "missing", true), gth_cannot_open);
  EXPECT_EQ(file_.AddItemFile(1, ".", false), gth_cannot_open);
  EXPECT_EQ(file_.AddItemFile(1, "fifo", true), gth_cannot_open);
  EXPECT_EQ(file_.AddItemFile(1, "empty", true), gth_codec_failed);
  put_file("huge", "");
  ASSERT_EQ(truncate("huge", off_t{1} << 32), 0);
  EXPECT_EQ(file_.AddItemFile(1, "huge", true), gth_cannot_open);
  ASSERT_EQ(truncate("huge", (off_t{1} << 32) - 20), 0);
  EXPECT_EQ(file_.AddItemFile(1, "huge", false), gth_cannot_write);
  ASSERT_EQ(link("c", "second"), 0);
  EXPECT_EQ(file_.ExtractItem(0, "c"), gth_bad_argument);
  EXPECT_EQ(file_.ExtractItem(item_report, "./second"), gth_bad_argument);
  EXPECT_EQ(content_of("c"), container);
  GatherFile other;
  EXPECT_EQ(other.ReadFile("link"), gth_cannot_open);
  EXPECT_EQ(other.ReadFile("fifo"), gth_cannot_open);
  EXPECT_EQ(other.ReadFile("text"), gth_not_a_gather_file);
  EXPECT_EQ(other.ReadFile("empty"), gth_cannot_read);
  EXPECT_EQ(other.CreateFile("no/folder"), gth_cannot_create);
  EXPECT_EQ(other.CreateFile("link"), gth_ok);  // Replaces the link, not what it names.
  EXPECT_EQ(content_of("c"), container);
}

TEST_F(Gthfile, TableEndsAt255) {
  ASSERT_EQ(file_.CreateFile("c"), gth_ok);
  for (int i = 0; i < 255; ++i) ASSERT_EQ(file_.AddItemFile(1, "empty", false), gth_ok);
  const string container = content_of("c");
  EXPECT_EQ(file_.AddItemFile(1, "text", true), gth_table_full);
  EXPECT_EQ(content_of("c"), container);
  ASSERT_EQ(file_.ReadFile("c"), gth_ok);
  EXPECT_EQ(file_.NumItems(), 255);
  EXPECT_EQ(file_.GetItemType(254), 1);
  ASSERT_EQ(file_.CreateFile("d"), gth_ok);
  EXPECT_EQ(file_.GetItemType(254), 0);
}

TEST_F(Gthfile, StuffedFormHoldsNoZeroAndComesBack) {
  make_container();
  const string plain = content_of("c");
  file_.CloseFile();
  ASSERT_EQ(GatherFile::RemoveNulls("c"), gth_ok);
  const string stuffed = content_of("c");
  EXPECT_EQ(stuffed.find('\0'), string::npos);
  EXPECT_EQ(stuffed.substr(0, 11), "_KESTRFF_\xFF\x01");
  EXPECT_NE(stuffed.find("\xFF\x01\xFF\xFF\x01\xFF\x01\xFF\x01\xFF\xFF\xFF\xFF\x7F"), string::npos);
  ASSERT_EQ(file_.ReadFile("c"), gth_ok);
  EXPECT_EQ(item(0), text_);
  EXPECT_EQ(item(1), bytes_);
  EXPECT_EQ(file_.AddItemFile(1, "text", true), gth_ok);
  EXPECT_EQ(item(3), text_);
  file_.CloseFile();
  EXPECT_EQ(content_of("c"), stuffed);

  string expected = plain;
  expected.replace(0, 9, "_KESTRFF_");
  std::vector<unsigned char> unstuffed;
  EXPECT_TRUE(unstuffer().feed(bytes_of(stuffed), unstuffed));
  EXPECT_EQ(string(unstuffed.begin(), unstuffed.end()), expected);
  EXPECT_EQ(GatherFile::RemoveNulls("c"), gth_not_a_gather_file);
  for (const char* bad : {"\xFF\x02", "\xFF"}) {
    put_file("bad", stuffed + bad);
    EXPECT_EQ(file_.ReadFile("bad"), gth_not_a_gather_file);
    const string bytes = content_of("bad");
    const gth_container read(bytes_of(bytes));
    EXPECT_EQ(read.fault(), gth_fault::stuffing);
    EXPECT_EQ(read.fault_offset(), bytes.size());
    EXPECT_EQ(read.items().size(), 3U);
  }
}

TEST_F(Gthfile, RemoveNullsKeepsTheFileWhenItFails) {
  make_container();
  const string plain = content_of("c");
  EXPECT_EQ(GatherFile::RemoveNulls("text"), gth_not_a_gather_file);
  EXPECT_EQ(content_of("c") + content_of("text"), plain + text_);
}

/// Opens "c" and takes every item out: any code will do, but each whole item must come back.
void check_damaged(GatherFile& file, size_t whole_items, const std::vector<string>& expected) {
  const string bytes = content_of("c");
  const gth_container read(bytes_of(bytes));
  for (const gth_item& item : read.items()) {
    std::vector<unsigned char> out(std::min<size_t>(item.size, 100000));
    LzH().Decode(read.data(item), out);
  }
  EXPECT_GE(read.items().size(), whole_items);
  if (file.ReadFile("c") != gth_ok) return;
  for (int i = 0; i < file.NumItems(); ++i) {
    const int code = file.ExtractItem(i, "out");
    if (static_cast<size_t>(i) < whole_items) {
      EXPECT_EQ(code, gth_ok);
      EXPECT_EQ(content_of("out"), expected[static_cast<size_t>(i)]);
    }
    EXPECT_LT(content_of("out").size(), 100000U);
  }
}

TEST_F(Gthfile, CutAndDamagedContainersAreAnswered) {
  make_container();
  const string plain = content_of("c");
  const gth_container whole(bytes_of(plain));
  file_.CloseFile();
  ASSERT_EQ(GatherFile::RemoveNulls("c"), gth_ok);
  const string stuffed = content_of("c");
  const std::vector<string> items = {text_, bytes_, text_};
  for (size_t size = 0; size < plain.size(); ++size) {
    put_file("c", plain.substr(0, size));
    size_t count = 0;
    while (count < 2 && whole.items()[count + 1].offset <= size) ++count;
    check_damaged(file_, count, items);
    const string cut = content_of("c");
    const gth_container read(bytes_of(cut));
    EXPECT_NE(read.fault(), gth_fault::none) << size;
    EXPECT_EQ(read.items().size(), count) << size;
    const int code = file_.ReadFile("c");
    if (code == gth_ok) {
      EXPECT_EQ(file_.ExtractItem(2, "out"), gth_cannot_read) << size;
      EXPECT_EQ(file_.AddItemFile(1, "text", false), gth_cannot_read) << size;
    } else {
      EXPECT_EQ(code, gth_cannot_read) << size;
    }
  }
  for (const string& form : {plain, stuffed}) {
    for (size_t i = 0; i < form.size(); ++i) {
      for (const int mask : {0x01, 0xFF}) {
        string bytes = form;
        bytes[i] = static_cast<char>(bytes[i] ^ mask);
        put_file("c", bytes);
        check_damaged(file_, 0, items);
      }
    }
  }
}

TEST_F(Gthfile, LyingSizesAreSeen) {
  make_container();
  file_.CloseFile();
  string bytes = content_of("c");
  bytes.replace(k_head + 1, 4, "\xFF\xFF\xFF\xFF");
  put_file("c", bytes);
  ASSERT_EQ(file_.ReadFile("c"), gth_ok);
  EXPECT_EQ(item(0), "code -9");
  EXPECT_FALSE(std::filesystem::exists("out"));
  bytes.replace(k_head + 6, 4, "\xFF\xFF\xFF\xFF");
  EXPECT_EQ(gth_container(bytes_of(bytes)).fault(), gth_fault::data_cut);
  bytes[k_head + 5] = 2;
  const gth_container read(bytes_of(bytes));
  EXPECT_EQ(read.fault(), gth_fault::unknown_flag);
  EXPECT_EQ(read.fault_offset(), k_head);

  ASSERT_EQ(file_.CreateFile("c"), gth_ok);
  ASSERT_EQ(file_.AddItemFile(item_report, "text", true), gth_ok);
  ASSERT_EQ(truncate("c", static_cast<off_t>(content_of("c").size() - 1)), 0);
  EXPECT_EQ(item(0), "code -9");
}

TEST_F(Gthfile, RunKilledInAnItemLeavesTheItemsBefore) {
  ASSERT_EQ(file_.CreateFile("c"), gth_ok);
  ASSERT_EQ(file_.AddItemFile(item_report, "text", true), gth_ok);
  const string before = content_of("c");
  ASSERT_EQ(file_.AddItemFile(1, "bytes", false), gth_ok);
  const string after = content_of("c"), killed = after.substr(before.size()) + "a longer item";
  for (size_t size = 0; size <= killed.size(); ++size) {
    put_file("c", before + killed.substr(0, size));
    ASSERT_EQ(file_.ReadFile("c"), gth_ok);
    EXPECT_EQ(file_.NumItems(), 1);
    EXPECT_EQ(item(0), text_);
    EXPECT_EQ(file_.AddItemFile(1, "bytes", false), gth_ok);
    EXPECT_EQ(content_of("c"), after);
  }
}

TEST_F(Gthfile, FullDiskKeepsWholeItems) {
  signal(SIGXFSZ, SIG_IGN);
  make_container();
  const string container = content_of("c");
  rlimit old = {};
  getrlimit(RLIMIT_FSIZE, &old);
  for (size_t room = 0; room < k_record + text_.size(); ++room) {
    const rlimit limit = {container.size() + room, old.rlim_max};
    setrlimit(RLIMIT_FSIZE, &limit);
    const int code = file_.AddItemFile(1, "text", false);
    setrlimit(RLIMIT_FSIZE, &old);
    ASSERT_EQ(code, gth_cannot_write) << room;
    ASSERT_EQ(content_of("c"), container) << room;
    // What did not fit is not written when there is room again.
    ASSERT_EQ(file_.CloseFile(), gth_ok) << room;
    ASSERT_EQ(content_of("c"), container) << room;
    ASSERT_EQ(file_.ReadFile("c"), gth_ok);
  }
  const rlimit limit = {10, old.rlim_max};
  setrlimit(RLIMIT_FSIZE, &limit);
  EXPECT_EQ(file_.AddItemFile(1, "text", true), gth_codec_failed);
  EXPECT_EQ(file_.ExtractItem(2, "out"), gth_cannot_write);
  EXPECT_EQ(file_.ExtractItem(0, "out"), gth_codec_failed);
  GatherFile other;
  EXPECT_EQ(other.CreateFile("new"), gth_cannot_write);
  EXPECT_EQ(GatherFile::RemoveNulls("c"), gth_cannot_write);
  setrlimit(RLIMIT_FSIZE, &old);
  EXPECT_EQ(content_of("c"), container);
  for (const char* gone : {"out", "new", "c.tmp"}) EXPECT_FALSE(std::filesystem::exists(gone));
  EXPECT_EQ(file_.AddItemFile(1, "text", true), gth_ok);
  EXPECT_EQ(file_.NumItems(), 4);
  EXPECT_EQ(item(3), text_);
}

TEST_F(Gthfile, WithoutATemporaryFileTheItemIsCountedAllTheSame) {
  ASSERT_EQ(file_.CreateFile("c"), gth_ok);
  const string home = std::filesystem::current_path();
  ASSERT_EQ(mkdir("gone", 0700) + chdir("gone") + rmdir("../gone"), 0);
  EXPECT_EQ(file_.AddItemFile(1, (home + "/text").c_str(), true), gth_table_full);
  ASSERT_EQ(chdir(home.c_str()), 0);
  EXPECT_EQ(file_.NumItems(), 1);
  EXPECT_EQ(content_of("c").size(), k_head);
  EXPECT_EQ(content_of("c")[19], 1);
}

TEST_F(Gthfile, NamesOfOthersAreLeftAlone) {
  for (std::time_t now = std::time(nullptr), i = 0; i < 5; ++i) {
    char name[32];
    snprintf(name, sizeof name, "%X.tmp", static_cast<unsigned>(now + i));
    put_file(name, "another run's");
  }
  put_file("c.tmp", "another run's");
  make_container();
  const string plain = content_of("c");
  file_.CloseFile();
  ASSERT_EQ(GatherFile::RemoveNulls("c"), gth_ok);
  EXPECT_NE(content_of("c"), plain);
  size_t untouched = 0;
  for (const auto& entry : std::filesystem::directory_iterator(".")) {
    untouched += content_of(entry.path().c_str()) == "another run's";
  }
  EXPECT_EQ(untouched, 6U);

  // What was opened is written to, not what has its name now.
  ASSERT_EQ(file_.CreateFile("c"), gth_ok);
  std::filesystem::rename("c", "moved");
  put_file("c", "another run's");
  file_.RemoveFile();
  EXPECT_EQ(content_of("c"), "another run's");
}

template <class number>
concept can_extract_by = requires(GatherFile file, number what) {
  file.ExtractItem(what, "out");
};
static_assert(can_extract_by<int> && can_extract_by<item_type>);
static_assert(!can_extract_by<unsigned char> && !can_extract_by<char> && !can_extract_by<size_t>);

}  // namespace
}  // namespace kestrel
