// A report as one page for the browser: it needs no other file and no network, and lets nothing run
// but its own script. It is readable, printable and searchable without the script too.
//
// Whatever comes from the report passes through html_writer, which escapes it. The page is written
// as the model is walked; nothing of it is kept in memory.
#pragma once

#include <cstdio>

#include "tools/ks2/html_source.h"

namespace kestrel::ks2 {

/// Errors of writing stay in `out`.
void write_page(const page_source& source, FILE* out);

}  // namespace kestrel::ks2
