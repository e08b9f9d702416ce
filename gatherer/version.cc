// Version, build time and builder as texts for the banner and the report. The KESTREL_ macros come
// from cmake/version.cmake.
#include "gatherer/version.h"

namespace kestrel {

const char* const k_title = "Kestrel";
const char* const k_version = KESTREL_VERSION;
const char* const k_release = "";
const char* const k_copyright = "Copyright (c) 2026 The Kestrel developers";
const char* const k_legal_notice =
    "Licensed under the MIT License. Provided \"as is\", without warranty of any kind.";
const char* const k_product_numbers = "Product KESTREL, program KS2";
const char* const k_government_legend =
    "Government users: this is commercial computer software; use, duplication and\n"
    "disclosure are subject to the license named above.";
const char* const k_build_date = KESTREL_BUILD_DATE;
const char* const k_build_time = KESTREL_BUILD_TIME;
const char* const k_build_user = KESTREL_BUILD_USER;
const char* const k_build_host = KESTREL_BUILD_HOST;

const char* const k_disclaimer_title = "NOTICE";
const char* const k_disclaimer_text =
    "\nThis program collects information about this computer: its hardware and firmware,\n"
    "serial numbers, operating system, network configuration, installed software, log\n"
    "files, user account names, running processes and environment variables, and files\n"
    "that you name. It writes all of it into files in the current folder and sends\n"
    "nothing anywhere. Look at the files before you pass them on.\n\n";

const char* const k_driver_reference = "kestrdrv";

}  // namespace kestrel
