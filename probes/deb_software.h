// The packages that are installed through the Debian package system: a command prints a line a
// field, the report has a row a package.
#pragma once

#include <cstdio>

#include "lib/record_lines.h"
#include "lib/record_members.h"

namespace kestrel {

/// One package, in the texts of `aptitude`, which are filled with blanks.
struct deb_package {
  fitted_text<64> name;
  fitted_text<32> version;
  fitted_text<128> maintainer;
  fitted_text<256> description;
  fitted_text<64> group;
  fitted_text<16> size;
};
/// What `aptitude` is told to print.
extern const record_format<deb_package> k_deb_records;

/// Whether aptitude is installed. Asked once a run.
bool deb_packages_test();

/// Writes the table of the installed packages; no rows when aptitude cannot be run.
void write_deb_packages(FILE* fp);

}  // namespace kestrel
