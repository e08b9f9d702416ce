// The postbox: what becomes of each kind of file, and what the user is told.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <map>

#include "gatherer/gthfile.h"
#include "gatherer/ks2file.h"
#include "gatherer/settings.h"
#include "lib/table.h"
#include "probes/postbox_task.h"
#include "tests/lib/scratch.h"

namespace kestrel {
namespace {

class postbox_test : public testing::Test {
 protected:
  postbox_test() {
    folder_.enter();
    std::filesystem::create_directories("box/sub");
    gatherer_setting(setting_silent, setting_set, 1);
    gatherer_setting(setting_gather_file, setting_set, 1);
    Table::set_output_format(OUTPUT_KSML);
  }
  ~postbox_test() override { destroy_gather_file(); }

  scratch_folder folder_;
  static postbox_task postbox_;  // the registry keeps it
};
postbox_task postbox_test::postbox_("Gathering plug-in output files", 18, 0x40);

TEST_F(postbox_test, TheNameDecidesHowAFileIsStored) {
  const std::map<std::string, std::string> types = {
      {"a.txt",     "text/plain"              },
      {"b.asc",     "text/plain"              },
      {"c.xml",     "text/xml"                },
      {"d.HTML",    "text/html"               },
      {"sub/e.htm", "text/html"               },
      {"f.txt.bak", "application/octet-stream"}
  };
  for (const auto& [name, type] : types) put_file("box/" + name, "x\xE9");
  put_file("box/g.dgml", "<g/>");
  put_file("box/h.ksml", "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<SECTION/>\n");
  ASSERT_EQ(make_gather_file().CreateFile("out"), gth_ok);
  FILE* report = fopen("report", "w");
  EXPECT_EQ(postbox_.add_from_postbox("box", report), 8);
  fclose(report);
  EXPECT_STREQ(postbox_.status_ok_text, "8 file(s) added");
  EXPECT_NE(content_of("report").find("<SECTION/>"), std::string::npos);

  make_gather_file().CloseFile();
  GatherFile stored;
  ASSERT_EQ(stored.ReadFile("out"), gth_ok);
  ASSERT_EQ(stored.NumItems(), 7);
  for (int i = 0; i < stored.NumItems(); ++i) {
    ASSERT_EQ(stored.ExtractItem(i, "item"), gth_ok);
    const std::string item = content_of("item");
    if (stored.GetItemType(i) == item_postbox) {
      EXPECT_EQ(item, "<g/>");
      continue;
    }
    ASSERT_EQ(stored.GetItemType(i), item_stored_file);
    const std::string name = item.substr(14, item.find('\n') - 14);  // "Filename: box/..."
    ASSERT_EQ(types.count(name), 1u) << item;
    const std::string body = name == "b.asc"                    ? "x?"
                             : name[0] == 'c' || name[0] == 'f' ? "x\xE9"
                                                                : "x\xEF\xBF\xBD";
    EXPECT_EQ(item, "Filename: box/" + name + "\nMIME-Type: " + types.at(name) + "\n\n" + body);
  }
}

TEST_F(postbox_test, FilesThatCannotBeStoredAreCounted) {
  EXPECT_EQ(postbox_.add_from_postbox("box", nullptr), 0);
  EXPECT_STREQ(postbox_.status_ok_text, "0 file(s) added");
  put_file("box/a.bin", "x");
  mkfifo("box/b.txt", 0600);
  mkfifo("box/c.ksml", 0600);
  ASSERT_EQ(make_gather_file().CreateFile("out"), gth_ok);
  EXPECT_EQ(postbox_.add_from_postbox("box", nullptr), 1);
  EXPECT_STREQ(postbox_.status_ok_text, "1 file(s) added, 2 file(s) fa");  // 29 characters at most
  gatherer_setting(setting_gather_file, setting_set, 0);
  EXPECT_EQ(postbox_.add_from_postbox("box", nullptr), 0);
}

TEST_F(postbox_test, WithoutThePostboxTheTaskFails) {
  EXPECT_FALSE(postbox_.run(nullptr));
  EXPECT_STREQ(postbox_.status_fail_text, "Directory not found");
}

}  // namespace
}  // namespace kestrel
