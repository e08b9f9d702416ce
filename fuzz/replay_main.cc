// Replays recorded inputs through one fuzz entry: every file below the folders given, and the empty
// input.
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

int main(int argc, char** argv) {
  LLVMFuzzerTestOneInput(nullptr, 0);
  int count = 1;
  for (int i = 1; i < argc; ++i) {
    if (!std::filesystem::exists(argv[i])) continue;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(argv[i])) {
      if (!entry.is_regular_file()) continue;
      std::ifstream in(entry.path(), std::ios::binary);
      std::vector<char> bytes(std::istreambuf_iterator<char>(in), {});
      LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
      ++count;
    }
  }
  std::printf("%d inputs replayed\n", count);
  return 0;
}
