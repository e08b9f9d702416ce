// The registry, its selection rules and its console, with tasks made for the purpose.
#include <gtest/gtest.h>

#include <deque>
#include <string>
#include <vector>

#include "gatherer/console.h"
#include "gatherer/getarg.h"
#include "gatherer/presets.h"
#include "gatherer/probe.h"
#include "gatherer/settings.h"
#include "gatherer/task.h"
#include "lib/table.h"

namespace kestrel {
namespace {

std::vector<std::string> ran;

class plain_task : public task {
 public:
  using task::task;
  bool run(FILE*) override {
    ran.push_back(name);
    return true;
  }
};

class recording_probe_task : public probe_task {
 public:
  using probe_task::probe_task;
  bool run(FILE*) override {
    ran.push_back(name);
    return succeeds;
  }
  bool set_parameter(const char* key, const char* value) override {
    parameters.push_back(std::string(key) + ":" + (value == nullptr ? "(null)" : value));
    return true;
  }
  bool succeeds = true;
  std::vector<std::string> parameters;
};

class recording_probe : public probe {
 public:
  using probe::probe;
  bool run(FILE*) override {
    ran.push_back(name);
    return false;
  }
};

// Registered out of order on purpose: 14b is made before 14a's neighbours.
recording_probe_task last("Last One", 25, 1, 0x2F71, 0xFFFF);
recording_probe_task first_of_two("Twin/One", 14, 1, 0x2F71, 0xFFFF);
recording_probe_task second_of_two("Twin Two", 14, 3, 0x0001, 0x0041);
plain_task opening("Opening", 8);
recording_probe_task flavour_only("Flavour", 15, 1, 0x2F71, 0x0010);
probe_group group("Group", 16, nullptr, true);
recording_probe not_here(group, "Elsewhere", 1, 0x2F70);
recording_probe deep(group, "Deep", 4, 0x0001);
recording_probe optical(group, "Optical", 1, 0x2F71, 0x10020);

std::string registry_order() {
  std::string ids;
  for (task* unit = task::first; unit != nullptr; unit = unit->next) ids += unit->id + " ";
  return ids;
}

class Tasks : public ::testing::Test {
 protected:
  void SetUp() override {
    gatherer_default_configuration();
    gatherer_setting(setting_silent, setting_on, 0);
    for (probe_task_iterator at; at.valid(); at.advance()) {
      at.get()->set_status(true);
      at.get()->set_blocked(false);
    }
    for (int kind = 0; kind < 3; ++kind) probe_task::set_probe_list(kind, nullptr);
    task::output_file = stdout;
    ran.clear();
  }
  static std::vector<std::string> run_with(std::vector<const wchar_t*> words) {
    words.insert(words.begin(), L"kestrel");
    gatherer_parse_command_line(static_cast<int>(words.size()), words.data());
    probe_task::process_probe_lists();
    task::run_all();
    return ran;
  }
};
using names = std::vector<std::string>;

TEST_F(Tasks, RegistryKeepsOrderAndWithinItRegistration) {
  EXPECT_EQ(registry_order(), "OPENING TWIN_ONE TWIN_TWO FLAVOUR GROUP LAST_ONE ");
}

TEST_F(Tasks, DefaultRunTakesWhatLevelPlatformAndCustomersAllow) {
  EXPECT_EQ(run_with({}), (names{"Opening", "Twin/One", "Twin Two", "Deep", "Last One"}));
}

TEST_F(Tasks, GroupsFollowTheirMembersOnly) {
  EXPECT_EQ(run_with({L"-level", L"3"}), (names{"Opening", "Twin/One", "Twin Two", "Last One"}));
  ran.clear();
  gatherer_setting(setting_customers, setting_set, 0x20);
  EXPECT_EQ(run_with({L"-level4"}), (names{"Opening", "Twin/One", "Deep", "Optical", "Last One"}));
}

TEST_F(Tasks, ListsSelectByIdWhateverTheSpelling) {
  EXPECT_EQ(run_with({L"-probe", L"twin two;group", L"LAST_ONE", L"-skip", L"last one"}),
            (names{"Opening", "Twin Two", "Deep"}));
}

TEST_F(Tasks, SkipWinsOverEnableAndMembersCannotBeNamed) {
  EXPECT_EQ(run_with({L"-probe", L"twin/one", L"-enable", L"group;deep;nobody", L"-skip",
                      L"Twin/One", L"-skip", L"Deep"}),
            (names{"Opening", "Twin/One", "Deep"}))
      << "a second list of a kind replaces the first, and members are no tasks";
}

TEST_F(Tasks, BlockedTasksStayOut) {
  probe_task::block_task_by_name("twin one");
  EXPECT_EQ(run_with({L"-probe", L"twin one"}), (names{"Opening"}));
}

TEST_F(Tasks, NoReportNoProbes) {
  task::output_file = nullptr;
  EXPECT_EQ(run_with({}), (names{"Opening"}));
}

TEST_F(Tasks, RangesAndListsRunWhatTheyName) {
  task::run_tasks(14, 16);
  EXPECT_EQ(ran, (names{"Twin/One", "Twin Two"}));
  ran.clear();
  const wchar_t* wanted[] = {L"last one", L"Nobody", L"Twin/One", nullptr};
  task_list_struct list;
  list.tasks = wanted;
  list.init = list.cleanup = true;
  task::run_task_list(list);
  EXPECT_EQ(ran, (names{"Opening", "Last One", "Twin/One", "Last One"}));
}

TEST_F(Tasks, ParametersGoToTheNamedTask) {
  first_of_two.parameters.clear();
  run_with({L"-p", L"twin one", L"key=a=b", L"bare", L"-level", L"5", L"-p"});
  EXPECT_EQ(first_of_two.parameters, (names{"key:a=b", "bare:(null)"}));
  EXPECT_FALSE(task::set_task_parameter(L"nobody", L"k", L"v"));
}

// Console texts, seen through a captured standard error.
class Console : public Tasks {
 protected:
  void SetUp() override {
    Tasks::SetUp();
    gatherer_setting(setting_silent, setting_off, 0);
    testing::internal::CaptureStderr();
  }
  static std::string shown() { return testing::internal::GetCapturedStderr(); }
};

TEST_F(Console, BannerFillsFortyColumnsAndCutsLongNames) {
  second_of_two.succeeds = false;
  first_of_two.print_banner();
  first_of_two.print_status(true);
  task* any = &second_of_two;
  any->run_task(stdout);
  second_of_two.succeeds = true;
  plain_task long_name("A name of far more than thirty-nine characters", 30);
  long_name.print_banner();
  EXPECT_EQ(shown(), "Twin/One " + std::string(31, '.') + " OK\n" + "Twin Two " +
                         std::string(31, '.') + " Not found\n" +
                         "A name of far more than thirty-nine cha  ");
}

TEST_F(Console, MistakesAreToldAndChangeNothing) {
  gatherer_setting(setting_detail_level, setting_set, 2);
  const wchar_t* words[] = {L"kestrel", L"word",   L"-nonsense", L"value",
                            L"-level",  L"7",      L"-level10",  L"-timeout",
                            L"-p",      L"nobody", L"a=b",       L"-level"};
  gatherer_parse_command_line(12, words);
  EXPECT_EQ(shown(),
            "I don't understand word\nI don't understand nonsense\n"
            "Warning: level 7 not supported.\nWarning: level 10 not supported.\n"
            "Warning: timeout (none) not supported.\nI don't understand '-p nobody'\n"
            "Warning: level (none) not supported.\n");
  EXPECT_EQ(get_setting(setting_detail_level), 2);
}

TEST_F(Console, KeywordsSwallowTheWordBehindThem) {
  const wchar_t* words[] = {L"kestrel", L"-BATCH", L"report", L"-Text", L"-filenameX@S", L"-local"};
  gatherer_parse_command_line(6, words);
  EXPECT_EQ(shown(), "");
  EXPECT_EQ(get_setting(setting_batch), 1);
  EXPECT_EQ(get_setting(setting_gather_file), 0);
  EXPECT_STREQ(get_filename(filename_template), "X@S");
  EXPECT_STREQ(get_filename(filename_extension), ".GTH");
  EXPECT_EQ(Table::get_output_format(), OUTPUT_TEXT);
}

TEST(Settings, GetterAndSetterInOne) {
  gatherer_setting(setting_step, setting_set, 5);
  EXPECT_EQ(gatherer_setting(setting_step, setting_get, 9), 5);
  EXPECT_EQ(gatherer_setting(setting_step, setting_on, 9), 5);
  EXPECT_EQ(gatherer_setting(setting_step, setting_off, 9), 1);
  EXPECT_EQ(get_setting(setting_step), 0);
}

}  // namespace
}  // namespace kestrel
