// The file scan: the walker over trees made for each test, the report, and the task.
#include <dirent.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>

#include "gatherer/settings.h"
#include "lib/debug.h"
#include "lib/table.h"
#include "probes/filescan.h"
#include "probes/filescan_probe.h"
#include "tests/lib/scratch.h"

namespace kestrel {
namespace {

namespace fs = std::filesystem;
using names = std::vector<std::string>;

// The current folder is a new one, removed at the end. Tasks are static: the registry keeps them.
class filescan_test : public testing::Test {
 protected:
  filescan_test() {
    folder_.enter();
    gatherer_setting(setting_silent, setting_set, 0);
  }

  static void make(const fs::path& path, mode_t mode = 0644, const char* content = "x") {
    if (path.has_parent_path()) fs::create_directories(path.parent_path());
    put_file(path, content);
    chmod(path.c_str(), mode);
  }
  // Full paths in the order in which they are found.
  static names found(filescan& scan) {
    names paths;
    char path[8192];
    while (scan.next()) paths.emplace_back(scan.get_full_pathname(path, sizeof path));
    return paths;
  }
  static names found_below(const char* list, const char* filter = nullptr) {
    const auto scan = make_filescan();
    scan->add_path_to_scan(list);
    scan->set_filter(filter);
    names paths = found(*scan);
    std::sort(paths.begin(), paths.end());
    return paths;
  }

  scratch_folder folder_;
};

TEST_F(filescan_test, WalksTheLastPathFirstAndEachFolderBeforeItsSubfolders) {
  make("one/a");
  make("two/sub/deep/d");
  make("two/b");
  fs::create_directories("two/empty");
  const auto scan = make_filescan();
  scan->add_path_to_scan("one;missing;;two");
  EXPECT_EQ(found(*scan), (names{"two/b", "two/sub/deep/d", "one/a"}));
  EXPECT_EQ(scan->directories_scanned, 6u);  // "missing" and "two/empty" count
  EXPECT_EQ(scan->files_found, 3u);
  EXPECT_EQ(scan->files_scanned, 2u);  // the first entry of each folder does not
  EXPECT_FALSE(scan->next());
  scan->add_directory_to_scan("one/");
  EXPECT_EQ(found(*scan), names{"one/a"});
}

TEST_F(filescan_test, ANameAndItsPermissionsDecide) {
  make("d/run.conf", 0755);
  make("d/data.conf", 0644);
  make("d/closed.conf", 0);
  make("d/run.sh", 0700);
  EXPECT_EQ(found_below("d", "*.conf;*.none"), (names{"d/data.conf", "d/run.conf"}));
  EXPECT_EQ(found_below("d").size(), 4u);  // no restriction, so no rule for 0000
  EXPECT_TRUE(found_below("d", "d/*").empty());

  const auto scan = make_filescan();
  scan->set_filter("*.conf;*.sh");
  scan->set_perm_mask(0111);
  scan->set_ignore_filter("[a-z]un.s?");
  scan->add_directory_to_scan("d");
  EXPECT_EQ(found(*scan), names{"d/run.conf"});
  scan->set_ignore_filter(nullptr);
  scan->set_ignore_filter("");
  scan->set_perm_mask(-1);
  scan->set_perm_check(0700);
  scan->add_directory_to_scan("d");
  EXPECT_EQ(found(*scan), names{"d/run.sh"});
}

TEST_F(filescan_test, FollowsLinksButNeverIntoItsOwnPath) {
  make("tree/a/file");
  for (int i = 0; i < 40; ++i) fs::create_symlink(".", "tree/a/again" + std::to_string(i));
  fs::create_symlink("..", "tree/a/up");
  make("other/file");
  fs::create_symlink("../other", "tree/link");
  fs::create_symlink("../tree", "other/back");
  EXPECT_EQ(found_below("tree"), (names{"tree/a/file", "tree/link/file"}));
}

TEST_F(filescan_test, EntersProcOnlyWhenItIsNamed) {
  fs::create_directory("t");
  for (const char* tree : {"/proc/self", "/sys/kernel"}) {
    if (fs::exists(tree)) fs::create_symlink(tree, "t/" + fs::path(tree).filename().string());
  }
  make("t/file");
  EXPECT_EQ(found_below("t"), names{"t/file"});
  EXPECT_EQ(found_below("/proc/sys/kernel", "ostype"), names{"/proc/sys/kernel/ostype"});
}

// Whether or not the file's own name passes the filter, a broken link shows what was read before.
TEST_F(filescan_test, ABrokenLinkKeepsTheAttributesOfTheEntryBefore) {
  make("d/file", 0421, "12345");
  const auto is_first = [](const std::string& link) {
    DIR* folder = opendir("d");
    std::string first;
    while (const dirent* entry = readdir(folder)) {
      if (entry->d_name == link || entry->d_name == std::string("file")) {
        first = entry->d_name;
        break;
      }
    }
    closedir(folder);
    return first == link;
  };
  std::string link;
  for (int i = 0; link.empty() || is_first(link); ++i) {
    if (!link.empty()) fs::remove("d/" + link);
    link = "link" + std::to_string(i);
    fs::create_symlink("nowhere", "d/" + link);
  }
  for (const char* filter : {"*", "link*"}) {
    const auto scan = make_filescan();
    scan->set_filter(filter);
    scan->add_directory_to_scan("d");
    char text[100] = "";
    bool seen = false;
    while (!seen && scan->next()) seen = scan->get_filename(text, sizeof text) == link;
    ASSERT_TRUE(seen) << filter;
    EXPECT_STREQ(scan->get_permissions(text, sizeof text), "0421");
    EXPECT_STREQ(scan->get_file_size(text, sizeof text), "5");
  }
  fs::remove("d/file");  // now the link is the first entry: everything is zero
  const auto scan = make_filescan();
  scan->add_directory_to_scan("d");
  char text[100];
  ASSERT_TRUE(scan->next());
  EXPECT_STREQ(scan->get_permissions(text, sizeof text), "0000");
  EXPECT_EQ(found_below("d", "*"), names());
}

TEST_F(filescan_test, ReachesFilesBelowPathsThatTheKernelDoesNotTake) {
  const std::string step(200, 's');
  int folder = open(".", O_RDONLY);
  for (int i = 0; i < 50; ++i) {
    mkdirat(folder, step.c_str(), 0755);
    mkdirat(folder, "side", 0755);
    const int next = openat(folder, step.c_str(), O_RDONLY);
    close(openat(folder, "side/leaf", O_CREAT | O_WRONLY, 0644));
    close(folder);
    folder = next;
  }
  close(openat(folder, "leaf", O_CREAT | O_WRONLY, 0600));
  close(folder);
  const auto scan = make_filescan();
  scan->add_directory_to_scan(".");
  size_t longest = 0, count = 0, private_ones = 0;
  char path[16384], permissions[8];
  for (; scan->next(); ++count) {
    longest = std::max(longest, strlen(scan->get_full_pathname(path, sizeof path)));
    private_ones += scan->get_permissions(permissions, sizeof permissions) == std::string("0600");
  }
  EXPECT_EQ(count, 51u);
  EXPECT_EQ(private_ones, 1u);
  EXPECT_EQ(longest, 1 + 50 * 201 + 5u);
}

TEST_F(filescan_test, NamesAndSizesStayWhole) {
  const std::string name = "d/\xff\xc3(\x01 odd.conf";
  make(name);
  truncate(name.c_str(), 5'000'000'000);
  mkfifo("d/fifo", 0600);
  ASSERT_EQ(found_below("d", "*.conf"), names{name});
  const auto scan = make_filescan();
  scan->set_filter("*.conf");
  scan->add_directory_to_scan("d");
  ASSERT_TRUE(scan->next());
  char text[4096];
  EXPECT_STREQ(scan->get_file_size(text, sizeof text), "5000000000");
  EXPECT_EQ(access(scan->get_full_pathname(text, sizeof text), R_OK), 0);
  EXPECT_STREQ(scan->get_full_pathname(text, 3), "d/");
  EXPECT_TRUE(scan->file_exists("d", "*odd.conf"));
  EXPECT_FALSE(scan->file_exists("d", "S??odd"));
}

TEST_F(filescan_test, ReportsOneRowAFile) {
  make("d/a.conf", 0640, "12");
  make("d/b.txt");
  const timespec times[2] = {
      {1155652944, 0},
      {1155739344, 0}
  };
  utimensat(AT_FDCWD, "d/a.conf", times, 0);
  setenv("TZ", "UTC0", 1);
  tzset();
  Table::set_output_format(OUTPUT_LIST);
  FILE* out = fopen("report", "w");
  testing::internal::CaptureStderr();
  EXPECT_EQ(get_filescan_info(out, "d", "*.conf", nullptr, "0666", "9", "", true, true), 1);
  fclose(out);
  const std::string console = testing::internal::GetCapturedStderr();
  EXPECT_EQ(console.substr(0, 13), "Please wait.\n");
  EXPECT_NE(console.find("\r   Scanned 1 files in 1 directories, 1 files found.    \n"
                         "   Scanning complete in 0 min 0 sec.\n"),
            std::string::npos);
  const std::string report = content_of("report");
  for (const char* line :
       {"  Permission Check: -1\n", "  Permission Mask : 438\n", "  Filename        : a.conf\n",
        "  Path            : d\n", "  Last Access Time: 2006-08-15 14:42:24\n",
        "  Last Write Time : 2006-08-16 14:42:24\n", "  Size            : 2\n",
        "  Permissions     : 0640\n"}) {
    EXPECT_NE(report.find(line), std::string::npos) << line << report;
  }
  EXPECT_EQ(report.find("b.txt"), std::string::npos);
  EXPECT_EQ(report.find("Language"), std::string::npos);
}

TEST_F(filescan_test, TheTaskNeedsAPathAndAFilterAndRefusesTheRest) {
  static filescan_probe probe("FILESCAN", 16, 1, 0x2F71, 0xFFE1);
  testing::internal::CaptureStderr();
  EXPECT_TRUE(probe.set_parameter("PATH", "d"));
  EXPECT_FALSE(probe.test());
  EXPECT_TRUE(probe.set_parameter("filter", "*"));
  EXPECT_TRUE(probe.test());
  EXPECT_FALSE(probe.set_parameter("Filter", ""));
  EXPECT_FALSE(probe.test());  // the empty value replaced the other
  EXPECT_FALSE(probe.set_parameter("size", "maybe"));
  EXPECT_FALSE(probe.set_parameter("date", nullptr));
  EXPECT_FALSE(probe.set_parameter("depth", "1"));
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "The filescan filter parameter requires a non-empty value.\n"
            "Valid values for 'filescan size' are 'Yes' or 'No', default is 'Yes'\n"
            "Valid values for 'filescan date' are 'Yes' or 'No', default is 'Yes'\n"
            "depth is not a valid parameter for filescan\n");
}

TEST_F(filescan_test, TheTaskWritesAFileOfItsOwnOrIntoTheReport) {
  make("d/a.conf");
  Table::set_output_format(OUTPUT_KSML);
  gatherer_setting(setting_silent, setting_set, 1);
  gatherer_setting(setting_gather_file, setting_set, 0);
  gatherer_filename(filename_template, setting_set, "result");
  static filescan_probe probe("FILESCAN", 16, 1, 0x2F71, 0xFFE1);
  for (auto [key, value] : {
           std::pair("path", "d"), {"filter", "*" },
             {"date",   "No"}
  }) {
    EXPECT_TRUE(probe.set_parameter(key, value));
  }
  FILE* report = fopen("report", "w");
  EXPECT_TRUE(probe.run(report));
  EXPECT_EQ(ftell(report), 0);
  EXPECT_EQ(Table::get_output_format(), OUTPUT_KSML);
  const std::string separate = content_of("result.FILESCAN.XML");
  EXPECT_NE(separate.find("<vpd>"), std::string::npos);
  EXPECT_NE(separate.find("<file>\r\n<filename>a.conf</filename>\r\n<path>d</path>\r\n<size>1"),
            std::string::npos)
      << separate;
  EXPECT_EQ(separate.substr(separate.size() - 18), "</gathered_data>\r\n");

  gatherer_setting(setting_stdout_output, setting_set, 1);
  EXPECT_TRUE(probe.run(report));
  gatherer_setting(setting_stdout_output, setting_set, 0);
  EXPECT_EQ(fclose(report), 0);  // still open
  EXPECT_NE(content_of("report").find("<TABLE ID=\"SCANNED FILES\">"), std::string::npos);
  EXPECT_FALSE(fs::exists(format_text("fscn%x.tmp", static_cast<unsigned>(getpid()))));
}

}  // namespace
}  // namespace kestrel
