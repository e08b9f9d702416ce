// The packages that the RPM database holds.
#pragma once

#include <cstdio>

#include "lib/record_lines.h"

namespace kestrel {

/// What `rpm` is told to print; the fields are the cells of a row.
extern const record_format k_rpm_records;

/// Whether rpm is installed. Asked once a run.
bool rpm_packages_test();

/// Writes the table of the installed packages; no rows when rpm cannot be run.
void write_rpm_packages(FILE* fp);

}  // namespace kestrel
