// The encoder of LzH: writes the codes of the literals and matches that the search makes of the
// input, which is a stream or memory.
#include <bit>
#include <limits>

#include "lib/lzh.h"
#include "lib/lzh_bits.h"
#include "lib/lzh_huffman.h"
#include "lib/lzh_position.h"

namespace kestrel {

LzH::LzH() { InitVars(); }

void LzH::InitVars() {
  input_used_ = 0;
  match_position_ = match_length_ = 0;
  nearest_ = {};
}

/// Spaces, except where the first string will stand. Returns its place. The rest is zeroed, since
/// the search looks past the end of short inputs.
size_t LzH::fill_window() {
  std::memset(text_buf_, 0, sizeof text_buf_);
  std::memset(text_buf_, ' ', N - F);
  return N - F;
}

void LzH::EncodeChar(bit_writer& out, size_t c) {
  // Bits come in from above, pushing the mark down.
  uint64_t code = uint64_t{1} << 63;
  for (size_t node = prnt_[c + T]; node != R; node = prnt_[node]) {
    code = code >> 1 | uint64_t{node} << 63;
  }
  const auto mark = static_cast<unsigned>(std::countr_zero(code));
  out.Putcode(63 - mark, static_cast<uint32_t>(code >> mark >> 1));
  update(c);
}

void LzH::EncodePosition(bit_writer& out, size_t position) {
  const size_t upper = position >> 6;
  const unsigned length = Fixp_len[upper];
  const unsigned code = static_cast<unsigned>(Fixp_code[upper]) >> (8 - length);
  out.Putcode(length + 6, code << 6 | static_cast<unsigned>(position & 0x3F));
}

int LzH::encode(byte_source& in, byte_sink& out, LzwComp* sizes) {
  if (in.at_end()) return in.failed() ? lzh_read_failed : lzh_nothing_to_read;
  StartHuff();
  InitTree();
  bit_writer bits(out);
  encode_window(in, bits);
  bits.EncodeEnd();
  if (in.failed()) return lzh_read_failed;
  if (out.failed() || bits.code_size() > std::numeric_limits<uint32_t>::max())
    return lzh_write_failed;
  sizes->uncompressed_size = static_cast<uint32_t>(in.consumed());
  sizes->compressed_size = static_cast<uint32_t>(bits.code_size());
  return 0;
}

int LzH::Encode(FILE* input, FILE* output, LzwComp* sizes) {
  if (input == nullptr || output == nullptr || sizes == nullptr) return lzh_bad_argument;
  const off_t start = ftello(input);
  if (start < 0 || fseeko(input, 0, SEEK_END) != 0) return lzh_read_failed;
  const off_t size = ftello(input) - start;
  if (fseeko(input, start, SEEK_SET) != 0) return lzh_read_failed;
  if (size <= 0) return lzh_nothing_to_read;
  if (size > std::numeric_limits<uint32_t>::max()) return lzh_read_failed;
  const off_t output_start = ftello(output);

  byte_source in(input, static_cast<uint64_t>(size));
  byte_sink out(output);
  const int result = encode(in, out, sizes);
  if (result != 0) return result;
  if (sizes->uncompressed_size == sizes->compressed_size) {
    if (fseeko(input, start, SEEK_SET) != 0) return lzh_read_failed;
    if (output_start < 0 || fseeko(output, output_start, SEEK_SET) != 0) return lzh_write_failed;
    byte_source again(input, sizes->uncompressed_size);
    copy_bytes(again, out);
    if (again.consumed() != sizes->uncompressed_size) return lzh_read_failed;
  }
  return out.failed() || std::fflush(output) != 0 ? lzh_write_failed : 0;
}

int LzH::Encode(std::span<const unsigned char> input, std::span<unsigned char> output,
                LzwComp* sizes) {
  if (sizes == nullptr) return lzh_bad_argument;
  if (input.size() > std::numeric_limits<uint32_t>::max()) return lzh_read_failed;
  byte_source in(input);
  byte_sink out(output);
  const int result = encode(in, out, sizes);
  if (result == 0 && sizes->uncompressed_size == sizes->compressed_size) {
    std::memcpy(output.data(), input.data(), input.size());
  }
  return result;
}

}  // namespace kestrel
