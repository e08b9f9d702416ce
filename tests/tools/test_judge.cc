// The verdict: what is suspect, what is of another type than it says, and which report is opened.
#include <gtest/gtest.h>

#include "tests/tools/ks2_samples.h"

namespace kestrel::ks2 {
namespace {

// A packed item is what the one packer makes of its contents.
TEST(Ks2Damage, AChangedStoredItemIsSuspect) {
  std::vector<part> parts = small_parts(make_report());
  parts[1].content += parts[2].content;
  const file_bytes plain = make_container(parts);
  const input_item stored = input_file("file", plain, k_default_max_size).items()[1];
  size_t suspects = 0;
  for (size_t at = stored.end() - stored.compressed_size; at < stored.end(); at += 7) {
    file_bytes changed = plain;
    changed[at] ^= 0x10;
    suspects += verified(changed).faults.is_suspect() ? 1 : 0;
  }
  EXPECT_GT(suspects, 5u);
}

TEST(Ks2Damage, AnItemOfAnotherTypeThanItsContentsIsTold) {
  std::vector<part> parts = small_parts(make_report());
  for (const int type : {0, 13, 14, 17, 18, 20, 66, 254, 99}) {
    parts[2].type = static_cast<uint8_t>(type);
    EXPECT_TRUE(verified(make_container(parts)).is_damaged()) << type;
  }
  parts[2].type = item_report;
  for (const int type : {0, 1, 13, 14, 15, 17, 18, 20, 254}) {
    parts[1].type = static_cast<uint8_t>(type);
    EXPECT_TRUE(verified(make_container(parts)).is_damaged()) << type;
  }
  // A report that somebody stored beside the run's own, or behind a header.
  parts = small_parts(make_report());
  parts[1] = {item_postbox, parts[2].content, true};
  EXPECT_FALSE(verified(make_container(parts)).is_damaged());
  parts[1] = {item_stored_file, "Filename: r\nMIME-Type: \n\n" + parts[2].content, true};
  parts.pop_back();
  const outcome stored = verified(make_container(parts));
  EXPECT_FALSE(stored.is_damaged());
  EXPECT_TRUE(stored.tells("it holds a report"));
}

// The report is the last one, also where items stand behind it.
TEST(Ks2Judge, OpensWhatItJudged) {
  std::vector<part> parts = small_parts(make_report());
  parts.push_back(parts[1]);
  const input_file file("file", make_container(parts), k_default_max_size);
  std::optional<opened_report> opened;
  EXPECT_EQ(judge(file, judging::quick, &opened).status(), exit_whole);
  ASSERT_TRUE(opened);
  EXPECT_EQ(opened->item, 3);
  EXPECT_EQ(opened->content.sections.size(), 2u);
  EXPECT_TRUE(opened->content.is_complete);
}

TEST(Ks2Judge, ThoroughLooksIntoLargeItemsAndImports) {
  const std::string imported = make_report();
  const std::string inner = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\r\n" +
                            replaced(imported.substr(imported.find('\n') + 1), ">sda<", ">sdb<");
  const std::vector<part> parts = {
      {item_identity, k_identity,          false      },
      {item_postbox,  std::string(9 << 20, ' '),        true},
      {item_report,             make_report({inner}),                      true}
  };
  const input_file file("file", make_container(parts), k_default_max_size);
  const judgement quick = judge(file, judging::quick);
  const judgement thorough = judge(file, judging::thorough);
  EXPECT_EQ(quick.status(), exit_whole);
  ASSERT_EQ(quick.faults.all().size(), 1u);
  EXPECT_EQ(quick.faults.all()[0].text, "not packed again, since it is large (see --thorough)");
  EXPECT_EQ(thorough.status(), exit_whole);
  ASSERT_EQ(thorough.faults.all().size(), 1u);
  EXPECT_EQ(thorough.faults.all()[0].text, "faults that the imported report has of its own: 1");
}

}  // namespace
}  // namespace kestrel::ks2
