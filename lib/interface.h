// What the support library's interface promises and no program calls: functions over what the other
// headers declare, each defined beside its siblings. They stand here so that those headers tell
// what is in use. util_string.h, textfile.h and sp.h hold nothing else and are not repeated.
#pragma once

#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kestrel {

// --- strings ------------------------------------------------------------------------------------

/// ASCII letters only, whatever the locale is; in place.
void convert_to_uppercase(char* text);
/// Appends as much of `source` as fits and returns the buffer; `size` is that of the whole buffer.
char* append_string(char* destination, size_t size, const char* source);
/// Bytes outside 32 to 126 become '?'.
std::string sanitised_ascii(const char* text);
/// 16-bit sum of the characters.
uint16_t wide_string_checksum(std::wstring_view text);

// --- files --------------------------------------------------------------------------------------

/// Reads a regular file whole; nothing on failure, with errno. The second takes a wide path.
std::optional<std::vector<unsigned char>> LoadFile(const char* path);
std::optional<std::vector<unsigned char>> LoadFileW(const wchar_t* path);
/// Replaces a file (see `create_output_file`). False on failure, with errno; a file that could not
/// be written whole is removed.
bool SaveFile(const char* path, std::string_view data);
bool SaveFileW(const wchar_t* path, std::string_view data);
/// Reads exactly `size` bytes of an open stream.
bool LoadData(FILE* in, void* data, size_t size);
/// Copies a regular file of any length; `target` is replaced as by `SaveFile`.
bool CopyFile(const char* source, const char* target);
/// New bytes are zero.
void ResizeByteBuffer(std::vector<unsigned char>& buffer, size_t size);
/// Appends the rest of `in` to `buffer`, to `k_max_file` (lib/local_file.h) bytes; false on a read
/// error or a longer file, with errno. LoadFile and LoadTextFile read with it.
bool read_rest(FILE* in, std::vector<unsigned char>& buffer);

// --- the system ---------------------------------------------------------------------------------

/// The host name, "" when it cannot be told.
std::string get_computer_name();
/// False on failure, with errno.
bool SetCurrentDir(const char* path);
/// Runs a shell command and waits for it; its exit code, or -1.
int execute(const char* command);

// --- the debug log ------------------------------------------------------------------------------

/// As enable_log_to_file, without truncating.
void enable_append_log_to_file(const char* path);
/// Logs to a stream that the caller owns, and forgets it without closing it.
void enable_log_to_stream(FILE* stream);
void disable_log_to_stream();
/// The functions of the same names without W (lib/debug.h), for wide formats.
int printdW(const wchar_t* format, ...);
int printd_noflushW(const wchar_t* format, ...);
int vprintd_noflushW(const wchar_t* format, va_list arguments);
int print_with_timeW(const wchar_t* format, ...);
/// Dumps `count` 16-bit words, 16 a row.
void print_worddump(const char* title, const unsigned short* data, int count, const char* prefix,
                    bool c_array = false);
/// Stopwatch for the log: `timer_mark` logs the seconds since the last reset or mark.
void timer_reset(const char* label);
void timer_mark(const char* label);

// --- markup: as the functions of lib/xml.h, for wide text ---------------------------------------

/// An element name: prefix and case options applied, anything but letters, digits, '.' and '-'
/// replaced by '_'.
std::wstring wide_make_xml_tag(const wchar_t* name);
/// Text content or attribute value: the five special characters escaped, what markup cannot carry
/// replaced by U+FFFD.
std::wstring wide_make_xml_value(const wchar_t* value);
void xml_open_wide_tag(FILE* out, const char* name, const wchar_t* value);
void xml_close_wide_tag(FILE* out, const wchar_t* name);
void xml_wide_tag_value(FILE* out, const char* name, const wchar_t* value);
/// <kind ID="name" W="width">value</kind>; no W when width is 0.
void xml_named_value(FILE* out, const char* kind, const char* name, int width, const char* value);
void xml_wide_named_value(FILE* out, const char* kind, const wchar_t* name, int width,
                          const wchar_t* value);

}  // namespace kestrel
