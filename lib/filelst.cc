// The files that a pattern with wildcards names: see filelst.h.
#include "lib/filelst.h"

namespace kestrel {

FileList::FileList(const char* pattern) : result_(glob(pattern, GLOB_NOSORT, nullptr, &found_)) {}

FileList::~FileList() { globfree(&found_); }

}  // namespace kestrel
