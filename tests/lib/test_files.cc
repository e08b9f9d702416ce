// Lines, streams and whole files.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include "lib/file.h"
#include "lib/folder_listing.h"
#include "lib/getline.h"
#include "lib/interface.h"
#include "lib/misc.h"
#include "lib/notice.h"
#include "lib/remote_files.h"
#include "lib/textfile.h"
#include "tests/lib/scratch.h"

using namespace kestrel;
using namespace std::string_literals;

namespace {

class Files : public testing::Test {
 protected:
  std::string in_folder(const char* name) const { return folder_ / name; }
  file_ptr stream_of(const std::string& bytes) const {
    put_file(in_folder("stream"), bytes);
    return open_for_reading(in_folder("stream").c_str());
  }

 private:
  scratch_folder folder_;
};

bool is_private(const std::string& path) {
  struct stat status {};
  return stat(path.c_str(), &status) == 0 && (status.st_mode & 077) == 0;
}

}  // namespace

TEST_F(Files, LinesKeepNulsAndAreBounded) {
  const std::string longest(k_max_line, 'x');
  const file_ptr in = stream_of("a\0b\n\n"s + longest + "dropped\n\xFF\xE2\x82\xAC\0=\nlast"s);
  std::string line;
  ASSERT_TRUE(read_line(in.get(), line));
  EXPECT_EQ(line, "a\0b\n"s);
  ASSERT_TRUE(read_line(in.get(), line));
  EXPECT_EQ(line, "\n");
  ASSERT_TRUE(read_line(in.get(), line));
  EXPECT_TRUE(line == longest) << line.size();
  std::wstring wide;
  ASSERT_TRUE(get_wide_line(in.get(), wide));
  EXPECT_EQ(wide, (std::wstring{0xDCFF, 0x20AC}));
  ASSERT_TRUE(read_line(in.get(), line));
  EXPECT_EQ(line, "last");
  EXPECT_FALSE(read_line(in.get(), line));
  EXPECT_FALSE(get_wide_line(in.get(), wide));
  EXPECT_EQ(wide, L"");
}

TEST_F(Files, EachLineIsHandedOnLessItsLastCharacterAndWhatFollowsANul) {
  const file_ptr in = stream_of("one\n\nth\0ree\n\0\ntwo"s);
  std::string seen;
  for_each_line(in.get(), "test", [&](std::string& line) { seen += "[" + line + "]"; });
  EXPECT_EQ(seen, "[one][][th][][tw]");
}

TEST_F(Files, OnlyRegularFilesAreRead) {
  const std::string pipe = in_folder("pipe");
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  EXPECT_EQ(open_regular_file(pipe.c_str()), nullptr);  // and does not wait for a writer
  EXPECT_EQ(errno, EINVAL);
  EXPECT_EQ(open_regular_file(in_folder("").c_str()), nullptr);
  EXPECT_EQ(errno, EISDIR);
  EXPECT_EQ(open_regular_file(in_folder("none").c_str()), nullptr);
  EXPECT_EQ(errno, ENOENT);
  stream_of("text");
  const file_ptr in = open_regular_file(in_folder("stream").c_str());
  ASSERT_NE(in, nullptr);
  EXPECT_EQ(fcntl(fileno(in.get()), F_GETFD) & FD_CLOEXEC, FD_CLOEXEC);
}

// As from a mount of a server: whole or with an error, and with an end where the file has none.
TEST_F(Files, CopiesAreWholeAndHaveAnEnd) {
  remote_mount on;
  const std::string content(200000, 'x'), large = in_folder("large");
  put_file(in_folder("whole"), content);
  put_file(large, "");
  const file_ptr whole = copy_remote_file(in_folder("whole").c_str(), on);
  std::vector<unsigned char> bytes;
  ASSERT_TRUE(whole != nullptr && read_rest(whole.get(), bytes));
  EXPECT_EQ(std::string(bytes.begin(), bytes.end()), content);
  EXPECT_NE(copy_remote_file(large.c_str(), on), nullptr);
  ASSERT_EQ(truncate(large.c_str(), 5ll << 30), 0);
  take_notices();
  EXPECT_EQ(copy_remote_file(large.c_str(), on), nullptr);
  EXPECT_EQ(errno, EFBIG);
  const file_ptr endless = copy_remote_file("/proc/self/pagemap", on);
  ASSERT_NE(endless, nullptr);
  EXPECT_EQ(fseek(endless.get(), 0, SEEK_END), -1);
  std::vector<char> rest(k_max_file + 2);
  EXPECT_EQ(fread(rest.data(), 1, rest.size(), endless.get()), k_max_file + 1);
  EXPECT_NE(ferror(endless.get()), 0);
  EXPECT_EQ(errno, EFBIG);
  EXPECT_EQ(take_notices().size(), 2u);
}

TEST_F(Files, OutputReplacesALinkNotItsTarget) {
  const std::string target = in_folder("target"), link = in_folder("link");
  ASSERT_TRUE(SaveFile(target.c_str(), "kept"));
  ASSERT_EQ(symlink(target.c_str(), link.c_str()), 0);
  const mode_t before = umask(0);
  file_ptr out = create_output_file(link.c_str(), "wb+");
  umask(before);
  ASSERT_NE(out, nullptr);
  std::fputs("new", out.get());
  EXPECT_TRUE(close_checked(std::move(out)));
  EXPECT_FALSE(std::filesystem::is_symlink(link));
  EXPECT_TRUE(is_private(link));
  EXPECT_EQ(LoadTextFile(target.c_str()), "kept");
  EXPECT_EQ(LoadTextFile(link.c_str()), "new");
  EXPECT_EQ(create_output_file(in_folder("").c_str(), "wb"), nullptr);
  EXPECT_EQ(create_output_file(in_folder("none/x").c_str(), "wb"), nullptr);
  EXPECT_EQ(errno, ENOENT);
}

TEST(CloseChecked, TellsAFullDisk) {
  FILE* out = std::fopen("/dev/full", "wb");
  ASSERT_NE(out, nullptr);
  std::fputs("text", out);
  EXPECT_FALSE(close_checked(out));
  EXPECT_EQ(errno, ENOSPC);
  out = std::fopen("/dev/full", "wb");
  const std::string block(100000, 'x');
  EXPECT_LT(std::fwrite(block.data(), 1, block.size(), out), block.size());
  errno = 0;
  EXPECT_FALSE(close_checked(file_ptr(out)));
  EXPECT_NE(errno, 0);
}

TEST_F(Files, WholeFilesRoundTrip) {
  const std::string bytes = std::string(70000, '\xFE') + "\0\r\n"s;
  const std::string name = in_folder("\xFFname");  // does not decode
  ASSERT_TRUE(SaveFile(name.c_str(), bytes));
  ASSERT_TRUE(CopyFile(name.c_str(), in_folder("copy").c_str()));
  EXPECT_EQ(LoadFile(in_folder("copy").c_str()),
            std::vector<unsigned char>(bytes.begin(), bytes.end()));
  EXPECT_EQ(LoadFileW((L"/" + std::wstring(1, wchar_t(0xDCFF))).c_str()), std::nullopt);
  EXPECT_EQ(LoadTextFile(name.c_str()), std::string(70000, '\xFE') + "\0\n"s);
  EXPECT_FALSE(CopyFile(in_folder("none").c_str(), in_folder("copy").c_str()));
  EXPECT_TRUE(std::filesystem::exists(in_folder("copy")));
  EXPECT_FALSE(CopyFile("/proc/self/mem", in_folder("copy").c_str()));  // every read fails
  EXPECT_FALSE(std::filesystem::exists(in_folder("copy")));
  const auto status = LoadProcFile("/proc/self/status");
  ASSERT_TRUE(status.has_value());
  EXPECT_EQ(FindTextValue(*status, "Pid", ':'), std::to_string(getpid()));
}

TEST(FolderListing, OnlyAListingThatShowsSomethingRulesNamesOut) {
  scratch_folder folder;
  const auto seen = [&](const char* name) {
    const folder_listing listing((folder / name).c_str());
    return std::string(listing.may_have("sg1") ? "1" : "") + (listing.may_have("sg0") ? "0" : "");
  };
  EXPECT_EQ(seen("absent"), "");
  std::filesystem::create_directories(folder / "some/sg1");
  put_file(folder / "some/sc", "");
  EXPECT_EQ(seen("some"), "1");
  EXPECT_EQ(seen("some/sg1"), "10");  // empty
  EXPECT_EQ(seen("some/sc"), "10");   // no folder
}
