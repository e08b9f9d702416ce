// LzH: LZSS over a 4096-byte window searched through binary trees, with adaptive Huffman coding:
// the published LZHUF scheme (Okumura, Yoshizaki), without its size header. The stream is that
// program's byte for byte; only codes of more than 16 bits, which it cuts short, come out whole.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <span>

namespace kestrel {

class bit_reader;
class bit_writer;
class byte_sink;
class byte_source;

/// Sizes that travel beside the stream. Equal sizes mean "stored".
struct LzwComp {
  uint32_t uncompressed_size;
  uint32_t compressed_size;
};

/// What Encode and Decode answer.
enum lzh_result : int {
  lzh_ok = 0,
  lzh_bad_argument = -1,     ///< null
  lzh_read_failed = -2,      ///< also 4 GiB and more to encode, or a stored input that is cut
  lzh_write_failed = -3,     ///< also room that is too small
  lzh_nothing_to_read = -4,  ///< to encode
};

/// One compressor/decompressor. All tables live in the object; nothing is allocated while coding.
/// Every call starts afresh: one object used twice gives the same bytes as two.
class LzH {
 public:
  LzH();
  /// Compresses from the input's position to its end, as it was when the call began; both streams
  /// must be seekable: where the sizes come out equal, the output holds the input itself.
  /// An lzh_result.
  int Encode(FILE* input, FILE* output, LzwComp* sizes);
  /// (Promised by the interface; no program calls it.)
  /// Writes exactly the uncompressed size and reads no more than the compressed size; what a cut
  /// stream lacks is read as zero bits, see was_cut(). An lzh_result.
  int Decode(FILE* input, FILE* output, const LzwComp* sizes);
  /// Bytes of the stream that the last Decode needed, those that a cut one lacked included.
  uint64_t input_used() const { return input_used_; }
  /// Whether the stream of the last Decode, packed or stored, ended before its output was whole.
  bool was_cut() const { return was_cut_; }
  /// Bytes that the last Decode made of what the stream holds: of a cut one, the good beginning.
  uint64_t output_made() const { return output_made_; }

  /// The same from memory into memory.
  int Encode(std::span<const unsigned char> input, std::span<unsigned char> output, LzwComp* sizes);
  /// For streams that nobody vouches for: fills `output`, whose size is the limit. lzh_read_failed
  /// for a cut one; the output is then good as far as output_made() says. An input as
  /// long as the output is taken for stored.
  int Decode(std::span<const unsigned char> input, std::span<unsigned char> output);
  /// No stream of that size holds more bytes than this: a larger claim is a lie. (The shortest code
  /// of a match of 60 bytes takes 10 bits.)
  static constexpr uint64_t most_output(uint64_t compressed_size) { return compressed_size * 48; }
  /// No stream of so many bytes is longer than this. (A literal takes 21 bits at the most: a deeper
  /// tree would need a root of more than MAX_FREQ. A match takes 14 more, for three bytes or more.)
  static constexpr uint64_t most_compressed(uint64_t size) { return size * 21 / 8 + 1; }

 private:
  static constexpr int N = 4096;                      ///< size of the window
  static constexpr int F = 60;                        ///< longest match
  static constexpr int THRESHOLD = 2;                 ///< a match is longer than this
  static constexpr int N_CHAR = 256 - THRESHOLD + F;  ///< symbols: literals and match lengths
  static constexpr int T = 2 * N_CHAR - 1;            ///< nodes of the Huffman tree
  static constexpr int R = T - 1;                     ///< its root
  static constexpr int MAX_FREQ = 0x8000;             ///< of the root, before all are halved

  void InitVars();
  size_t fill_window();

  // The search trees (lzh_search.cc).
  struct pair {
    size_t before, after;
  };
  void InitTree();
  void InsertNode(size_t r);
  void DeleteNode(size_t p);
  void replace_node(size_t p, size_t r);
  void find_match(size_t r);
  void insert_from_root(size_t r);
  void insert_below(size_t r, size_t p);
  void insert_at(size_t r, size_t link, size_t from);
  template <size_t side>
  void insert_beside(size_t r, size_t x, size_t with_x);
  template <size_t side>
  void walk_beside(size_t r, size_t x, size_t with_x);
  template <size_t side>
  void insert_next_to(size_t r, size_t x, size_t next, size_t with_x, size_t with_next);
  void insert_between(size_t r, size_t link, pair node, pair shared);

  // The adaptive code (lzh_huffman.h).
  /// Sets the tree up with every symbol counted once, and no places at its top kept.
  void StartHuff();
  /// Halves all counts and builds the tree anew.
  void reconst();
  /// Counts symbol c.
  void update(size_t c);
  size_t count_up(size_t node);
  /// Lets the node change places with the last one that is now rarer, and goes on counting above;
  /// so for every node that becomes more frequent than the next.
  void exchange(size_t node);
  /// Finds the places at the top, which from then on are kept up.
  void fill_top();

  int encode(byte_source& in, byte_sink& out, LzwComp* sizes);
  void encode_window(byte_source& in, bit_writer& bits);
  void EncodeChar(bit_writer& out, size_t c);
  static void EncodePosition(bit_writer& out, size_t position);

  enum class at_end { read_zeros, stop };
  int decode(byte_source& in, byte_sink& out, uint64_t size, at_end policy);
  size_t decode_symbol(bit_reader& in, unsigned char* to);
  size_t DecodeChar(bit_reader& in);
  static size_t DecodePosition(bit_reader& in);

  uint64_t input_used_, output_made_;
  bool was_cut_ = false;

  /// The window of the encoder, a ring, and behind it a mirror of its first bytes, so that no
  /// string wraps.
  unsigned char text_buf_[N + F - 1];
  size_t match_position_, match_length_;

  // Node p's sons are link_[2p] (smaller) and link_[2p + 1], its dad is the link that leads to it.
  // The strings of a tree are a sorted list, too, each with the bytes that it shares with the one
  // before it. The ring of the list is closed by node N + 1 + first byte, whose greater son is the
  // tree's root.
  uint16_t link_[2 * (N + 257)];
  uint16_t dad_[N + 1];
  uint16_t beside_[2][N + 257];  ///< smaller, greater
  uint8_t shared_[N + 257];
  /// What string r, inserted last, shares most with: the bytes, a neighbour, and on which side r is
  /// of it. F bytes: the string that r replaced.
  struct neighbour {
    size_t node, shared, side;
  } nearest_;

  uint16_t freq_[T + 1];
  uint16_t prnt_[T + N_CHAR];
  uint16_t son_[T];
  // Near the root the tree hardly ever changes. So the decoder keeps where the first bits lead it,
  // whatever they are: to a node that many bits deep, or to a leaf above.
  static constexpr unsigned k_top_bits = 5;
  struct place {
    uint16_t node, depth;
  } top_[1 << k_top_bits];
  size_t lowest_at_top_;  ///< of the nodes above those places; T when none are kept
};

}  // namespace kestrel
