// The binary search trees over the window's strings of F bytes, one tree for each first byte. Their
// shape is part of the format: only nodes above a string are candidates for its match, so another
// structure would find other matches and give other streams. The way down is not: a new string goes
// between its neighbours in sorted order, below that one of them which has no son there. As a rule
// they are found beside those of the string before.
#include <algorithm>
#include <bit>

#include "lib/lzh.h"
#include "lib/lzh_bits.h"

namespace kestrel {

namespace {

constexpr size_t NIL = 4096;             // no node
constexpr size_t k_lists = NIL + 1;      // the node that closes the first list
constexpr uint16_t k_detached = 0xFFFF;  // the dad of a node that is in no tree
constexpr size_t k_longest = 60;         // bytes of a string
constexpr size_t k_worth_walking = 2;    // bytes shared; below, the neighbours are far away
constexpr unsigned k_patience = 12;      // steps along a list; then a descent is shorter

/// The number of equal bytes of two strings, of which the first `from` are known to be equal.
[[gnu::always_inline]] inline size_t count_shared(const unsigned char* a, const unsigned char* b,
                                                  size_t from) {
  for (;; from += 8) {
    from = std::min(from, k_longest - 8);
    const uint64_t difference = load_word(a + from) ^ load_word(b + from);
    if (difference != 0) return from + static_cast<size_t>(std::countl_zero(difference)) / 8;
    if (from == k_longest - 8) return k_longest;
  }
}

}  // namespace

void LzH::InitTree() {
  std::fill(std::begin(dad_), std::end(dad_), k_detached);
  for (size_t list = k_lists; list < k_lists + 256; ++list) {
    link_[2 * list + 1] = static_cast<uint16_t>(NIL);
    beside_[0][list] = beside_[1][list] = static_cast<uint16_t>(list);
    shared_[list] = 0;
  }
  nearest_ = {};
}

/// Where p has two sons, the string before it takes its place.
[[gnu::always_inline]] inline void LzH::DeleteNode(size_t p) {
  const size_t up = dad_[p];
  if (up == k_detached) return;
  dad_[p] = k_detached;
  const size_t before = beside_[0][p], after = beside_[1][p];
  beside_[1][before] = static_cast<uint16_t>(after);
  beside_[0][after] = static_cast<uint16_t>(before);
  if (shared_[p] < shared_[after]) shared_[after] = shared_[p];
  const size_t left = link_[2 * p], right = link_[2 * p + 1];
  size_t q = left;
  if (left == NIL) {
    q = right;
  } else if (right != NIL) {
    q = before;
    if (q != left) {
      const size_t son = link_[2 * q], dad = dad_[q];
      link_[dad] = static_cast<uint16_t>(son);
      dad_[son] = static_cast<uint16_t>(dad);
      link_[2 * q] = static_cast<uint16_t>(left);
      dad_[left] = static_cast<uint16_t>(2 * q);
    }
    link_[2 * q + 1] = static_cast<uint16_t>(right);
    dad_[right] = static_cast<uint16_t>(2 * q + 1);
  }
  link_[up] = static_cast<uint16_t>(q);
  dad_[q] = static_cast<uint16_t>(up);
}

/// Puts string r into its tree, in place of the same string if there is one, which then is the
/// match.
[[gnu::always_inline]] inline void LzH::InsertNode(size_t r) {
  // Where string r - 1 shares bytes with string p, r shares one byte less with p + 1, and is on the
  // same side of it.
  const size_t x = nearest_.node + 1, shared = nearest_.shared - 1;
  if (nearest_.shared <= k_worth_walking || x == N || r == 0 || dad_[x] == k_detached) {
    return insert_from_root(r);
  }
  size_t side = nearest_.side;
  if (shared == F - 1) {
    const unsigned mine = text_buf_[r + F - 1], other = text_buf_[x + F - 1];
    if (mine == other) return replace_node(x, r);
    side = mine > other;
  }
  return side != 0 ? insert_beside<1>(r, x, shared) : insert_beside<0>(r, x, shared);
}

/// Finds the place of string r from the root of its tree.
void LzH::insert_from_root(size_t r) {
  const unsigned char* const key = text_buf_ + r;
  const size_t list = k_lists + key[0];
  const uint64_t mine = load_word(key + 1);
  size_t link = 2 * list + 1;
  for (size_t p = link_[link]; p != NIL; p = link_[link]) {
    const uint64_t other = load_word(text_buf_ + p + 1);
    if (mine == other) return insert_below(r, p);
    link = 2 * p + (mine > other);
  }
  if (link / 2 == list) return insert_between(r, link, {list, list}, {0, 0});
  insert_at(r, link, 1);
}

/// Goes on at p, of which r shares the first nine bytes: most of what is below begins with them.
void LzH::insert_below(size_t r, size_t p) {
  const unsigned char* const key = text_buf_ + r;
  size_t shared[2] = {1, 1}, from = 1, link;
  uint64_t mine = load_word(key + from);
  do {
    const uint64_t other = load_word(text_buf_ + p + from);
    size_t side = mine > other;
    if (mine == other) {
      const size_t both = count_shared(key, text_buf_ + p, from + 8);
      if (both == F) return replace_node(p, r);
      side = key[both] > text_buf_[p + both];
      shared[side] = both;
      from = std::min({shared[0], shared[1], size_t{F - 8}});
      mine = load_word(key + from);
    }
    link = 2 * p + side;
    p = link_[link];
  } while (p != NIL);
  insert_at(r, link, from);
}

/// Puts string r below `link`, which leads nowhere yet. Its neighbours share `from` bytes with it,
/// or more.
[[gnu::always_inline]] inline void LzH::insert_at(size_t r, size_t link, size_t from) {
  const unsigned char* const key = text_buf_ + r;
  const size_t x = link / 2, with_x = count_shared(key, text_buf_ + x, from);
  if (link % 2 != 0) {
    const size_t after = beside_[1][x];
    size_t with_after = shared_[after];
    if (with_after == with_x) with_after = count_shared(key, text_buf_ + after, with_x);
    insert_between(r, link, {x, after}, {with_x, with_after});
  } else {
    const size_t before = beside_[0][x];
    size_t with_before = shared_[x];
    if (with_before == with_x) with_before = count_shared(key, text_buf_ + before, with_x);
    insert_between(r, link, {before, x}, {with_before, with_x});
  }
}

/// Puts string r into the list, on the given side of x, with which it shares `with_x` bytes and no
/// more. As a rule it comes next to x, whose neighbour there shares less with x.
template <size_t side>
[[gnu::always_inline]] inline void LzH::insert_beside(size_t r, size_t x, size_t with_x) {
  const size_t next = beside_[side][x], between = shared_[side != 0 ? next : x];
  if (between >= with_x) return walk_beside<side>(r, x, with_x);
  insert_next_to<side>(r, x, next, with_x, between);
}

/// The same, step by step along the list; where it is far, the place is looked for from the root.
template <size_t side>
[[gnu::noinline]] void LzH::walk_beside(size_t r, size_t x, size_t with_x) {
  const unsigned char* const key = text_buf_ + r;
  for (unsigned steps = k_patience; steps > 0; --steps) {
    const size_t next = beside_[side][x], between = shared_[side != 0 ? next : x];
    if (between < with_x) return insert_next_to<side>(r, x, next, with_x, between);
    if (between == with_x) {
      const unsigned char* const text = text_buf_ + next;
      const size_t with_next = count_shared(key, text, with_x);
      if (with_next == F) return replace_node(next, r);
      if ((key[with_next] > text[with_next]) != (side != 0)) {
        return insert_next_to<side>(r, x, next, with_x, with_next);
      }
      with_x = with_next;
    }
    x = next;
  }
  insert_from_root(r);
}

/// Puts string r between x and the next one on the given side, with which it shares so many bytes.
template <size_t side>
[[gnu::always_inline]] inline void LzH::insert_next_to(size_t r, size_t x, size_t next,
                                                       size_t with_x, size_t with_next) {
  const size_t before = side != 0 ? x : next, after = side != 0 ? next : x;
  // One of two neighbours is below the other: that one has no son on this side.
  const size_t link = link_[2 * before + 1] == NIL ? 2 * before + 1 : 2 * after;
  if constexpr (side != 0) return insert_between(r, link, {x, next}, {with_x, with_next});
  return insert_between(r, link, {next, x}, {with_next, with_x});
}

/// Puts string r below `link` in the tree and between its neighbours in the list, with which it
/// shares so many bytes.
[[gnu::always_inline]] inline void LzH::insert_between(size_t r, size_t link, pair node,
                                                       pair shared) {
  const auto self = static_cast<uint16_t>(r);
  link_[2 * r] = link_[2 * r + 1] = static_cast<uint16_t>(NIL);
  link_[link] = self;
  dad_[r] = static_cast<uint16_t>(link);
  beside_[0][r] = static_cast<uint16_t>(node.before);
  beside_[1][r] = static_cast<uint16_t>(node.after);
  beside_[1][node.before] = beside_[0][node.after] = self;
  shared_[r] = static_cast<uint8_t>(shared.before);
  shared_[node.after] = static_cast<uint8_t>(shared.after);
  nearest_ = shared.before >= shared.after ? neighbour{node.before, shared.before, 1}
                                           : neighbour{node.after, shared.after, 0};
}

void LzH::replace_node(size_t p, size_t r) {
  const auto self = static_cast<uint16_t>(r);
  const uint16_t up = dad_[p], left = link_[2 * p], right = link_[2 * p + 1];
  link_[2 * r] = left;
  link_[2 * r + 1] = right;
  dad_[left] = static_cast<uint16_t>(2 * r);
  dad_[right] = static_cast<uint16_t>(2 * r + 1);
  link_[up] = self;
  dad_[r] = up;
  dad_[p] = k_detached;
  const uint16_t before = beside_[0][p], after = beside_[1][p];
  beside_[0][r] = before;
  beside_[1][r] = after;
  beside_[1][before] = beside_[0][after] = self;
  shared_[r] = shared_[p];
  nearest_ = {p, F, 0};
}

/// Finds the match of string r, inserted last: the longest among the nodes above it, and of equally
/// long ones the nearest. Its neighbours are above it.
[[gnu::always_inline]] inline void LzH::find_match(size_t r) {
  match_length_ = nearest_.shared;
  if (match_length_ <= THRESHOLD) return;
  const auto distance = [r](size_t p) { return ((r - p) & (N - 1)) - 1; };
  match_position_ = distance(nearest_.node);
  if (match_length_ == F) return;
  const size_t before = beside_[0][r], after = beside_[1][r], beyond = beside_[1][after];
  // Whether more nodes on the side of a son share as much.
  bool more[2] = {shared_[after] == match_length_, shared_[r] == match_length_};
  if (more[0]) match_position_ = std::min(match_position_, distance(after));
  more[0] = more[0] && shared_[beyond] >= match_length_;
  more[1] = more[1] && shared_[before] >= match_length_;
  for (size_t up = dad_[r]; more[0] || more[1]; up = dad_[up / 2]) {
    const size_t p = up / 2, side = up % 2;
    if (p > N) break;
    if (!more[side]) continue;
    if (count_shared(text_buf_ + r, text_buf_ + p, 0) < match_length_) {
      more[side] = false;
    } else {
      match_position_ = std::min(match_position_, distance(p));
    }
  }
}

void LzH::encode_window(byte_source& in, bit_writer& bits) {
  size_t r = fill_window(), length = 0;  // Of the bytes from r on so many are still to be coded.
  while (length < F && !in.at_end()) text_buf_[r + length++] = in.get();
  for (size_t i = 1; i <= F; ++i) insert_from_root(r - i);
  insert_from_root(r);
  std::span<const unsigned char> block;
  while (length > 0) {
    find_match(r);
    size_t count = std::min(match_length_, length);
    if (count <= THRESHOLD) {
      count = 1;
      EncodeChar(bits, text_buf_[r]);
    } else {
      EncodeChar(bits, 255 - THRESHOLD + count);
      EncodePosition(bits, match_position_);
    }
    for (; count > 0; --count) {
      // The next byte takes the place of the one whose string leaves the window.
      const size_t s = (r + F) & (N - 1);
      DeleteNode(s);
      if (block.empty()) block = in.take_block();
      if (block.empty()) {
        --length;
      } else {
        text_buf_[s] = block.front();
        if (s < F - 1) text_buf_[s + N] = block.front();
        block = block.subspan(1);
      }
      r = (r + 1) & (N - 1);
      InsertNode(r);
    }
  }
}

}  // namespace kestrel
