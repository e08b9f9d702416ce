// Markup output: element names, escaping, UTF-8, CR LF line ends; whole files embedded in CDATA
// sections; ready-made ksml files imported.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>

#include "lib/text_buffer.h"

namespace kestrel {

/// Element names start with "KS_" (on at start).
void xml_set_tag_prefix(bool on);
/// Name of the identifying attribute ("ID" at start); null for none. The text is not copied.
void xml_set_attribute_id(const char* name);
/// The ASCII letters of element names are raised (on at start), or lowered (off at start).
void xml_set_tag_uppercase(bool on);
void xml_set_tag_lowercase(bool on);
bool xml_has_tag_prefix();
const char* xml_attribute_id();

/// All writers take a null stream as "write nothing" and a null text as "". Narrow text is in the
/// locale's encoding; the file receives UTF-8. A write that failed shows when the stream is closed.
void xml_file_heading(FILE* out);
/// <name ID="value">; no attribute when `value` is null.
void xml_open_tag(FILE* out, const char* name, const char* value = nullptr);
void xml_close_tag(FILE* out, const char* name);
/// <name>value</name>.
void xml_tag_value(FILE* out, const char* name, const char* value);

// The same, appended to a text: the table writer makes its lines of these.

/// Appends the escaped value. Returns its sum: that of the characters after replacement and before
/// escaping, over their UTF-8 bytes for narrow values, over the characters for wide ones.
uint16_t append_xml_value(text_buffer& out, std::string_view value);
uint16_t append_xml_value(text_buffer& out, std::wstring_view value);
/// Appends an element name; it is always ASCII.
void append_xml_tag(text_buffer& out, std::string_view name);
/// Appends a blank and the attribute.
void append_xml_attribute(text_buffer& out, std::string_view attribute, std::string_view value);
void append_xml_open_tag(text_buffer& out, std::string_view name, const char* value = nullptr);
void append_xml_close_tag(text_buffer& out, std::string_view name);
/// <name>value</name>.
void append_xml_tag_value(text_buffer& out, std::string_view name, std::string_view value);
/// The opening element of a named value.
void append_xml_named_start(text_buffer& out, std::string_view kind, std::string_view name,
                            int width);

/// Embeds a file (or `in`, which stays open); stops once `limit` characters were counted, 0 for no
/// limit. Returns the sum of the characters written.
uint32_t xml_log_file(FILE* out, const char* path, FILE* in, unsigned limit);
/// Copies a ksml file, less its first line, into the report. Returns its sum, 42 instead of 0 for
/// any file that could be opened, 0 otherwise.
uint32_t xml_log_ksml_file(FILE* out, const char* path);

/// Hands a text to a stream; a null stream takes nothing.
inline void write_text(FILE* out, std::string_view text) {
  if (out != nullptr && !text.empty()) fwrite_unlocked(text.data(), 1, text.size(), out);
}

/// Whether every write on the stream succeeded so far; true for null.
inline bool is_sound(FILE* out) { return out == nullptr || std::ferror(out) == 0; }

}  // namespace kestrel
