// See ks2file.h.
#include "gatherer/ks2file.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <memory>
#include <string>

#include "gatherer/console.h"
#include "gatherer/gthfile.h"
#include "gatherer/kestrel2.h"
#include "gatherer/version.h"
#include "lib/cleanup.h"
#include "lib/command.h"
#include "lib/debug.h"
#include "lib/decode.h"
#include "lib/mbcs.h"
#include "lib/table.h"
#include "lib/util_linux.h"
#include "lib/utilstr.h"
#include "lib/xml.h"

namespace kestrel {
namespace {

constexpr const char* k_data_element = "GATHERED_DATA";
constexpr size_t k_chunk = 1024;

enum temporary_kind { kind_ascii = 1, kind_text = 2, kind_binary = 3 };

std::unique_ptr<GatherFile> gather_file;
bool last_item_stored = false;

// By the negated result code.
constexpr code_name k_refusals[] = {
    {1, "the gather file is not open"              },
    {2, "cannot be opened"                         },
    {4, "the gather file is full"                  },
    {5, "the gather file cannot be read"           },
    {6, "writing the gather file failed"           },
    {9, "compression failed, the file may be empty"},
};

bool is_gathering() { return get_setting(setting_gather_file) != 0; }

void write_header_line(FILE* out, const char* label, const char* value, const char* end) {
  std::wstring text = mbcs_to_wide(value == nullptr ? "" : value);
  fprintf(out, "%s: %s%s", label, one_utf8_line(text).c_str(), end);
}

char ascii_byte(int c) {
  bool kept = c == '\n' || c == '\r' || c == '\t' || (c >= 32 && c < 127);
  return kept ? static_cast<char>(c) : '?';
}

void copy_ascii(FILE* in, FILE* out) {
  for (int c = 0; (c = getc_unlocked(in)) != EOF;) putc_unlocked(ascii_byte(c), out);
}

void copy_binary(FILE* in, FILE* out) {
  char chunk[k_chunk];
  while (size_t count = fread(chunk, 1, sizeof chunk, in)) fwrite(chunk, 1, count, out);
}

void write_utf8(std::wstring& text, FILE* out) {
  for (wchar_t& c : text) {
    if (is_escaped_byte(c)) c = 0xFFFD;
  }
  std::string bytes = wide_to_utf8(text);
  fwrite(bytes.data(), 1, bytes.size(), out);
  text.clear();
}

void copy_text(FILE* in, FILE* out) {
  block_decoder decoder;
  std::wstring text;
  char chunk[k_chunk];
  while (size_t count = fread(chunk, 1, sizeof chunk, in)) {
    decoder.decode(std::string_view(chunk, count), text);
    write_utf8(text, out);
  }
  decoder.finish(text);
  write_utf8(text, out);
}

using copy_function = void (*)(FILE* in, FILE* out);

// Header and copied content go into a temporary file, that file into the container.
bool store_stream(FILE* in, const char* name, const char* mime_type, int kind, copy_function copy) {
  char temporary[64];
  file_ptr out = open_temp_file(temporary, sizeof temporary, kind);
  if (out == nullptr) {
    report_file_error(temporary, errno);
    fail_run();
    return false;
  }
  temporary_file_note note(temporary);
  write_file_header(out.get(), name, mime_type);
  errno = 0;
  copy(in, out.get());
  bool complete = ferror(in) == 0;
  if (!complete) report_file_error(name, errno != 0 ? errno : EIO);
  if (!close_checked(std::move(out))) {
    report_file_error(temporary, errno);
    complete = false;
  }
  if (!complete) fail_run();
  bool stored = complete && store_file(temporary, item_stored_file, true) && was_stored();
  unlink(temporary);
  return stored;
}

bool store_named_file(const char* path, const char* mime_type, const char* what, int kind,
                      copy_function copy) {
  printd("ks2file: storing %s type %s (%s)\n", path, mime_type == nullptr ? "" : mime_type, what);
  if (!is_gathering()) return false;
  file_ptr in = open_regular_file(path);
  if (in == nullptr) {
    print_error(path, errno);
    return false;
  }
  return store_stream(in.get(), path, mime_type, kind, copy);
}

}  // namespace

GatherFile& make_gather_file() {
  if (gather_file == nullptr) gather_file = std::make_unique<GatherFile>();
  return *gather_file;
}

void destroy_gather_file() { gather_file.reset(); }

bool is_gather_file_open() { return gather_file != nullptr && gather_file->is_open(); }

FILE* open_xml_file(const char* path) {
  file_ptr out = create_output_file(path, "wb");
  if (out == nullptr) {
    report_file_error(path, errno);
    fail_run();
    return nullptr;
  }
  xml_file_heading(out.get());
  xml_open_tag(out.get(), k_data_element);
  xml_tag_value(out.get(), "GATHERER_VERSION", k_version);
  return out.release();
}

bool close_xml_file(FILE* out) {
  if (out == nullptr) return false;
  if (Table::get_output_format() == OUTPUT_KSML) {
    xml_tag_value(out, "CHK", format_text("%8X", Table::get_output_checksum()).c_str());
  }
  xml_close_tag(out, k_data_element);
  return close_checked(out);
}

bool store_file(const char* path, int item_type, bool compress) {
  last_item_stored = false;
  if (!is_gathering()) return false;
  errno = 0;
  int code = make_gather_file().AddItemFile(static_cast<unsigned char>(item_type), path, compress);
  last_item_stored = code == gth_ok;
  if (!last_item_stored) {
    int errnum = errno;
    const char* text = name_of(k_refusals, static_cast<uint32_t>(-code), "not stored");
    report_file_error(path,
                      errnum == 0 ? text : format_text("%s: %s", text, strerror(errnum)).c_str());
    fail_run();
  }
  return true;
}

bool was_stored() { return last_item_stored; }

bool store_ascii_file(const char* path, const char* mime_type) {
  return store_named_file(path, mime_type, "ascii", kind_ascii, copy_ascii);
}

bool store_text_file(const char* path, const char* mime_type) {
  return store_named_file(path, mime_type, "text", kind_text, copy_text);
}

bool store_binary_file(const char* path, const char* mime_type) {
  return store_named_file(path, mime_type, "binary", kind_binary, copy_binary);
}

bool run_command_and_store_file(const char* name, const char* command, const char* mime_type) {
  printd("ks2file: storing %s type %s (text) cmd %s\n", name, mime_type == nullptr ? "" : mime_type,
         command);
  if (!is_gathering()) return false;
  command_stream running(command);
  if (!running.is_open()) {
    print_error(name, errno);
    return false;
  }
  const bool is_stored = store_stream(running.stream(), name, mime_type, kind_text, copy_text);
  running.finish(name, running.lines());
  return is_stored;
}

void write_file_header(FILE* out, const char* name, const char* mime_type) {
  write_header_line(out, "Filename", name, "\n");
  write_header_line(out, "MIME-Type", mime_type, "\n\n");
}

file_ptr open_temp_file(char* buffer, int size, int kind) {
  format_string(buffer, static_cast<size_t>(size), "kest%x%x.tmp", static_cast<unsigned>(kind),
                static_cast<unsigned>(get_process_id()));
  return create_output_file(buffer, "wb");
}

}  // namespace kestrel
