// The decoder of LzH. The window is also the output's buffer: it is written out whenever it is
// full.
#include "lib/lzh.h"
#include "lib/lzh_bits.h"
#include "lib/lzh_position.h"

namespace kestrel {

size_t LzH::DecodeChar(bit_reader& in) {
  size_t node = son_[R];
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

/// Copies a match to `r`, where it may run on into the mirror. Returns its end.
size_t LzH::copy_match(size_t r, size_t position, size_t length) {
  const size_t from = (r - position - 1) & (N - 1);
  if (from >= r ? from + length <= N : from + length <= r) {
    std::memmove(text_buf_ + r, text_buf_ + from, length);
  } else {
    // The source wraps, or repeats what the match itself brings.
    const size_t mask = from >= r ? N - 1 : ~size_t{0};
    for (size_t i = 0; i < length; ++i) text_buf_[r + i] = text_buf_[(from + i) & mask];
  }
  return r + length;
}

int LzH::decode(byte_source& in, byte_sink& out, uint64_t size, at_end policy) {
  StartHuff();
  bit_reader bits(in);
  size_t r = fill_window(), first = r;
  uint64_t left = size;
  while (left > 0 && !out.failed()) {
    if (!bits.refill()) [[unlikely]] {
      if (!bits.past_end()) {
        output_made_ = size - left;
      } else if (policy == at_end::stop) {
        break;
      }
    }
    const size_t c = DecodeChar(bits);
    if (c < 256) {
      text_buf_[r++] = static_cast<unsigned char>(c);
      --left;
    } else {
      const size_t length = static_cast<size_t>(std::min<uint64_t>(c - (255 - THRESHOLD), left));
      r = copy_match(r, DecodePosition(bits), length);
      left -= length;
    }
    if (r >= N) {
      out.write(text_buf_ + first, N - first);
      r -= N;
      std::memcpy(text_buf_, text_buf_ + N, r);
      first = 0;
    }
  }
  out.write(text_buf_ + first, r - first);
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
