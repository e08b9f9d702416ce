// The decoder of LzH: reads a stream, or memory, and trusts nothing in it. The text grows in a
// block behind the last N bytes made before it, so that no match wraps. When the block is full it
// is written out, and its last N bytes go to the front.
#include "lib/lzh.h"
#include "lib/lzh_bits.h"
#include "lib/lzh_huffman.h"
#include "lib/lzh_position.h"

namespace kestrel {

namespace {

constexpr size_t k_chunk = 16;  // bytes copied at once, of a match that does not repeat itself

/// Copies a match to `to`, and less than a chunk more.
[[gnu::always_inline]] inline void copy_match(unsigned char* to, size_t distance, size_t length) {
  const unsigned char* const from = to - distance;
  if (distance >= k_chunk) {
    for (size_t i = 0; i < length; i += k_chunk) std::memcpy(to + i, from + i, k_chunk);
  } else {
    for (size_t i = 0; i < length; ++i) to[i] = from[i];
  }
}

}  // namespace

[[gnu::always_inline]] inline size_t LzH::DecodeChar(bit_reader& in) {
  const place top = top_[in.peek(k_top_bits)];
  in.drop(top.depth);
  size_t node = son_[top.node];
  while (node < T) node = son_[node + in.GetBit()];
  update(node - T);
  return node - T;
}

size_t LzH::DecodePosition(bit_reader& in) {
  const size_t next = in.peek(8 + 6);
  const unsigned length = Fixd_len[next >> 6];
  in.drop(length + 6);
  return size_t{Fixd_code[next >> 6]} << 6 | (next >> (8 - length) & 0x3F);
}

/// Puts a literal or a match at `to`. Returns the number of its bytes.
[[gnu::always_inline]] inline size_t LzH::decode_symbol(bit_reader& in, unsigned char* to) {
  const size_t c = DecodeChar(in);
  if (c < 256) {
    *to = static_cast<unsigned char>(c);
    return 1;
  }
  const size_t length = c - (255 - THRESHOLD);
  copy_match(to, DecodePosition(in) + 1, length);
  return length;
}

int LzH::decode(byte_source& in, byte_sink& out, uint64_t size, at_end policy) {
  constexpr size_t k_block = 2 * N;
  std::array<unsigned char, N + k_block + F + k_chunk> text;
  // The window at the start: spaces, and before them what no text ever reached.
  std::memset(text.data(), 0, F);
  std::memset(text.data() + F, ' ', N - F);
  StartHuff();
  fill_top();
  bit_reader bits(in);
  uint64_t left = size;
  bool stopped = false;
  while (left > 0 && !out.failed() && !stopped) {
    const size_t end = N + static_cast<size_t>(std::min<uint64_t>(left, k_block));
    size_t r = N;
    while (r < end) {
      if (!bits.refill()) [[unlikely]] {
        stopped = bits.past_end() && policy == at_end::stop;
        if (stopped) break;
        if (!bits.past_end()) output_made_ = size - left + (r - N);
      }
      r += decode_symbol(bits, text.data() + r);
    }
    const size_t made = static_cast<size_t>(std::min<uint64_t>(r - N, left));
    out.write(text.data() + N, made);
    left -= made;
    std::memmove(text.data(), text.data() + made, N);
  }
  input_used_ = bits.used();
  was_cut_ = bits.past_end();
  if (!was_cut_) output_made_ = size - left;
  return in.failed() ? lzh_read_failed : out.failed() ? lzh_write_failed : lzh_ok;
}

int LzH::Decode(FILE* input, FILE* output, const LzwComp* sizes) {
  if (input == nullptr || output == nullptr || sizes == nullptr) return lzh_bad_argument;
  byte_source in(input, sizes->compressed_size);
  byte_sink out(output);
  int result = 0;
  if (sizes->uncompressed_size == sizes->compressed_size) {
    copy_bytes(in, out);
    input_used_ = in.consumed();
    was_cut_ = !out.failed() && input_used_ != sizes->uncompressed_size;
    if (was_cut_) result = lzh_read_failed;
  } else {
    result = decode(in, out, sizes->uncompressed_size, at_end::read_zeros);
  }
  if (result != 0) return result;
  return out.failed() || std::fflush(output) != 0 ? lzh_write_failed : lzh_ok;
}

int LzH::Decode(std::span<const unsigned char> input, std::span<unsigned char> output) {
  input_used_ = input.size();
  output_made_ = output.size();
  was_cut_ = false;
  if (input.size() == output.size()) {
    std::copy(input.begin(), input.end(), output.begin());
    return 0;
  }
  byte_source in(input);
  byte_sink out(output);
  const int result = decode(in, out, output.size(), at_end::stop);
  return was_cut_ ? lzh_read_failed : result;
}

}  // namespace kestrel
