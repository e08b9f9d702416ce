// The tokens of a ksml report, read from raw bytes. No XML parser is used, since sums are over what
// stands in the file, and since a damaged report must be read on behind the damage: whatever is
// met, the scanner says what is wrong with it and goes on with the next line that begins markup.
#pragma once

#include <cstddef>
#include <string_view>

#include "tools/ks2/fault.h"

namespace kestrel::ks2 {

struct ksml_token {
  enum kind_type {
    at_end,
    opening,      ///< <NAME ...>, the start of a container
    closing,      ///< </NAME>
    value,        ///< <NAME ...>text</NAME>
    comment,      ///< <!-- text -->
    cdata,        ///< one or more CDATA sections; text is all between the first start and last end
    instruction,  ///< <?text?>
  };

  kind_type kind = at_end;
  std::string_view name;
  std::string_view id;     ///< raw; null data() without an ID attribute
  std::string_view width;  ///< of the W attribute; likewise
  std::string_view text;   ///< raw
  size_t offset = 0;
};

class ksml_scanner {
 public:
  ksml_scanner(std::string_view bytes, fault_list& faults) : bytes_(bytes), faults_(faults) {}

  /// Reads on to the end, reporting everything that no writer of reports would write.
  ksml_token next();
  size_t position() const { return at_; }
  /// Goes on elsewhere: behind an imported file, which is not ours to read.
  void seek(size_t position) { at_ = position; }
  /// To be called once, at the end: tells what is told once for the whole report.
  void finish();

 private:
  void skip_text();
  void read_instruction(ksml_token& token);
  void read_comment(ksml_token& token);
  void read_cdata(ksml_token& token);
  void read_closing(ksml_token& token);
  void read_element(ksml_token& token);
  bool read_attribute(ksml_token& token);
  void read_value(ksml_token& token);
  void end_line();
  size_t cdata_end(size_t from);
  size_t file_end(size_t end);
  bool is_file_end(size_t end) const;
  void check_references(std::string_view raw);
  std::string_view rest() const { return bytes_.substr(at_); }
  size_t find(std::string_view text, size_t from) const;
  void report(size_t offset, std::string text);

  std::string_view bytes_;
  fault_list& faults_;
  size_t at_ = 0;
  /// The first end of an embedded file at or behind the place it was last looked for.
  size_t next_file_end_ = 0;
  size_t bare_lines_ = 0;  ///< line ends without CR
  size_t first_bare_line_ = 0;
};

}  // namespace kestrel::ks2
