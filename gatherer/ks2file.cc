// Puts files, streams and command output into the one gather file of the process, by way of a
// temporary file with the text header in front, and tells the user what was refused and why.
#include "gatherer/ks2file.h"

#include <cerrno>
#include <cstring>
#include <memory>
#include <string>

#include "gatherer/console.h"
#include "gatherer/gthfile.h"
#include "gatherer/settings.h"
#include "gatherer/version.h"
#include "lib/command.h"
#include "lib/debug.h"
#include "lib/decode.h"
#include "lib/mbcs.h"
#include "lib/stop.h"
#include "lib/table.h"
#include "lib/temporary.h"
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
std::string last_refusal;

// By the negated result code, where the system gave no reason and where it did.
constexpr code_name k_refusals[] = {
    {1, "the gather file is not open"              },
    {4, "the gather file is full"                  },
    {5, "the gather file cannot be read"           },
    {6, "writing the gather file failed"           },
    {9, "compression failed, the file may be empty"},
};
constexpr code_name k_system_refusals[] = {
    {2, "cannot be opened"                },
    {4, "no temporary file can be created"},
    {5, "the gather file cannot be read"  },
    {6, "writing the gather file failed"  },
    {9, "cannot be packed"                },
};

constexpr const char* k_stopped = "not stored, the run was asked to stop";

std::string refusal_text(int code, int errnum) {
  if (errnum == EINTR && is_stopping()) return k_stopped;
  const auto negated = static_cast<uint32_t>(-code);
  if (errnum == 0) return name_of(k_refusals, negated, "not stored");
  return format_text("%s: %s", name_of(k_system_refusals, negated, "not stored"), strerror(errnum));
}

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

bool refuse(const char* name, const std::string& text) {
  report_file_error(name, text.c_str());
  fail_run();
  return false;
}

// What is read through this stream ends with an error when the run is asked to stop: a long file is
// not waited for. The stream behind it must outlive it.
file_ptr make_stoppable(FILE* file) {
  const cookie_io_functions_t functions = {
      [](void* cookie, char* buffer, size_t size) -> ssize_t {
        if (is_stopping()) {
          errno = EINTR;
          return -1;
        }
        const size_t count = fread(buffer, 1, size, static_cast<FILE*>(cookie));
        return count == 0 && ferror(static_cast<FILE*>(cookie)) != 0 ? -1
                                                                     : static_cast<ssize_t>(count);
      },
      nullptr,
      [](void* cookie, off64_t* position, int whence) {
        FILE* behind = static_cast<FILE*>(cookie);
        if (fseeko(behind, static_cast<off_t>(*position), whence) != 0) return -1;
        *position = ftello(behind);
        return 0;
      },
      nullptr};
  return file_ptr(fopencookie(file, "rb", functions));
}

bool store_closed(const temporary_file& temporary, const char* name) {
  const file_ptr content = temporary.read();
  if (content == nullptr) return refuse(name, strerror(errno));
  return store_user_file(content.get(), name, item_stored_file);
}

FILE* start_xml(file_ptr out, const char* path) {
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

void note_answer(int code) {
  const int errnum = errno;
  last_item_stored = code == gth_ok;
  last_refusal = last_item_stored ? "" : refusal_text(code, errnum);
}

// Header and copied content go into a temporary file, that file into the container.
bool store_copy(FILE* in, const char* name, const char* mime_type, int kind, copy_function copy) {
  temporary_file temporary;
  file_ptr out = open_temp_file(temporary, kind);
  if (out == nullptr) return refuse(name, refusal_text(gth_table_full, errno));
  write_file_header(out.get(), name, mime_type);
  errno = 0;
  copy(in, out.get());
  if (is_stopping()) return refuse(name, k_stopped);
  bool complete = ferror(in) == 0;
  if (!complete) refuse(name, strerror(errno != 0 ? errno : EIO));
  if (!close_checked(std::move(out)))
    complete = refuse(name, refusal_text(gth_codec_failed, errno));
  return complete && store_closed(temporary, name);
}

bool store_named_file(const char* path, const char* mime_type, const char* what, int kind,
                      copy_function copy) {
  printd("ks2file: storing %s type %s (%s)\n", path, mime_type == nullptr ? "" : mime_type, what);
  if (!is_gathering()) return false;
  const file_ptr file = open_regular_file(path);
  if (file == nullptr) {
    print_error(path, errno);
    return false;
  }
  const file_ptr in = make_stoppable(file.get());
  return store_copy(in.get(), path, mime_type, kind, copy);
}

}  // namespace

GatherFile& make_gather_file() {
  if (gather_file == nullptr) gather_file = std::make_unique<GatherFile>();
  return *gather_file;
}

void destroy_gather_file() { gather_file.reset(); }

bool is_gather_file_open() { return gather_file != nullptr && gather_file->is_open(); }

FILE* open_xml_file(const char* path) { return start_xml(create_output_file(path, "wb"), path); }

FILE* open_xml_file(temporary_file& file, const char* first_name) {
  return start_xml(file.create(first_name), first_name);
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
  note_answer(
      make_gather_file().AddItemFile(static_cast<unsigned char>(item_type), path, compress));
  if (!last_item_stored) refuse(path, last_refusal);
  return true;
}

bool store_stream(FILE* source, const char* name, int item_type, bool compress) {
  last_item_stored = false;
  if (!is_gathering()) return false;
  errno = 0;
  note_answer(make_gather_file().AddItemFile(static_cast<unsigned char>(item_type), source, name,
                                             compress));
  return true;
}

bool store_user_file(FILE* file, const char* name, int item_type) {
  const file_ptr source = make_stoppable(file);
  if (!store_stream(source.get(), name, item_type, true)) return false;
  return was_stored() || refuse(name, last_refusal);
}

const std::string& why_not_stored() { return last_refusal; }

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
  const bool is_stored = store_copy(running.stream(), name, mime_type, kind_text, copy_text);
  running.finish(name, running.lines());
  return is_stored;
}

void write_file_header(FILE* out, const char* name, const char* mime_type) {
  write_header_line(out, "Filename", name, "\n");
  write_header_line(out, "MIME-Type", mime_type, "\n\n");
}

file_ptr open_temp_file(temporary_file& file, int kind) {
  return file.create(format_text("kest%x%x.tmp", static_cast<unsigned>(kind),
                                 static_cast<unsigned>(get_process_id())));
}

}  // namespace kestrel
