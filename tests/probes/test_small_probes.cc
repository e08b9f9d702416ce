// Time zone, locales, users, crontab, processes, environment and display.
#include <gtest/gtest.h>

#include "probes/display_linux.h"
#include "probes/environment_linux.h"
#include "probes/ps_probe.h"
#include "probes/regional_linux.h"
#include "probes/schedule_linux.h"
#include "probes/tz_info.h"
#include "probes/users_linux.h"
#include "tests/probes/report_rows.h"

namespace kestrel {
namespace {

/// A variable of the environment, put back at the end; null removes it.
class variable {
 public:
  variable(const char* name, const char* value) : name_(name) {
    if (const char* old = getenv(name)) old_ = old;
    set(value);
  }
  variable(const variable&) = delete;
  variable& operator=(const variable&) = delete;
  ~variable() { set(old_ ? old_->c_str() : nullptr); }
  void set(const char* value) { value != nullptr ? setenv(name_, value, 1) : unsetenv(name_); }

 private:
  const char* name_;
  std::optional<std::string> old_;
};

probe_group& test_group() {
  static probe_group group("SMALL PROBES TEST", 16, nullptr, true);
  return group;
}

// Probes live as long as the program.
template <class Probe>
Probe& new_probe() {
  return *new Probe(test_group(), "SMALL", 1, 1);
}

TEST(TimeZone, LocalRowFollowsTheZone) {
  variable zone("TZ", "EST5EDT,M3.2.0,M11.1.0");
  const auto at = [](std::time_t moment) {
    return report_of([moment](FILE* out) { write_time(out, moment); });
  };
  EXPECT_EQ(at(1155652944),
            "Current Time\nLocal|2006-08-15|10:42:24|Yes|EDT|\n"
            "GMT|2006-08-15|14:42:24|No|GMT|\n");
  EXPECT_EQ(at(1167613200),
            "Current Time\nLocal|2006-12-31|20:00:00|No|EST|\n"
            "GMT|2007-01-01|01:00:00|No|GMT|\n");
}

TEST(Locale, ValueOfAnAssignment) {
  const std::tuple<const char*, const char*, const char*> cases[] = {
      {"LANG=\"de_DE.UTF-8\" # x",   "LANG",        "de_DE.UTF-8"},
      {"LANG=de_DE # x",             "LANG",        "de_DE"      },
      {"LANG= \t de_DE",             "LANG",        "de_DE"      },
      {"LANG=\"de",                  "LANG",        "de"         },
      {"LANG=\"\"",                  "LANG",        "\"\""       },
      {"LANG=0123456789abcdefghijk", "LANG",        "0123456789a"},
      {"export \t LANG=fr",          "export LANG", "fr"         },
      {"LANG=",                      "LANG",        "none"       },
      {" LANG=de",                   "LANG",        "none"       },
      {"LANGUAGE=de",                "LANG",        "none"       },
      {"LAN",                        "LANG",        "none"       },
  };
  for (const auto& [line, key, value] : cases) {
    EXPECT_EQ(parse_rcfile_line(line, key, 12).value_or("none"), value) << line;
  }
  sample_file file("#LANG=x\nLANG=\n" + std::string(2000, 'x') + "\nLANG=\"a\"\nLANG=b");
  std::string value = "old";
  EXPECT_TRUE(parse_rcfile(file.path(), "LANG", value, 12));
  EXPECT_EQ(value, "a");
  EXPECT_FALSE(parse_rcfile("/no/such/file", "LANG", value, 12));
  EXPECT_EQ(value, "");
}

TEST(Locale, UsersFilesComeFirstAndUnknownLocalesStayEmpty) {
  command_stand_ins folder;
  variable home("HOME", folder.folder().c_str());
  variable all("LC_ALL", nullptr), lang("LANG", "xx_YY.UTF-8");
  std::string name;
  std::ofstream(folder.folder() + "/.profile") << "LANG=no\nexport LANG=C.UTF-8\n";
  EXPECT_TRUE(get_and_set_locale(current_user, name, 256));
  EXPECT_EQ(name, "C.UTF-8");
  const std::string report = report_of(get_regional_info);
  EXPECT_EQ(report.substr(report.find("Current User")),
            "Current User|C.UTF-8|||UTF-8|\nCurrent Thread|xx_YY.UTF-8||||\n\n");
  EXPECT_STREQ(setlocale(LC_ALL, nullptr), "C");
  std::ofstream(folder.folder() + "/.i18n") << "LANG=\"C\"\n";
  EXPECT_TRUE(get_and_set_locale(current_user, name, 256));
  EXPECT_EQ(name, "C");
  lang.set("");
  EXPECT_FALSE(get_and_set_locale(current_thread, name, 256));
  home.set(nullptr);
  EXPECT_FALSE(build_home_path(".i18n", name, 256));
}

TEST(Users, FieldsAreCutAndMayBeMissing) {
  EXPECT_EQ(report_of_file(write_accounts,
                           "root:x:0:0:root:/root:/bin/bash\n"
                           "nfs:x:4294967294:1:a,b::/usr/sbin/nologin:more\n"
                           "+::::::\n\njunk\n  half:x:12 \n"
                           "last:x:-2:0::/h:/bin/sh"),
            "User Accounts\nroot|0|/root|/bin/bash|\nnfs|4294967294||/usr/sbin/nolog|\n"
            "+|0|||\njunk|0|||\nhalf|12|||\nlast|-2|/h|/bin/s|\n");
  const std::string list(300, 'u');
  EXPECT_EQ(report_of_file(write_groups, "adm:x:4:a,b\n" + std::string(40, 'g') +
                                             ":x:99999999999:" + list + "\nnone:x:5:\n"),
            "Groups\nadm|4|a,b|\n" + std::string(31, 'g') + "|4294967295|" + list.substr(0, 255) +
                "|\nnone|5||\n");
}

TEST(Crontab, MinuteComesFirst) {
  EXPECT_EQ(report_of_file(write_crontab,
                           "# m h dom mon dow user command\nSHELL=/bin/sh\n@reboot root x\n\n"
                           "17 *\t* * *\troot    cd / && run-parts --report /etc/cron.hourly\n"
                           " */5 0-4,22 1 jan,feb,mar,apr,may mon-fri me " +
                               std::string(130, 'c') + "\n5 4\n"),
            "Scheduled Tasks\n*|17|*|*|*|root|cd / && run-parts --report /etc/cron.hourly|\n"
            "0-4,22|*/5|1|jan,feb,mar,apr|mon-fri|me|" +
                std::string(127, 'c') + "|\n4|5||||||\n");
}

TEST(Processes, NamesHoldBlanks) {
  command_stand_ins commands;
  commands.add("ps", R"sh(
[ "$*" = "--no-headers -eo pid,comm,user,nice,pcpu,pmem,stat --sort pid" ] || exit 1
echo "      1 systemd         root       0  0.0  0.1 Ss"
echo "     18 migration/0     root       -  0.0  0.0 S"
echo "    123 two  words 3 x  systemd+ -20 12.5  0.0 SNsl+"
echo "    124 root       0  0.0  0.1 Ss"
echo "    125 name user x 0.0 0.0 S"
echo "error: unsupported option" >&2
exit 1
)sh");
  ps_probe& probe = new_probe<ps_probe>();
  ASSERT_TRUE(probe.test());
  EXPECT_EQ(report_of([&](FILE* out) { EXPECT_TRUE(probe.run(out)); }),
            "Process List\n1|systemd|root|0|0.0|0.1|Ss|\n18|migration/0|root|0|0.0|0.0|S|\n"
            "123|two  words 3 x|systemd+|-20|12.5|0.0|SNsl|\n");
  commands.add("which", "exit 1");
  EXPECT_TRUE(probe.test());
  EXPECT_FALSE(new_probe<ps_probe>().test());
}

TEST(Environment, EntriesWithoutAValueSignAreSkipped) {
  char* entries[] = {const_cast<char*>("A=b=c"), const_cast<char*>("none"),
                     const_cast<char*>("EMPTY="), nullptr};
  static environment_probe task("ENVIRONMENT TEST", 16, 2, 1u, 1u);
  char** saved = environ;
  const auto report = [&](char** given) {
    environ = given;
    std::string text = report_of([](FILE* out) { EXPECT_TRUE(task.run(out)); });
    environ = saved;
    return text.substr(text.find("ENVIRONMENT"));
  };
  const std::string title = "ENVIRONMENT  \n===============\n";
  EXPECT_EQ(report(entries), title + "Shell variables\nA|b=c|\nEMPTY||\n\n");
  EXPECT_EQ(report(nullptr), title + "\n");
}

TEST(Display, RowNeedsAllFourNumbers) {
  command_stand_ins commands;
  commands.add("xrandr", "echo '   1920x1080     60.00*+  59.94'\n");
  commands.add("xdpyinfo", "echo '  depth of root window:    24 planes'\n");
  variable display("DISPLAY", ":7");
  display_probe& probe = new_probe<display_probe>();
  EXPECT_TRUE(probe.test());
  EXPECT_EQ(report_of([&](FILE* out) { EXPECT_TRUE(probe.run(out)); }), "Display Settings\n");
  display.set(nullptr);
  EXPECT_FALSE(probe.test());
}

}  // namespace
}  // namespace kestrel
