// Sections of the report and whole files in it. The sums of what a section holds go into the sum of
// the report when it ends.
#include "lib/section.h"

#include "lib/bounded_file.h"
#include "lib/debug.h"
#include "lib/mbcs.h"
#include "lib/table_formats.h"
#include "lib/xml.h"

namespace kestrel {

namespace {

void flush(FILE* out) {
  if (out != nullptr) std::fflush(out);
}

void copy_bytes(FILE* out, bounded_file& in, unsigned limit) {
  char block[4096];
  // A limit of 1 is kept; greater ones are not, on purpose.
  const size_t size = limit == 1 ? 1 : sizeof block;
  while (const size_t length = in.read(block, size)) {
    write_text(out, std::string_view(block, length));
    if (limit == 1) return;
  }
}

}  // namespace

void start_section(FILE* out, const char* title) {
  title = text_or_empty(title);
  printd("schema: section %s\n", title);
  current_report().section_checksum = 0;
  text_buffer line;
  current_report().format->open_section(line, title);
  write_text(out, line.view());
  flush(out);
}

bool end_section(FILE* out) {
  printd("schema: end section\n");
  report_state& report = current_report();
  report.output_checksum += report.section_checksum;
  text_buffer line;
  report.format->close_section(line);
  write_text(out, line.view());
  if (report.format->flushes_section_ends) flush(out);
  return is_sound(out);
}

bool log_file(FILE* out, const char* path, FILE* in, unsigned limit) {
  if (out == nullptr || path == nullptr) return false;
  return current_report().format->file(out, path, in, limit);
}

bool log_file(FILE* out, const char* path, unsigned limit) {
  return log_file(out, path, nullptr, limit);
}

bool log_ksml_file(FILE* out, const char* path) {
  if (out == nullptr) {
    printd("table: output file not open for ksml file\n");
    return false;
  }
  path = text_or_empty(path);
  const output_format_type format = current_report().format->type;
  if (format != OUTPUT_KSML) {
    printd("table: not importing %s for format %d\n", path, static_cast<int>(format));
    return false;
  }
  const uint32_t sum = xml_log_ksml_file(out, path);
  current_report().output_checksum += sum;
  return sum != 0 && is_sound(out);
}

void open_underlined_section(text_buffer& line, const char* title) {
  const std::string rule(character_count(title) + 4, '=');
  line += "\n" + rule + "\n  " + report_text(title) + "  \n" + rule + "\n";
}

void close_underlined_section(text_buffer& line) { line += '\n'; }

bool log_text_file(FILE* out, const char* path, FILE* in, unsigned limit) {
  bounded_file source = in != nullptr ? bounded_file(in) : bounded_file(path);
  if (!source.is_open()) return false;
  write_text(out, "\n---> FILE: " + report_text(path) + " <---\n");
  copy_bytes(out, source, limit);
  write_text(out, "---> END OF FILE <---\n");
  std::fflush(out);
  return is_sound(out);
}

bool log_markup_file(FILE* out, const char* path, FILE* in, unsigned limit) {
  current_report().section_checksum += xml_log_file(out, path, in, limit);
  return is_sound(out);
}

}  // namespace kestrel
