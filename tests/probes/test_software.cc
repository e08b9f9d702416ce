// Packages and modules: the commands run with stand-in tools, first on PATH.
#include <gtest/gtest.h>

#include <string>

#include "lib/find_tool.h"
#include "probes/deb_software.h"
#include "probes/modules_linux.h"
#include "probes/rpm_software.h"
#include "tests/probes/report_rows.h"

namespace kestrel {
namespace {

class Software : public ::testing::Test {
 protected:
  void stand_in(const std::string& name, const std::string& script) { commands_.add(name, script); }
  command_stand_ins commands_;
};

TEST_F(Software, ToolIsThereWhenWhichSucceeds) {
  EXPECT_EQ(find_tool("kestrel-tool", "Tools"), std::nullopt);
  stand_in("kestrel-tool", "");
  EXPECT_EQ(find_tool("kestrel-tool", "Tools"), commands_.folder() + "/kestrel-tool");
  stand_in("which", "echo \"/opt/$1\"; echo more; exit 3");
  EXPECT_EQ(find_tool("rpm", "Tools"), std::nullopt);
  stand_in("which", "echo \"/opt/$1\"; kill -KILL $$");
  EXPECT_EQ(find_tool("rpm", "Tools"), std::nullopt);
  stand_in("which", "");
  EXPECT_EQ(find_tool("rpm", "Tools"), "");
}

// The first record shows the query format; then come lines that fail, and a record without an end.
constexpr const char* k_rpm_script = R"sh(
[ "$1 $2 $3" = "--query --all --queryformat" ] || exit 1
printf '%b' "$(printf %s "$4" | sed 's/%{\([A-Za-z:]*\)}/<\1>/g')"
echo 'warning: database is old' >&2
printf 'Name: caf\351\nSize:  12\nGroup:x\nGroups: y\nVendor:\nSummary: z\n'
printf 'Description: %0100d\n---EOP---\n ---EOP---\nName: a\0b\n---EOP---\0\n' 7
printf 'Name: not closed\n---EOP---'; exit 1
)sh";

TEST_F(Software, RpmRowsAreTheClosedRecords) {
  stand_in("rpm", k_rpm_script);
  EXPECT_EQ(ksml_rows_of(write_rpm_packages),
            "RPM Packages\n"
            "&lt;NAME&gt;: &lt;NAME&gt;|&lt;VERSION&gt;-&lt;RELEASE&gt;|&lt;VENDOR&gt;|"
            "&lt;SUMMARY&gt;|&lt;GROUP&gt;|&lt;INSTALLTIME:day|&lt;SIZE&gt; bytes|\n"
            "caf\xEF\xBF\xBD: caf\xEF\xBF\xBD|||" +
                std::string(80, '0') + "|x|| 12 bytes|\na: a|||||||\n");
}

constexpr const char* k_aptitude_script = R"sh(
[ "$1 $2 $3 $5 $6" = "search ~i~T -F -w 512" ] || exit 1
echo "$4" | sed 's/%./<&>   /g'
printf 'Name: g++    ++Version: %040d++Description: C++ compiler++Size: 1 kB++---EOP---\n' 0
echo 'Name: x++---EOP--- '
)sh";

TEST_F(Software, DebianRowsAreTrimmedAndCutAtTheSeparator) {
  stand_in("aptitude", k_aptitude_script);
  EXPECT_EQ(ksml_rows_of(write_deb_packages),
            "DPKG Packages\n"
            "&lt;%p&gt;: &lt;%p&gt;|&lt;%v&gt;|&lt;%m&gt;|&lt;%d&gt;|&lt;%s&gt;|&lt;%I&gt;|\n"
            "g: g|" +
                std::string(32, '0') + "||C||1 kB|\n");
}

// Tasks and probes live as long as the program.
probe& modules() {
  static probe_group group("MODULES TEST", 16, nullptr, true);
  static modules_probe subject(group, "Kernel Modules", 4, 1);
  return subject;
}

TEST_F(Software, ModulesAreListedWithWhatTheyTell) {
  stand_in("uname", "echo 9.9-test");
  stand_in("find", "cd /; for m in fs/a.ko net/b.o; do echo \"$1/kernel/$m\"; done");
  stand_in("modinfo", R"sh(
case "$1 ${2##*/}" in
  "-a a.ko") printf 'J\374rg\nSecond Author\n';;
  "-l a.ko") echo GPL;;
  "-d b.o") echo '<none>';;
esac)sh");
  stand_in("grep", R"sh([ "$1 $2 $3" = "-q ^b /proc/modules" ])sh");
  const auto write = [](FILE* out) { EXPECT_TRUE(modules().run(out)); };
  EXPECT_EQ(ksml_rows_of(write),
            "Kernel Modules\n"
            "a.ko: a.ko|kernel/fs||J\xEF\xBF\xBDrg|GPL||No|\n"
            "b.o: b.o|kernel/net|||||Yes|\n");
  stand_in("which", "exit 1");
  EXPECT_EQ(ksml_rows_of(write), "Kernel Modules\n");
}

TEST(LoadedModules, LineIsCutBeforeItsState) {
  const std::string long_name(40, 'n');
  const std::pair<std::string, const char*> cases[] = {
      {"ext4 1 2 - Live 0x0",                    "ext4 1 2 "                           },
      {"jbd2 131072 1 ext4, Live 0xffff (E)",    "jbd2 131072 1 ext4,"                 },
      {"x 99999999999 -1 a,b,[permanent], Live", "x 2147483647 -1 a,b,[permanent],"    },
      {"loop 4096 0 - Loading 0x0",              "none"                                },
      {"Live 4096 0 - Unloading 0x0",            "none"                                },
      {"Live 4096 1 Live_b, Live 0x0",           "Live 4096 1 Live_b,"                 },
      {"old 4096 - - Live 0x0",                  "old 4096 0 "                         },
      {long_name + " 7 0 - Live 0x0",            "nnnnnnnnnnnnnnnnnnnnnnnnnnnnnnn 7 0 "},
      {" Live",                                  "none"                                },
      {"- Live",                                 "none"                                },
      {"name Live",                              "none"                                },
      {"name size 1 - Live",                     "none"                                },
      {"",                                       "none"                                },
  };
  for (const auto& [line, seen] : cases) {
    const auto module = parse_loaded_module(line);
    const std::string shown = !module ? "none"
                                      : module->name + " " + std::to_string(module->size) + " " +
                                            std::to_string(module->uses) + " " + module->dependants;
    EXPECT_EQ(shown, seen) << line;
  }
}

}  // namespace
}  // namespace kestrel
