// Whole files on their way into a markup report: any file as a CDATA section, and ksml files that
// other programs made, less their first line. Both may be UTF-16; whatever arrives, the report
// stays UTF-8 and the end mark of a section never ends it early.
#include <algorithm>
#include <cerrno>
#include <cstring>

#include "lib/bounded_file.h"
#include "lib/debug.h"
#include "lib/mbcs.h"
#include "lib/utilstr.h"
#include "lib/xml.h"

namespace kestrel {

namespace {

constexpr size_t k_block_size = 1024;
constexpr size_t k_longest_first_line = 1024;

using block = char[k_block_size];

bool is_high_surrogate(unsigned unit) { return unit >= 0xD800 && unit <= 0xDBFF; }
bool is_low_surrogate(unsigned unit) { return unit >= 0xDC00 && unit <= 0xDFFF; }

/// UTF-16 in blocks: an odd byte and half a pair wait for the next one. A lone half is handed on as
/// it is, a lone byte at the end as a half.
class utf16_decoder {
 public:
  explicit utf16_decoder(bool big_endian) : big_endian_(big_endian) {}

  void decode(std::string_view bytes, std::wstring& out) {
    for (char c : bytes) {
      const auto byte = static_cast<unsigned char>(c);
      if (odd_byte_ < 0) {
        odd_byte_ = byte;
        continue;
      }
      const auto first = static_cast<unsigned>(odd_byte_);
      odd_byte_ = -1;
      take(big_endian_ ? first << 8 | byte : first | static_cast<unsigned>(byte) << 8, out);
    }
  }

  void finish(std::wstring& out) {
    if (high_ != 0) out += static_cast<wchar_t>(high_);
    if (odd_byte_ >= 0) out += static_cast<wchar_t>(0xDC00);
    high_ = 0;
    odd_byte_ = -1;
  }

 private:
  void take(unsigned unit, std::wstring& out) {
    if (high_ != 0 && is_low_surrogate(unit)) {
      out += static_cast<wchar_t>(0x10000 + ((high_ - 0xD800) << 10) + (unit - 0xDC00));
      high_ = 0;
      return;
    }
    if (high_ != 0) out += static_cast<wchar_t>(high_);
    high_ = is_high_surrogate(unit) ? unit : 0;
    if (high_ == 0) out += static_cast<wchar_t>(unit);
  }

  bool big_endian_;
  int odd_byte_ = -1;
  unsigned high_ = 0;
};

/// The characters of a file of unknown encoding: UTF-16 when it starts with a byte order mark
/// (which is its first character), else the locale's.
class file_decoder {
 public:
  explicit file_decoder(std::string_view first_block)
      : utf16_(first_block.starts_with("\xFF\xFE") || first_block.starts_with("\xFE\xFF")),
        units_(first_block.starts_with("\xFE\xFF")) {}

  bool is_utf16() const { return utf16_; }

  void decode(std::string_view bytes, std::wstring& out) {
    if (utf16_) {
      units_.decode(bytes, out);
    } else {
      bytes_.decode(bytes, out);
    }
  }

  void finish(std::wstring& out) {
    if (utf16_) {
      units_.finish(out);
    } else {
      bytes_.finish(out);
    }
  }

  bool is_inside_character() const {
    std::wstring rest;
    file_decoder(*this).finish(rest);
    return !rest.empty();
  }

 private:
  bool utf16_;
  utf16_decoder units_;
  block_decoder bytes_;
};

/// Writes and sums characters; inside a CDATA section its end mark is split over two sections.
class character_writer {
 public:
  character_writer(FILE* out, bool in_cdata) : out_(out), in_cdata_(in_cdata) {}

  /// Writes and clears `text`.
  void write(std::wstring& text) {
    for (wchar_t c : text) put(markup_character(c));
    write_text(out_, bytes_.view());
    bytes_.clear();
    text.clear();
  }

  uint32_t sum() const { return sum_; }

 private:
  void put(wchar_t c) {
    sum_ += static_cast<uint32_t>(c);
    if (in_cdata_ && c == L'>' && brackets_ >= 2) bytes_ += "]]><![CDATA[";
    brackets_ = c == L']' ? brackets_ + 1 : 0;
    char utf8[4];
    bytes_ += std::string_view(utf8, static_cast<size_t>(widechar_to_utf8bytes(c, utf8)));
  }

  FILE* out_;
  bool in_cdata_;
  size_t brackets_ = 0;
  uint32_t sum_ = 0;
  text_buffer bytes_;
};

/// Reads on to the end of the character in which a limit fell; none is longer than 4 bytes.
void complete_character(file_decoder& decoder, bounded_file& in, std::wstring& text) {
  for (int i = 0; i < 3 && decoder.is_inside_character(); ++i) {
    char byte;
    if (in.read(&byte, 1) == 0) return;
    decoder.decode(std::string_view(&byte, 1), text);
  }
}

uint32_t embed_content(FILE* out, bounded_file& in, unsigned limit) {
  write_text(out, "<![CDATA[");
  block bytes;
  size_t length = in.read(bytes, sizeof bytes);
  file_decoder decoder(std::string_view(bytes, length));
  character_writer writer(out, true);
  std::wstring text;
  for (uint64_t count = 0; length > 0; length = in.read(bytes, sizeof bytes)) {
    decoder.decode(std::string_view(bytes, length), text);
    count += decoder.is_utf16() ? length / 2 : length;
    const bool is_enough = limit != 0 && count >= limit;
    if (is_enough) complete_character(decoder, in, text);
    writer.write(text);
    if (is_enough) break;
  }
  decoder.finish(text);
  writer.write(text);
  write_text(out, "]]>\r\n");
  return writer.sum();
}

void write_file_opening(FILE* out, const char* path) {
  const char* attribute = xml_has_tag_prefix() ? "name" : xml_attribute_id();
  text_buffer line;
  line += xml_has_tag_prefix() ? "<KS_FILE" : "<FILE";
  if (attribute != nullptr) append_xml_attribute(line, attribute, path);
  line += ">\r\n";
  write_text(out, line.view());
}

/// What the first line of a ksml file declares.
struct xml_declaration {
  int fields = 0;
  char version[17] = "";
  char encoding[17] = "";

  explicit xml_declaration(const char* line) {
    fields =
        std::sscanf(line, "<?xml version=\"%16[^\"]\" encoding=\"%16[^\"]\"", version, encoding);
  }
  bool is(const char* expected_encoding) const {
    return fields == 2 && std::strcmp(version, "1.0") == 0 &&
           std::strcmp(encoding, expected_encoding) == 0;
  }
};

void write_import_start(FILE* out, const char* path) {
  text_buffer escaped;
  append_xml_value(escaped, std::string_view(path));
  std::string name(escaped.view());
  // Two hyphens in a row would end the comment.
  for (size_t i = 0; (i = name.find("--", i)) != std::string::npos; ++i) name.insert(i + 1, 1, ' ');
  write_text(out, "<!-- import " + name + " -->\r\n");
}

uint32_t copy_utf8(FILE* out, bounded_file& in) {
  uint32_t sum = 0;
  block bytes;
  while (const size_t length = in.read(bytes, sizeof bytes)) {
    for (char c : std::string_view(bytes, length)) sum += static_cast<unsigned char>(c);
    write_text(out, std::string_view(bytes, length));
  }
  return sum;
}

uint32_t copy_utf16(FILE* out, bounded_file& in) {
  utf16_decoder decoder(false);
  character_writer writer(out, false);
  std::wstring text;
  block bytes;
  while (const size_t length = in.read(bytes, sizeof bytes)) {
    decoder.decode(std::string_view(bytes, length), text);
    writer.write(text);
  }
  decoder.finish(text);
  writer.write(text);
  return writer.sum();
}

/// `start` holds what was read while looking for a byte order mark.
uint32_t import_utf8(FILE* out, const char* path, bounded_file& in, std::string start) {
  in.append(start, 1);
  std::string line;
  if (start == "\xEF\xBB\xBF") {
    printd("xml: UTF-8 file with BOM found\n");
  } else {
    line = start;
  }
  while (line.size() < k_longest_first_line && (line.empty() || line.back() != '\n')) {
    if (!in.append(line, 1)) break;
  }
  print_hexdump("XMLPI", line.data(), static_cast<int>(line.size()), "xml:");
  printd("xml: is this a processing instruction? [%s]\n", line.c_str());
  const xml_declaration found(line.c_str());
  if (!found.is("UTF-8")) {
    printd("xml: this is not a valid ksml file. m = %d, xmlver = [%s], xmlenc = [%s]\n",
           found.fields, found.version, found.encoding);
    return 0;
  }
  write_import_start(out, path);
  const uint32_t sum = copy_utf8(out, in);
  write_text(out, "<!-- end of import -->\r\n");
  return sum;
}

uint32_t import_utf16(FILE* out, const char* path, bounded_file& in) {
  printd("xml: UTF-16 file with BOM found\n");
  std::string units;
  while (units.size() < 2 * k_longest_first_line && !units.ends_with(std::string_view("\n\0", 2))) {
    if (!in.append(units, 2)) break;
  }
  std::wstring wide;
  utf16_decoder(false).decode(units, wide);
  const std::string line = wide_to_utf8(markup_text(wide));
  print_hexdump("XMLPI", units.data(), static_cast<int>(units.size()), "xml:");
  printd("xml: is this a processing instruction? [%s]\n", line.c_str());
  const xml_declaration found(line.c_str());
  if (!found.is("UTF-16")) {
    printd("xml: this is not a valid ksml file. m = %d, wxmlver = [%s], wxmlenc = [%s]\n",
           found.fields, found.version, found.encoding);
    return 0;
  }
  write_import_start(out, path);
  const uint32_t sum = copy_utf16(out, in);
  write_text(out, "<!-- end of import -->\r\n");
  return sum;
}

}  // namespace

uint32_t xml_log_file(FILE* out, const char* path, FILE* in, unsigned limit) {
  if (out == nullptr || path == nullptr) return 0;
  write_file_opening(out, path);
  bounded_file source = in != nullptr ? bounded_file(in) : bounded_file(path);
  const uint32_t sum = source.is_open() ? embed_content(out, source, limit) : 0;
  if (xml_has_tag_prefix()) {
    write_text(out, "</KS_FILE>\r\n");
  } else {
    xml_tag_value(out, "CHK", format_text("%8X", sum).c_str());
    write_text(out, "</FILE>\r\n");
  }
  std::fflush(out);
  return sum;
}

uint32_t xml_log_ksml_file(FILE* out, const char* path) {
  if (path == nullptr) return 0;
  printd("xml: reading ksml file %s\n", path);
  bounded_file in(path);
  if (!in.is_open()) {
    print_error(path, errno);
    return 0;
  }
  std::string start;
  in.append(start, 2);
  const auto shown = [&start](size_t i) {
    return i < start.size() ? static_cast<unsigned char>(start[i]) : 0u;
  };
  printd("xml: bom? %02x %02x\n", shown(0), shown(1));
  const uint32_t sum =
      start == "\xFF\xFE" ? import_utf16(out, path, in) : import_utf8(out, path, in, start);
  return sum == 0 ? 42 : sum;  // An opened file always counts as processed.
}

}  // namespace kestrel
