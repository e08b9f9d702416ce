// The gather file, read in memory and as a file: both must agree on the items, in either form.
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <string>

#include "gatherer/gthfile.h"
#include "lib/lzh.h"

namespace {

using namespace kestrel;

void read_as_file(const uint8_t* data, size_t size, size_t items, bool sound) {
  static const std::string path = "/tmp/kestrel_fuzz_container." + std::to_string(getpid());
  const file_ptr out = create_output_file(path.c_str(), "wb");
  if (out == nullptr) std::abort();
  if (size > 0) std::fwrite(data, 1, size, out.get());
  std::fflush(out.get());
  GatherFile file;
  const int code = file.ReadFile(path.c_str());
  if (sound && (code != gth_ok || static_cast<size_t>(file.NumItems()) != items)) std::abort();
  for (int i = 0; i < std::min(file.NumItems(), 3); ++i) {
    file.ExtractItem(i, (path + ".out").c_str());
  }
  unlink(path.c_str());
  unlink((path + ".out").c_str());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const gth_container read({data, size});
  for (const gth_item& item : read.items()) {
    std::vector<uint8_t> text(std::min<size_t>(item.size, 1 << 16));
    if (item.is_compressed()) LzH().Decode(read.data(item), text);
  }
  const bool sound = read.fault() == gth_fault::none;
  read_as_file(data, size, read.items().size(), sound);
  if (!sound || read.is_stuffed()) return 0;
  std::vector<uint8_t> stuffed;
  constexpr size_t k_letters = k_gth_stuffed_ident.size();
  stuff({reinterpret_cast<const uint8_t*>(k_gth_stuffed_ident.data()), k_letters}, stuffed);
  stuff({data + k_letters, size - k_letters}, stuffed);
  const gth_container again(stuffed);
  if (std::count(stuffed.begin(), stuffed.end(), 0) != 0) std::abort();
  if (again.fault() != gth_fault::none || again.items().size() != read.items().size()) std::abort();
  return 0;
}
