// Dumps of binary data in the debug log: 16 values a row, in groups of four, with a readable
// column; in array form the dump is a C initialiser whose readable part stands in comments.
#include <string>

#include "lib/debug.h"
#include "lib/interface.h"
#include "lib/utilstr.h"

namespace kestrel {
namespace {

constexpr int k_row = 16;

// The texts in which byte and word dumps differ.
struct dump_style {
  const char* unit;     // "bytes"
  const char* type;     // "unsigned char"
  const char* array;    // "hex_dump"
  const char* name;     // "HEX"
  const char* value;    // a value in the plain column
  int value_width;      // of that text
  const char* element;  // a value in the array column
  int element_width;
};
constexpr dump_style k_bytes = {"bytes", "unsigned char", "hex_dump", "HEX", "%02x ",
                                3,       "0x%02x,",       5};
constexpr dump_style k_words = {
    "words", "unsigned short", "word_dump", "WORD", "%04x ", 5, "0x%04x,", 7};

bool starts_group(int i) { return i != 0 && i % 4 == 0; }

std::string padding(int i, int width) {
  return std::string(static_cast<size_t>(width + (starts_group(i) ? 1 : 0)), ' ');
}

std::string formatted(const char* format, unsigned value) {
  char text[16];
  // The formats are the constants above.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
  snprintf(text, sizeof text, format, value);
#pragma GCC diagnostic pop
  return text;
}

template <class Value>
void dump_row(const dump_style& style, const Value* values, int count, bool c_array) {
  std::string line;
  for (int i = 0; i < k_row; ++i) {
    if (i >= count) {
      line += padding(i, style.value_width);
    } else {
      line += (starts_group(i) ? " " : "") + formatted(style.value, values[i]);
    }
  }
  line += "  ";
  for (int i = 0; i < k_row; ++i) {
    unsigned value = i < count ? values[i] : ' ';
    bool readable = value >= 33 && value <= 125;
    line += i >= count ? ' ' : readable ? static_cast<char>(value) : '.';
  }
  if (c_array) {
    line += " */ ";
    for (int i = 0; i < k_row; ++i) {
      if (i >= count) {
        line += padding(i, style.element_width);
      } else {
        line += (starts_group(i) ? " " : "") + formatted(style.element, values[i]);
      }
    }
  }
  printd_noflush("%s", line.c_str());
}

template <class Value>
void dump(const dump_style& style, const char* title, const Value* values, int count,
          const char* prefix, bool c_array) {
  if (!is_logging()) return;
  if (prefix == nullptr) prefix = "";
  open_log_file();
  if (c_array) {
    printd_noflush("/* ----  %-56.56s %6d %s */ %s %s[] = {", title, count, style.unit, style.type,
                   style.array);
  } else {
    printd_noflush("%s --- %s (%d %s) ---", prefix, title, count, style.unit);
  }
  for (int offset = 0; offset < count; offset += k_row) {
    printd_noflush("\n%s %04x: ", c_array ? "/*" : prefix, static_cast<unsigned>(offset));
    dump_row(style, values + offset, count - offset < k_row ? count - offset : k_row, c_array);
  }
  if (c_array) {
    printd_noflush("\n/* ----  END %s DUMP ---%54s*/ };\n", style.name, "");
  } else {
    printd_noflush("\n%s --- END %s DUMP ---\n", prefix, style.name);
  }
  close_and_flush_log_file();
}

}  // namespace

void print_hexdump(const char* title, const void* data, int length, const char* prefix,
                   bool c_array) {
  dump(k_bytes, title, static_cast<const unsigned char*>(data), length, prefix, c_array);
}

void print_worddump(const char* title, const unsigned short* data, int count, const char* prefix,
                    bool c_array) {
  dump(k_words, title, data, count, prefix, c_array);
}

}  // namespace kestrel
