// The list of faults: it keeps the first ones and counts the rest, by what they mean for the file.
#include "tools/ks2/fault.h"

#include <utility>

namespace kestrel::ks2 {

void fault_list::add(severity level, size_t offset, std::string text) {
  if (level == severity::fault) ++fault_count_;
  if (level == severity::suspicion) ++suspicion_count_;
  if (all_.size() >= k_most) {
    ++dropped_;
    return;
  }
  place where;
  where.item = item_;
  where.offset = offset;
  all_.push_back({level, std::move(text), where});
}

void fault_list::append(const fault_list& other, bool is_excused) {
  if (!is_excused) fault_count_ += other.fault_count_;
  suspicion_count_ += other.suspicion_count_;
  dropped_ += other.dropped_;
  for (const fault& found : other.all_) {
    if (all_.size() >= k_most) {
      ++dropped_;
      continue;
    }
    all_.push_back(found);
    if (is_excused && found.level == severity::fault) all_.back().level = severity::warning;
  }
}

}  // namespace kestrel::ks2
