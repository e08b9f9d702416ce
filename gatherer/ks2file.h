// Files on their way into the gather file: the frame of the markup report, and stored files and
// command output with their small text header.
#pragma once

#include <cstdio>
#include <string>

#include "lib/file.h"

namespace kestrel {

class GatherFile;
class temporary_file;

/// The process-wide container, made on first use and destroyed by the closing task.
GatherFile& make_gather_file();
void destroy_gather_file();
bool is_gather_file_open();

/// Creates the markup report as a temporary file: heading, data element, version element. Null on
/// failure, which is reported and fails the run. The caller hands the stream to close_xml_file.
FILE* open_xml_file(temporary_file& file, const char* first_name);
/// Ends the frame (in ksml with the output checksum) and closes. False for a null stream or when
/// any write failed.
bool close_xml_file(FILE* out);

/// Adds a file to the gather file. True whenever gathering is on, whatever the container answered;
/// a refusal is told to the user and fails the run.
bool store_file(const char* path, int item_type, bool compress);
/// The same with what a stream that can seek holds, whatever it is called now; a refusal is not
/// told yet.
bool store_stream(FILE* source, const char* name, int item_type, bool compress);
/// The same with a file of the user's, compressed: false, and told, when it was refused. It is
/// given up when the run is asked to stop.
bool store_user_file(FILE* file, const char* name, int item_type);
/// True when the container took what these functions were last asked to add; else the reason.
bool was_stored();
const std::string& why_not_stored();

/// Store a regular file behind a header, as item_stored_file: non-ASCII bytes as '?', the locale's
/// text as UTF-8, or unchanged. A null `mime_type` is "". False when gathering is off, the file
/// cannot be read whole or the container refused it; what fails once it is open is told to the
/// user.
bool store_ascii_file(const char* path, const char* mime_type);
bool store_text_file(const char* path, const char* mime_type);
bool store_binary_file(const char* path, const char* mime_type);

/// The lines "Filename: name" and "MIME-Type: type" in UTF-8, and an empty one.
void write_file_header(FILE* out, const char* name, const char* mime_type);
/// Creates "kest<kind><pid>.tmp" in the current directory, or the next free name. Null on failure,
/// with errno.
file_ptr open_temp_file(temporary_file& file, int kind);

// What the interface promises and no program calls:
/// The report under a path of the caller's.
FILE* open_xml_file(const char* path);
/// Stores a shell command's output, as text, under `name`. Its exit code does not matter.
bool run_command_and_store_file(const char* name, const char* command, const char* mime_type);

}  // namespace kestrel
