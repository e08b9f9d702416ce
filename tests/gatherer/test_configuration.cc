// What the customer presets and a properties file leave in the settings.
#include <gtest/gtest.h>

#include "gatherer/getarg.h"
#include "gatherer/presets.h"
#include "gatherer/probe.h"
#include "gatherer/properties.h"
#include "gatherer/settings.h"
#include "lib/command.h"
#include "lib/mbcs.h"
#include "lib/table.h"
#include "tests/lib/scratch.h"

namespace kestrel {
namespace {

class configuration : public testing::Test {
 protected:
  configuration() { gatherer_default_configuration(); }
  ~configuration() override {
    gatherer_default_configuration();
    set_command_timeout(600);
    for (int kind : {0, 1, 2}) probe_task::set_probe_list(kind, nullptr);
  }
  /// Customers, batch, gather file, kept files, format, template.
  static std::string state() {
    std::string text;
    for (setting index :
         {setting_customers, setting_batch, setting_gather_file, setting_keep_output_files}) {
      text += std::to_string(get_setting(index)) + " ";
    }
    return text + std::to_string(Table::get_output_format()) + " " +
           get_filename(filename_template);
  }
};

TEST_F(configuration, of_every_customer) {
  const struct {
    void (*preset)();
    const char* state;
  } cases[] = {
      {enterprise_configuration, "1 0 1 0 4 @V-@M-@S"    },
      {demo_configuration,       "192 0 1 0 4 @V-@M-@S"  },
      {premium_configuration,    "192 1 1 0 4 @V-@M-@S"  },
      {wren_configuration,       "64 1 1 0 4 @V-@M-@S"   },
      {plove_configuration,      "1 1 1 0 4 @D\\PCDCHECK"},
      {moorings_configuration,   "1 0 0 0 5 @V-@M-@S"    },
      {xml_configuration,        "1 0 1 0 1 @V-@M-@S"    },
      {backdoor_configuration,   "1 0 1 1 4 @V-@M-@S"    },
      {qxr_configuration,        "2 1 1 0 1 @V-@M-@S"    },
  };
  for (const auto& one : cases) {
    gatherer_default_configuration();
    one.preset();
    EXPECT_EQ(state(), one.state);
  }
}

TEST_F(configuration, of_a_properties_file) {
  const sample_file file(
      "# level=1\n\n  Level = 3\nlevel=2 \nbatch\nBATCH=ignored\nfilename=a=b\ntimeout=7\n"
      "skip=one;two\nenable\nno.such=x\nnonsense\nhtml\nlocal");
  testing::internal::CaptureStderr();
  gatherer_parse_properties(mbcs_to_wide(file.path()).c_str());
  const std::string told = testing::internal::GetCapturedStderr();
  EXPECT_EQ(get_setting(setting_detail_level), 2);
  EXPECT_EQ(state(), "1 1 0 0 5 a=b");
  EXPECT_EQ(get_command_timeout(), 7u);
  EXPECT_EQ(told, std::string("Using properties from ") + file.path() +
                      "\nWarning: level   not supported.\nprobe no, parameter such\n"
                      "I don't understand nonsense\n");
}

}  // namespace
}  // namespace kestrel
