// The boot loader's menu and the kernel's command line.
#include <gtest/gtest.h>

#include "probes/boot_linux.h"
#include "tests/probes/report_rows.h"

namespace kestrel {
namespace {

std::string menu_rows(std::string_view menu) {
  const sample_file file(menu);
  return ksml_rows_of([&](FILE* out) { write_grub_configuration(out, file.path()); });
}

TEST(Grub, EntryIsWrittenWhenALineShowsThatItIsWhole) {
  EXPECT_EQ(menu_rows("# title Comment\n"
                      "default=0\n"
                      "color \tcyan/blue  white/blue\r\n"
                      "title  Linux \n"
                      "\troot (hd0,0)\n"
                      "\tkernel\t/vmlinuz  ro  root=/dev/sda3\tquiet\n"
                      "\tinitrd /initrd.img\n"
                      "kernel\n"
                      "\n"
                      "title Rescue\n"
                      "kernel /vmlinuz\n"
                      "boot\n"
                      "fallback 1\n"
                      "title Other <system>\n"
                      "rootnoverify (hd1,0)\n"
                      "chainloader +1\n"
                      "initrd /of the next entry\n"
                      "bootsplash\n"
                      "title\n"
                      "titles one\n"
                      "title Last\n"
                      "kernel /not written\n"
                      "Timeout 1\n"
                      "timeouts 10"),
            "GRUB Boot entries\n"
            "Linux: Linux|(hd0,0)|/vmlinuz|ro  root=/dev/sda3\tquiet|/initrd.img|false|\n"
            "Rescue: Rescue||/vmlinuz|||false|\n"
            "Other &lt;system&gt;: Other &lt;system&gt;|noverify (hd1,0)||||true|\n"
            "Unnamed Entry: Unnamed Entry||||/of the next entry|false|\n"
            "s one: s one|||||false|\n"
            "GRUB Options\n"
            "default: Default Entry|=0|\n"
            "color: Menu Colours|cyan/blue  white/blue|\n"
            "fallback: Fallback Entry|1|\n"
            "timeout: Menu Timeout|s 1|\n");
}

TEST(Grub, FieldsAreCut) {
  grub_entries entries;
  entries.take("root " + std::string(20, 'r'));
  entries.take("kernel " + std::string(120, 'k') + " " + std::string(300, 'o'));
  std::optional<grub_entry> entry = entries.take("boot");
  ASSERT_TRUE(entry);
  EXPECT_EQ(entry->root, std::string(16, 'r'));
  EXPECT_EQ(entry->kernel, std::string(120, 'k'));
  EXPECT_EQ(entry->options, std::string(128, 'o'));
  entries.take("kernel " + std::string(300, 'k'));
  entry = entries.take("boot");
  ASSERT_TRUE(entry);
  EXPECT_EQ(entry->kernel, std::string(128, 'k'));
  EXPECT_EQ(parse_grub_option("color" + std::string(200, 'c'))->value, std::string(128, 'c'));
}

TEST(Grub, UnreadableMenuLeavesTheTablesEmpty) {
  const std::string empty = "GRUB Boot entries\nGRUB Options\n";
  EXPECT_EQ(menu_rows(""), empty);
  EXPECT_EQ(menu_rows(std::string(3, '\0') + "\n\n#\n" + std::string(1 << 21, ' ')), empty);
  EXPECT_EQ(ksml_rows_of([](FILE* out) { write_grub_configuration(out, "/dev/zero"); }), empty);
}

std::string command_line_rows(std::string_view line) {
  const sample_file file(line);
  return ksml_rows_of([&](FILE* out) { write_kernel_command_line(out, file.path()); });
}

TEST(KernelCommandLine, RowIsNamedAfterTheValue) {
  EXPECT_EQ(command_line_rows(" ro\troot=LABEL=/ \v quiet x= =y \nnext=line\n"),
            "Kernel Command Line\nro: ro||\nLABEL=/: root|LABEL=/|\nquiet: quiet||\n: x||\n"
            "y: |y|\n");
  EXPECT_EQ(command_line_rows("ro quiet"), "Kernel Command Line\nro: ro||\nquie: quie||\n");
  for (const char* nothing : {"", "\n", " \t \n"}) {
    EXPECT_EQ(command_line_rows(nothing), "Kernel Command Line\n");
  }
}

TEST(KernelCommandLine, WordsAreCut) {
  const auto options = parse_kernel_command_line("a=" + std::string(300, 'v') + " " +
                                                 std::string(1000000, 'w') + " b");
  ASSERT_EQ(options.size(), 3u);
  EXPECT_EQ(options[0].value, std::string(254, 'v'));
  EXPECT_EQ(options[1].option, std::string(256, 'w'));
  EXPECT_EQ(options[2].option, "b");
}

}  // namespace
}  // namespace kestrel
