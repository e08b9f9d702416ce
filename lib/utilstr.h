// Strings: clean-up, bounded copies, lists of names, wildcards and the texts of capacities.
#pragma once

#include <cstddef>
#include <cstdint>
#include <list>
#include <string>
#include <string_view>

namespace kestrel {

/// White space of ASCII, whatever the locale is.
inline constexpr std::string_view k_white_space = " \t\n\v\f\r";

// --- clean-up, in place ---------------------------------------------------------------------

/// ASCII letters only, whatever the locale is.
void convert_to_uppercase(std::string& text);
/// Every character that is not an ASCII letter or digit becomes `replacement`.
void filter_alphanumeric(std::string& text, char replacement);
/// Characters below 32 and each of "*/<>?\| (and the double quote) become `replacement`.
void filter_filename(std::wstring& text, wchar_t replacement);
/// Bytes outside 32 to 126 become `replacement`.
void filter_printable_ascii(std::string& text, char replacement);
/// Cuts white space, and the characters of `extra`, from both ends.
void trim_string(std::string& text, const char* extra);
std::string_view trim_whitespace(std::string_view text);
void trim_whitespace(std::string& text);
/// Cuts blanks and tabs at the start.
std::string_view skip_blanks(std::string_view text);
/// The text's first word (ends at white space); `text` is advanced past it and the blanks behind.
std::string_view next_word(std::string_view& text);
/// The text up to `separator`; `text` is advanced past it (to its end when there is none).
std::string_view next_field(std::string_view& text, char separator);
/// The text before the first NUL, as a C string ends.
constexpr std::string_view until_nul(std::string_view text) {
  return text.substr(0, text.find('\0'));
}
/// At most `count` bytes of `text`, cut at a character boundary of UTF-8.
std::string cut(std::string_view text, size_t count);

// --- numbers, as scanf reads them, but bounded ----------------------------------------------

/// Reads a number as "%i" does (leading white space, sign, 0x, octal) and advances `text` past it.
/// Values outside 64 bits are clamped. False, and nothing changed, when there is no number.
bool scan_integer(std::string_view& text, int64_t& value);
/// The same as "%u"/"%d": decimal only.
bool scan_decimal(std::string_view& text, int64_t& value);
/// Clamps to int, for cells.
int to_int(int64_t value);

// --- bounded buffers ------------------------------------------------------------------------

/// Formats into a buffer, cut to its size, and returns it.
char* format_string(char* destination, size_t size, const char* format, ...)
    __attribute__((format(printf, 3, 4)));
/// printf into a string.
std::string format_text(const char* format, ...) __attribute__((format(printf, 1, 2)));
/// Cuts the path after its last '/', which stays; a path without one is left alone.
void remove_filename_from_path(char* path, size_t size);

// --- wildcards ------------------------------------------------------------------------------

/// Case-insensitive match; '*' is any run of characters, '?' any one.
bool compare_glob(const char* text, const char* pattern);
bool compare_glob_wide(const wchar_t* text, const wchar_t* pattern);

// --- capacities -----------------------------------------------------------------------------

/// Text of count x unit_size bytes in units that the first call of the process fixes (`kilo`, 1000
/// when 0): "1.0 TB", one truncated decimal. Writes into `out` and returns it.
char* calculate_storage_capacity(uint64_t count, unsigned unit_size, char* out, int size,
                                 unsigned kilo);
/// Text of a x b bytes in binary units: "512 MB", "3.00 GB".
char* calculate_memory_size(unsigned long long a, unsigned long long b, char* out, int size);

// --- lists of names -------------------------------------------------------------------------

/// Names given as one separated text, kept in order, with a cursor. Empty pieces are skipped.
class str_list {
 public:
  str_list() = default;
  str_list(const wchar_t* list, wchar_t separator);
  str_list(const str_list&) = delete;
  str_list& operator=(const str_list&) = delete;

  void add(std::string name);
  void add_separated_list(std::wstring_view list, wchar_t separator);
  /// Null past the last name. The text lives until `initialize`.
  const char* get_first();
  const char* get_next();

  // For who goes on with a list, or has it in the encoding of the locale:
  void initialize();  ///< drops all names; no program calls it
  const char* get_current() const;
  str_list(const char* list, char separator);
  /// Each separator in the caller's buffer becomes a terminator, on purpose; no program calls it.
  void add_separated_list(wchar_t* list, wchar_t separator);

 private:
  std::list<std::string> names_;
  std::list<std::string>::const_iterator current_ = names_.end();
};

/// Byte sum as signed 8-bit values modulo 65536.
uint16_t string_checksum(std::string_view text);

/// First place of `pattern` in the buffer, or null. The walk is deliberately simple: on a mismatch
/// it goes on behind the byte that did not match without testing that byte as a first one.
const unsigned char* FindSequence(const void* buffer, int length, const void* pattern,
                                  int pattern_length);

}  // namespace kestrel
