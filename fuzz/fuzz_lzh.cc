// LzH: the input as a stream of a claimed size, and as a text that must come back.
#include <cstdlib>
#include <memory>
#include <vector>

#include "lib/lzh.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace kestrel;
  static const auto coder = std::make_unique<LzH>();
  if (size < 3) return 0;
  const size_t claim = data[0] | size_t{data[1]} << 8 | (data[2] & size_t{1}) << 16;
  const std::span<const uint8_t> input(data + 3, size - 3);
  std::vector<uint8_t> output(claim);
  const bool whole = coder->Decode(input, output) == 0;
  if (whole == coder->was_cut()) std::abort();
  if (whole && claim > LzH::most_output(input.size())) std::abort();

  output.resize(LzH::most_compressed(input.size()));
  LzwComp sizes = {};
  const int result = coder->Encode(input, output, &sizes);
  if (result != (input.empty() ? lzh_nothing_to_read : lzh_ok)) std::abort();
  std::vector<uint8_t> text(sizes.uncompressed_size);
  if (coder->Decode(std::span(output).first(sizes.compressed_size), text) != 0) std::abort();
  if (!std::equal(text.begin(), text.end(), input.begin(), input.end())) std::abort();
  if (coder->input_used() != sizes.compressed_size) std::abort();
  return 0;
}
