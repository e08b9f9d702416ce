// The packages that are installed through the Debian package system.
#pragma once

#include <cstdio>

#include "lib/record_lines.h"

namespace kestrel {

/// What `aptitude` is told to print; the fields, trimmed, are the cells of a row.
extern const record_format k_deb_records;

/// Whether aptitude is installed. Asked once a run.
bool deb_packages_test();

/// Writes the table of the installed packages; no rows when aptitude cannot be run.
void write_deb_packages(FILE* fp);

}  // namespace kestrel
