// What every command writes about one gather file, whole and damaged, and about itself, compared
// whole with tests/tools/golden. UPDATE=1 writes the outputs of now there: read the difference.
#include <gtest/gtest.h>

#include "tests/tools/ks2_samples.h"
#include "tools/ks2/command.h"

namespace kestrel::ks2 {
namespace {

const std::string k_golden = KESTREL_TEST_FOLDER "/tools/golden/";

/// Status, output and messages; the page without what it embeds and its sums.
std::string said(std::vector<std::string> words) {
  std::vector<char*> argv;
  std::string text = "$";
  for (std::string& word : words) {
    argv.push_back(word.data());
    text += " " + word;
  }
  argv.push_back(nullptr);
  optind = 0;
  testing::internal::CaptureStdout();
  testing::internal::CaptureStderr();
  const int status = ks2_main(static_cast<int>(words.size()), argv.data());
  text += "\n" + testing::internal::GetCapturedStdout();
  for (const auto& [start, end] :
       {std::pair("<style>", "</style>"), std::pair("<script>", "</script>"),
        std::pair("'sha256-", "'")}) {
    for (size_t at = 0; (at = text.find(start, at)) != std::string::npos;) {
      at += strlen(start);
      text.erase(at, text.find(end, at) - at);
    }
  }
  const std::string told = testing::internal::GetCapturedStderr();
  return text + (told.empty() ? "" : "--- told\n" + told) + format_text("--- status %d\n", status);
}

class Ks2Commands : public testing::Test {
 protected:
  Ks2Commands() {
    setenv("LC_ALL", "C.UTF-8", 1);
    setenv("COLUMNS", "100", 1);
    folder_.enter();
    const std::string report = content_of(k_golden + "sample.ksml");
    const std::string identity = "Cbirch\nVACME\nMAnvil 3\nS\nU\nT20260102-030405\nLroot\nK\n";
    std::vector<part> parts = {
        {item_identity,    identity,                                                false},
        {item_stored_file,
         "Filename: /etc/notes\nMIME-Type: text/plain\n\nnotes\n" + std::string(90, '='),  true},
        {item_stored_file,                "Filename: a\x1b\" b\nMIME-Type: \n\n",                                                        false       },
        {item_postbox,                "postbox",                                                            false                                 },
        {item_report,                report,                                                             true           }
    };
    put("whole.KS2", make_container(parts));
    put("stuffed.KS2", stuffed(make_container(parts)));
    std::string damaged = report;
    for (const auto& [what, with] : k_damage) damaged = replaced(damaged, what, with);
    put("damaged.ksml", bytes_of(damaged));
    put("cut.ksml", bytes_of(report.substr(0, 20000)));
    parts[0].content += "X?\n";
    parts[1].type = 99;
    parts.pop_back();
    put("other.KS2", make_container(parts));
    put_file("notes", "nothing of ours");
  }
  ~Ks2Commands() override {
    unsetenv("LC_ALL");
    unsetenv("COLUMNS");
    setlocale(LC_ALL, "C");
  }
  static void put(const char* name, const file_bytes& bytes) {
    put_file(name, {reinterpret_cast<const char*>(bytes.data()), bytes.size()});
  }
  static void compare(const std::string& name, const std::string& found) {
    const std::string path = k_golden + name;
    if (getenv("UPDATE") != nullptr) put_file(path, found);
    EXPECT_EQ(found, content_of(path)) << name;
  }

  static constexpr std::pair<const char*, const char*> k_damage[] = {
      {">sda<",                    ">sdb<"                           },
      {">1024</ASC>",              ">1025</ASC>"                     },
      {"<ROWS>3</ROWS>",           "<ROWS>4</ROWS>"                  },
      {">Anvil 4<",                ">Anvil &nbsp;<"                  },
      {"<COLS>3</COLS>",           "<COLS>2</COLS>"                  },
      {"line 7 of",                "line 8 of"                       },
      {">true</BOOL>",             ">truf</BOOL>"                    },
      {"ID=\"first\"",             "ID=\"first\" X=\"1\""            },
      {"<FILE ID=\"/etc/odd\"",    "<BLINK>\r\n<FILE ID=\"/etc/odd\""},
      {">ext3<",                   ">ext\x01<"                       },
      {"of <the> log",             "of <the> l\xE9g"                 },
      {"Debian GNU/Linux, kernel", "memory again"                    },
  };
  scratch_folder folder_;
};

TEST_F(Ks2Commands, SayWhatTheySaid) {
  const std::string all[] = {"whole.KS2", "stuffed.KS2", "damaged.ksml",
                             "cut.ksml",  "other.KS2",   "notes"};
  std::string text;
  const auto add = [&text](std::vector<std::string> words) {
    words.insert(words.begin(), "ks2");
    text += said(std::move(words));
  };
  for (const char* command : {"list", "verify"}) {
    for (const std::string& file : all) add({command, file});
    add({command, "whole.KS2", "missing", "cut.ksml"});
  }
  add({"list", "--json", "whole.KS2", "notes", "damaged.ksml"});
  add({"verify", "--thorough", "whole.KS2"});
  for (const std::string& file : all) add({"extract", "-d", "out." + file, file});
  add({"extract", "-d", "out.raw", "--raw", "whole.KS2", "2", "identity", "/etc/notes"});
  for (const char* what : {"identity", "stored", "a\x1b\" b", "9", "none"}) {
    add({"extract", "-o", "-", "whole.KS2", what});
  }
  for (const auto& entry : {"out.whole.KS2/notes", "out.raw/notes"})
    text += content_of(entry) + "\n";
  for (const char* command : {"stuff", "unstuff"}) {
    for (const std::string& file : all)
      add({command, file, "-o", std::string(command) + "." + file});
  }
  EXPECT_TRUE(content_of("stuff.whole.KS2") == content_of("stuffed.KS2"));
  EXPECT_TRUE(content_of("unstuff.stuffed.KS2") == content_of("whole.KS2"));
  compare("files.txt", text);
}

TEST_F(Ks2Commands, ShowWhatTheyShowed) {
  for (const char* format : {"text", "csv", "json"}) {
    std::string text;
    for (const char* columns : {"100", "40"}) {
      setenv("COLUMNS", columns, 1);
      for (const std::string file : {"whole.KS2", "damaged.ksml", "cut.ksml", "other.KS2"}) {
        text += said({"ks2", "show", "-F", format, file});
        for (const std::string part :
             {"s", "st/or", "ST/OR/disks & <", "st//none", "boot//e", "x"}) {
          text += said({"ks2", "show", "-F", format, file, part});
        }
      }
      text += said({"ks2", "show", "-F", format, "-a", "whole.KS2"});
      // Only tables for people have a width.
      if (std::string_view(format) != "text") break;
    }
    compare(std::string(format) + ".txt", text);
  }
  compare("whole.html", said({"ks2", "html", "-o", "-", "whole.KS2"}));
  compare("damaged.html", said({"ks2", "html", "-o", "-", "damaged.ksml"}));
}

TEST_F(Ks2Commands, ExplainThemselves) {
  std::string text = said({"ks2"}) + said({"ks2", "--help"}) + said({"ks2", "nonsense"});
  for (const std::string name : {"list", "extract", "verify", "show", "html", "stuff", "unstuff"}) {
    text += said({"ks2", "help", name}) + said({"ks2", name}) +
            said({"ks2", name, "a", "b", "c", "d"}) +
            said({"ks2", name, "-m", "12X", "whole.KS2"}) +
            said({"ks2", name, "--what", "whole.KS2"});
  }
  compare("help.txt", text);
}

}  // namespace
}  // namespace kestrel::ks2
