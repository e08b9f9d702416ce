// The packages that the RPM database holds: a command prints a line a field, the report has a row a
// package.
#pragma once

#include <cstdio>

#include "lib/record_lines.h"
#include "lib/record_members.h"

namespace kestrel {

/// One package, in the texts of the database.
struct rpm_package {
  kept_text<80> name, version, vendor, description, group;
  fitted_text<16> install_date;
  kept_text<80> size;  ///< "1234 bytes"
};
/// What `rpm` is told to print.
extern const record_format<rpm_package> k_rpm_records;

/// Whether rpm is installed. Asked once a run.
bool rpm_packages_test();

/// Writes the table of the installed packages; no rows when rpm cannot be run.
void write_rpm_packages(FILE* fp);

}  // namespace kestrel
