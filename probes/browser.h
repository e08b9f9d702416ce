// The installed web browsers and their versions.
#pragma once

#include <array>
#include <string>

#include "gatherer/probe.h"

namespace kestrel {

/// A browser that is looked for. The texts but the path are literals.
struct browser {
  const char* command;  ///< name on PATH
  const char* name;     ///< what the report calls it
  std::string path;     ///< without links; empty when it is not installed
};

/// The table of the browsers that were found.
class browser_probe : public probe {
 public:
  using probe::probe;

  /// True where there is a browser; looked up once.
  bool test() override;
  /// Of several names for one program only the last is reported. A version that a browser does not
  /// tell within 30 seconds stays empty. Always true.
  bool run(FILE* fp) override;

  /// In the order of the report; `test` fills in the paths.
  std::array<browser, 9> browsers = {
      {
       {"dillo", "Dillo", ""},
       {"konqueror", "Konqueror", ""},
       {"elinks", "ELinks", ""},
       {"wren", "wren", ""},
       {"firefox", "Mozilla Firefox", ""},
       {"firefox-bin", "Mozilla Firefox (Precompiled Binary)", ""},
       {"mozilla-firefox", "Mozilla Firefox", ""},
       {"mozilla-firefox-bin", "Mozilla Firefox (Precompiled Binary)", ""},
       {"mozilla", "Mozilla", ""},
       }
  };

 private:
  bool is_repeated(size_t index) const;

  bool is_tested_ = false;
  bool is_found_ = false;
};

}  // namespace kestrel
