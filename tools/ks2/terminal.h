// Where output goes: its width, whether it may be coloured, and the pager.
#pragma once

#include <cstddef>
#include <cstdio>
#include <string>
#include <string_view>

namespace kestrel::ks2 {

/// Columns to fit output into: of the terminal, COLUMNS, or 80.
size_t output_width();

enum class style { plain, heading, title };

/// Text for standard output: through the pager when that is a terminal, and coloured only there.
class paged_output {
 public:
  paged_output();
  paged_output(const paged_output&) = delete;
  paged_output& operator=(const paged_output&) = delete;
  /// Waits for the pager.
  ~paged_output();

  void write(std::string_view text, style how = style::plain);
  /// False once nobody reads any more.
  bool is_wanted() const { return std::ferror(out_) == 0; }

 private:
  void start_pager();

  FILE* out_ = stdout;
  bool is_coloured_ = false;
  int pager_ = 0;  ///< process id
};

}  // namespace kestrel::ks2
