// Where the run makes its files. In a current folder on a mount that may hang every call could hold
// the run for ever. For such a folder the files are made in a private one on a local disk, and a
// worker copies each to its place once it is finished. Everywhere else nothing here does anything.
#pragma once

#include <string>

#include "lib/private_folder.h"

namespace kestrel {

/// Makes the private folder when the current folder or `target`, the path of a file that the run
/// will leave, leads over a remote mount: in $TMPDIR, /tmp or /var/tmp, in the first that is local.
/// False, with errno, when there should be one and is none. `is_told`: should a signal end the run
/// before its files have their places, a line on standard error names the folder.
bool begin_staging(const std::string& target, bool is_told);
/// Copies the finished file at `staged(path)` to its place: exclusively and with mode 0600 under a
/// temporary name beside it, which then becomes `path` and replaces what has that. False with
/// errno, ETIMEDOUT for a mount that does not answer: there is then no new file at `path`.
bool copy_staged(const std::string& path);
/// The same, and removes the one in the private folder once it is copied.
bool deliver(const std::string& path);
/// Removes the private folder, unless it still holds a file.
void end_staging();

}  // namespace kestrel
