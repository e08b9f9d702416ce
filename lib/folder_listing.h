// The names in a folder at one time: a scan over hundreds of names that might exist then opens only
// those that do.
#pragma once

#include <functional>
#include <set>
#include <string>
#include <string_view>

namespace kestrel {

/// A folder that is not there has no names. One that cannot be listed, or that shows nothing at
/// all as some file systems of user space do, may have any.
class folder_listing {
 public:
  explicit folder_listing(const char* path);
  bool may_have(std::string_view name) const;

 private:
  bool is_known_ = false;
  std::set<std::string, std::less<>> names_;
};

}  // namespace kestrel
