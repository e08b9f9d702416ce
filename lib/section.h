// What a report is made of beside its tables (lib/table.h): the sections that hold them, and whole
// files. Written in the output format that the run has chosen.
#pragma once

#include <cstdio>

namespace kestrel {

/// Sections do not nest. A null stream writes nothing; the sums are kept all the same. The end is
/// false when a write on the stream failed, now or earlier.
void start_section(FILE* out, const char* title);
bool end_section(FILE* out);
/// Copies a file (or the open stream `in`, which stays the caller's) into the report under `path`.
/// False without a stream or a path, always in OUTPUT_TALV, but for the XML formats also for a file
/// that cannot be opened, and when a write on the stream failed.
/// XML stops once `limit` characters were counted, 0 for no limit; others know only a limit of 1.
bool log_file(FILE* out, const char* path, FILE* in = nullptr, unsigned limit = 0);
/// Imports a ksml file into a ksml report; false for reports in other formats, for a file that
/// cannot be opened, and when a write on the stream failed.
bool log_ksml_file(FILE* out, const char* path);

/// log_file without a stream: promised by the interface, no program calls it.
bool log_file(FILE* out, const char* path, unsigned limit);

}  // namespace kestrel
