// A gather file or loose report as ks2 reads it, from the bytes to the verdict: within its memory
// limit, and never whole where an item did not decode.
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "tools/ks2/judge.h"
#include "tools/ks2/safe_output.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace kestrel::ks2;
  constexpr uint64_t k_limit = 1 << 20;
  const input_file file("input", std::vector<unsigned char>(data, data + size), k_limit);
  if (file.status() != exit_whole) return 0;
  std::optional<opened_report> opened;
  const judgement found = judge(file, judging::thorough, &opened);
  for (const input_item& item : file.items()) {
    const decoded_item decoded = file.decode(item);
    if (decoded.unpacked.size() > k_limit || decoded.bytes.size() > item.size) std::abort();
    if (!decoded.is_complete && found.faults.is_whole()) std::abort();
    const auto header = parse_stored_header(decoded.text());
    if (!header) continue;
    const std::string name = safe_file_name(header->name);
    if (name.size() > k_longest_file_name || name.find('/') != std::string::npos) std::abort();
    if (name == "." || name == "..") std::abort();
  }
  if (!opened) describe_contents(file);
  read_identity(file);
  return 0;
}
