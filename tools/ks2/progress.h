// What the program is at, told on a terminal when it takes longer than a second.
#pragma once

#include <string>

namespace kestrel::ks2 {

/// While it lives, its text is what the program is at. Nothing is shown before the program has run
/// for a second, and nothing unless standard error is a terminal; what was shown is wiped out.
class progress_stage {
 public:
  explicit progress_stage(const std::string& text);
  progress_stage(const progress_stage&) = delete;
  progress_stage& operator=(const progress_stage&) = delete;
  ~progress_stage();
};

}  // namespace kestrel::ks2
