// Tables of records: columns, widths, cuts and cells come from one array.
#include <gtest/gtest.h>

#include "lib/table_rows.h"
#include "tests/lib/report_capture.h"

namespace kestrel {
namespace {

struct device {
  kept_text<5> name;
  fitted_text<4> note;
  std::wstring title;
  int small = 0;
  int64_t large = 0;
  unsigned count = 0;
  bool is_on = false;
};

std::string twice(const device& from) { return from.note + from.note; }

// What walks over texts: its getters are not const.
struct walker {
  char* get_text(char* buffer, int size) {
    return format_string(buffer, size_t(size), "t%d", size);
  }
  int get_count() { return ++count; }
  int count = 0;
};

constexpr cell_of<walker*> k_walker_cells[] = {
    {"Text",  show_ascii<&walker::get_text>},
    {"Count", show<&walker::get_count>     },
};

constexpr cell_of<device> k_cells[] = {
    {"Name",  show<&device::name>         },
    {"Note",  show_ascii<&device::note>   },
    {"Title", show<&device::title>.wide(9)},
    {"Small", show<&device::small>.wide(7)},
    {"Large", show<&device::large>        },
    {"Count", show_hex<&device::count>    },
    {"On",    show<&device::is_on>        },
    {"Twice", show<twice>.wide(3)         },
};

std::optional<device> parse(std::string_view line) {
  if (line.empty()) return {};
  return device{line, "n\xC3\xA9", L"w", -1, 5000000000, 255, true};
}

TEST(table_rows, shows_every_kind_of_cell_under_its_heading) {
  Table::set_output_format(OUTPUT_KSML);
  FILE* in = tmpfile();
  fputs("hard disk\n\nx\n", in);
  rewind(in);
  const std::string text = written_by([in](FILE* out) {
    record_table table(out, "Devices", "device", k_cells);
    add_lines(table, in, "test", parse, twice);
    EXPECT_EQ(table.rows(), 2u);
    walker walking;
    record_table(out, "Walked", k_walker_cells).add("w", &walking);
  });
  fclose(in);
  const std::string cells =
      "<ASC ID=\"Note\" W=\"4\">n?\?</ASC>\n"
      "<STR ID=\"Title\" W=\"9\">w</STR>\n"
      "<DEC ID=\"Small\" W=\"7\">-1</DEC>\n"
      "<DEC ID=\"Large\" W=\"6\">5000000000</DEC>\n"
      "<HEX ID=\"Count\" W=\"6\">0xFF</HEX>\n"
      "<BOOL ID=\"On\" W=\"6\">true</BOOL>\n"
      "<STR ID=\"Twice\" W=\"3\">n\xC3\xA9n\xC3\xA9</STR>\n";
  const std::string row = "<ROW ID=\"n\xC3\xA9n\xC3\xA9\">\n<STR ID=\"Name\" W=\"6\">";
  EXPECT_NE(text.find(with_cr(">t4096</ASC>\n<DEC ID=\"Count\" W=\"36\">1<")), std::string::npos)
      << text;
  EXPECT_EQ(text.find("<TABLE ID=\"Devices\">"), 0u);
  EXPECT_NE(text.find(with_cr(row + "hard </STR>\n" + cells)), std::string::npos) << text;
  EXPECT_NE(text.find(with_cr(row + "x</STR>\n" + cells)), std::string::npos) << text;
}

}  // namespace
}  // namespace kestrel
