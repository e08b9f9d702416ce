// The private folder of a run whose files cannot be made in their places (see staging.h), and the
// paths that files have while they are in it.
#pragma once

#include <string>

namespace kestrel {

/// "" while files are made in their places.
const std::string& private_folder();
void set_private_folder(const std::string& path);
bool is_staging();  ///< whether there is one
/// The part of a path up to its last '/', that included.
std::string folder_of(const std::string& path);
/// Where the file is made whose place is `path`: there, or under its name in the private folder.
std::string staged(const std::string& path);

}  // namespace kestrel
