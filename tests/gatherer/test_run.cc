// Runs from the command line to the files they leave, with the tasks that open and close them and
// one that logs, compared whole with tests/gatherer/golden. UPDATE=1 writes what they leave now
// there: read the difference.
#include <gtest/gtest.h>

#include <regex>

#include "gatherer/console.h"
#include "gatherer/file_task.h"
#include "gatherer/gatherer_probe.h"
#include "gatherer/getarg.h"
#include "gatherer/gthfile.h"
#include "gatherer/gthfile_task.h"
#include "gatherer/main.h"
#include "gatherer/presets.h"
#include "gatherer/settings.h"
#include "lib/dmi.h"
#include "lib/lzh.h"
#include "lib/section.h"
#include "lib/sysinfo.h"
#include "lib/table.h"
#include "lib/utilstr.h"
#include "tests/doors/fake_pma.h"
#include "tests/lib/scratch.h"

namespace kestrel {
namespace {

class listing_task : public probe_task {
 public:
  using probe_task::probe_task;
  bool run(FILE* out) override {
    start_section(out, name);
    get_gatherer_parameters(out, 0, nullptr);
    get_gatherer_probes_list(out);
    end_section(out);
    return true;
  }
};

/// The registry of a run of its own; that of other tests comes back.
struct run_tasks {
  ~run_tasks() { task::first = before; }
  task* before = std::exchange(task::first, nullptr);
  xml_output_file_task open_xml{"Create XML Output File", 8};
  stdout_output_task open_stdout{"Output to stdout", 8};
  txt_output_file_task open_text{"Create Text Output File", 8};
  html_output_file_task open_html{"Create HTML Output File", 8};
  gthfile_task create{"Create Gatherer File", 9};
  gthfile_task open{"Open Gatherer File", 10};
  probe_group group{"GROUP", 13, "GROUP", true};
  listing_task listing{"LISTING", 14, 1, 0x2F71, 0xFFFF};
  listing_task deep{"DEEP", 15, 6, 0x2F71, 0xFFFF};
  xml_output_file_task close_xml{"Close XML Output File", 25};
  txt_output_file_task close_text{"Close Text Output File", 25};
  html_output_file_task close_html{"Close HTML Output File", 25};
  gthfile_task close{"Close Gatherer File", 26};
};

class Run : public testing::Test {
 protected:
  Run() {
    folder_.enter();
    put_file("notes", "caf\xC3\xA9 \xFF\t\x01\r\n" + std::string(1100, '+'));
    put_file("import.xml", "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<X>1</X>\n");
    play_smbios(smbios_bytes(1, 0, {1, 2, 0, 3}, {"Ma/ker", "Mo\xC3\xA9 del", "Se:rial"}));
    dmi_ = std::make_unique<Dmi>();
    Dmi::instance = dmi_.get();
    system_ = std::make_unique<SysInfo>();
    SysInfo::instance = system_.get();
  }
  ~Run() override {
    SysInfo::instance = nullptr;
    Dmi::instance = nullptr;
    gatherer_default_configuration();
  }
  /// Runs it in the folder and adds to what was left: words, streams, status.
  void run(std::vector<const wchar_t*> words) {
    run_tasks tasks;
    words.insert(words.begin(), L"kestrel");
    for (const wchar_t* word : words) text_ += std::string(word, word + wcslen(word)) + " ";
    testing::internal::CaptureStderr();
    testing::internal::CaptureStdout();
    gatherer_default_configuration();
    for (int kind = 0; kind < 3; ++kind) probe_task::set_probe_list(kind, nullptr);
    const int argc = static_cast<int>(words.size());
    gatherer_args(argc, words.data());
    const int status = gatherer_run(argc, words.data());
    text_ += "\n" + testing::internal::GetCapturedStderr();
    text_ += testing::internal::GetCapturedStdout() + format_text("--- status %d\n", status);
  }
  /// Adds what the folder holds but for what the test put there; a container item by item.
  void take_files() {
    std::set<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(".")) {
      names.insert(entry.path().filename());
    }
    for (const std::string& name : names) {
      if (name == "notes" || name == "import.xml") continue;
      text_ += "=== " + name + "\n";
      const std::string bytes = content_of(name);
      const gth_container read(
          {reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size()});
      if (read.items().empty()) text_ += bytes;
      for (const gth_item& item : read.items()) {
        std::vector<unsigned char> content(item.size);
        const byte_span data = read.data(item);
        EXPECT_TRUE(item.flag == 0 || LzH().Decode(data, content) == 0);
        if (item.flag == 0) content.assign(data.begin(), data.end());
        text_ += format_text("--- item %d, %s\n", item.type, item.flag == 0 ? "stored" : "packed");
        text_.append(content.begin(), content.end());
      }
      std::filesystem::remove(name);
    }
  }
  /// Whose machine, which process and when are not this test's, nor what other
  /// tests leave: the sum of all reports, a flavour.
  void compare(const std::string& name) {
    const std::pair<const char*, const char*> changing[] = {
        {"\nC.*\nV",                          "\nC\nV"                    },
        {"\nT.*\nL.*\nK.*\n",                 "\nT\nL\nK\n"               },
        {"kes[a-z]+[0-9a-f]+\\.tmp",          "TEMPORARY"                 },
        {"Version 2\\.0\\.0 QXR",             "Version 2.0.0 "            },
        {"<CHK>.*</CHK>\r\n</GATHERED_DATA>", "<CHK/>\r\n</GATHERED_DATA>"},
    };
    for (const auto& [what, with] : changing) {
      text_ = std::regex_replace(text_, std::regex(what), with);
    }
    const std::string path = KESTREL_TEST_FOLDER "/gatherer/golden/" + name;
    if (getenv("UPDATE") != nullptr) put_file(path, text_);
    EXPECT_EQ(text_, content_of(path));
  }

  scratch_folder folder_;
  std::unique_ptr<Dmi> dmi_;
  std::unique_ptr<SysInfo> system_;
  std::string text_;
};

TEST_F(Run, LeavesWhatWasAskedFor) {
  run({L"-batch",   L"-filename",    L"@V-@M-@S-@U@", L"-textfile",   L"notes",
       L"text/x",   L"-asciifile",   L"notes",        L"-binaryfile", L"notes",
       L"-XmlFile", L"import.xml",   L"-dgmlfile",    L"notes",       L"-binaryfile",
       L"notes",    L"zyr/secevent", L"-ksmlfile",    L"import.xml",  L"-binaryfile",
       L"missing",  L"-dgmlfile",    L"missing",      L"-level",      L"1"});
  take_files();
  run({L"-silent", L"-xmlfile", L"import.xml", L"zyr/kestrel2", L"-textfile"});
  take_files();
  compare("gather_file.txt");
}

TEST_F(Run, LeavesLooseReports) {
  run({L"-batch", L"-local", L"-filename", L"@V@S"});
  run({L"-batch", L"-local", L"-text", L"-filename", L"x", L"-skip", L"listing"});
  run({L"-batch", L"-html", L"-filename", L"x", L"-level6"});
  run({L"-batch", L"-html", L"-stdout", L"-level", L"2"});
  run({L"-batch", L"-local", L"-filename", L"no/folder"});
  take_files();
  compare("reports.txt");
}

TEST_F(Run, AsksForConsentAndSteps) {
  put_file("answers", "maybe\n\nYes\nn\nx\nn\n\ny\nq\ny\nN\nR\n");
  ASSERT_NE(freopen("answers", "r", stdin), nullptr);
  std::filesystem::remove("answers");
  for (int i = 0; i < 2; ++i) run({L"-local", L"-stdout", L"-text"});
  for (int i = 0; i < 4; ++i)
    run({L"-batch", L"-step", L"-html", L"-level", L"6", L"-filename", L"x"});
  run({L"-local", L"-stdout", L"-text"});
  take_files();
  compare("answers.txt");
}

TEST_F(Run, NamesFitAndHoldNoFolder) {
  const auto name_of = [](const char* pattern, const char* tail, int size) {
    char name[64] = "as it was";
    gatherer_generate_filename(pattern, tail, name, size);
    return std::string(name);
  };
  EXPECT_EQ(name_of("@V-@Z@M@", ".KS2", 64), "Ma ker-Mo\xC3\xA9 del.KS2");
  EXPECT_EQ(name_of("@M", ".KS2", 8), "Mo.KS2") << "no half character";
  EXPECT_EQ(name_of("@M", ".KS2", 9), "Mo\xC3\xA9.KS2");
  EXPECT_EQ(name_of("@V", ".KS2", 6), "M.KS2");
  EXPECT_EQ(name_of("@V", ".KS2", 5), ".KS2");
  EXPECT_EQ(name_of("@V", ".KS2", 3), ".K");
  EXPECT_EQ(name_of("@V", nullptr, 0), "as it was");
  EXPECT_EQ(name_of(nullptr, nullptr, 9), "");
  EXPECT_TRUE(
      std::regex_match(name_of("@T", "", 64), std::regex("20[0-9]{6}-[0-2][0-9][0-5][0-9]{3}")));
}

}  // namespace
}  // namespace kestrel
