// Where output goes: its width, whether it may be coloured, and the pager.
#pragma once

#include <signal.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>

#include "tools/ks2/report_text.h"

namespace kestrel::ks2 {

/// Columns without end: nothing is wrapped.
inline constexpr size_t k_no_width = SIZE_MAX / 4;
/// Columns to fit output into: COLUMNS, those of the terminal or, where standard output is none,
/// k_no_width.
size_t output_width();

enum class style { plain, heading, title };

/// People read in their locale's encoding; programs get UTF-8 anywhere.
enum class audience { people, programs };

/// Text on its way out, in blocks. Texts are UTF-8 and safe to show.
class text_output {
 public:
  /// `out` is not owned; errors stay in it.
  text_output(FILE* out, audience readers) : out_(out), readers_(readers) {}
  text_output(const text_output&) = delete;
  text_output& operator=(const text_output&) = delete;
  ~text_output() { flush_at_end(); }

  void write(std::string_view text, style how = style::plain);
  void write(shown_reader text, style how = style::plain);
  void flush();
  /// False once nobody reads any more.
  bool is_wanted() const { return std::ferror(out_) == 0; }

 protected:
  /// For destructors: what there is no memory for is left out.
  void flush_at_end() noexcept;

  FILE* out_;
  bool is_coloured_ = false;

 private:
  template <class Write>
  void write_styled(style how, Write write_text);

  audience readers_;
  std::string block_;
};

/// Standard output: through the pager when that is a terminal, and coloured only there.
class paged_output : public text_output {
 public:
  explicit paged_output(audience readers);
  /// Waits for the pager.
  ~paged_output();

 private:
  void start_pager();
  void give_signals_back();

  int pager_ = 0;                                ///< process id
  struct sigaction interrupt_ = {}, quit_ = {};  ///< what signals did before the pager
};

}  // namespace kestrel::ks2
