// The binary search trees over the window's strings of F bytes, one tree for each first byte. Their
// shape is part of the format: only nodes on a string's way down are candidates for its match, so
// another structure would find other matches and give other streams.
#include <algorithm>
#include <bit>

#include "lib/lzh.h"
#include "lib/lzh_bits.h"

namespace kestrel {

namespace {

constexpr uint16_t NIL = 4096;               // no node
constexpr uint16_t k_detached = 0xFFFF;      // the dad of a node that is in no tree
constexpr size_t k_roots = size_t{2} * NIL;  // the first tree's link
constexpr size_t k_worth_entering = 10;      // bytes shared; below, the way from the root is short

}  // namespace

/// A string on its way down. Side 0 is its nearest greater string so far, side 1 the nearest
/// smaller one.
struct LzH::descent {
  const unsigned char* key;
  size_t link;                  ///< the way on
  size_t node[2] = {NIL, NIL};  ///< the neighbours
  size_t shared[2] = {1, 1};    ///< the bytes that each has in common with the key, or fewer
};

void LzH::InitTree() {
  std::fill(link_ + k_roots, std::end(link_), NIL);
  std::fill(dad_, std::end(dad_), k_detached);
  nearest_ = {NIL, NIL, 0};
}

/// Compares the key with string p, of which `from` bytes are known to be equal, and turns to p's
/// son on that side. False when the strings are the same.
[[gnu::always_inline]] inline bool LzH::turn_at(size_t p, size_t from, descent& way) const {
  const unsigned char* const text = text_buf_ + p;
  while (from < F - 8 && load_word(way.key + from) == load_word(text + from)) from += 8;
  from = std::min<size_t>(from, F - 8);
  const uint64_t mine = load_word(way.key + from);
  const uint64_t other = load_word(text + from);
  if (mine == other) return false;
  const size_t side = mine > other;
  way.node[side] = p;
  way.shared[side] = from;
  way.link = 2 * p + side;
  return true;
}

/// A short cut. Where string r - 1 has much in common with string p, r has almost as much in common
/// with p + 1: their ways part far below the root. The way of p + 1 is followed upwards to where
/// the two part. Returns a node with the very string of r, or NIL.
[[gnu::always_inline]] inline size_t LzH::enter_beside_last(size_t r, descent& way) const {
  const size_t beside = nearest_.node + 1;
  if (nearest_.shared < k_worth_entering || nearest_.of + 1 != r || beside == N) return NIL;
  if (dad_[beside] == k_detached) return NIL;
  if (!turn_at(beside, nearest_.shared - 1, way)) return beside;
  const size_t side = way.link % 2;
  for (size_t up = dad_[beside]; up < k_roots; up = dad_[up / 2]) {
    if (up % 2 == side) continue;
    if (!turn_at(up / 2, 0, way)) return up / 2;
    if (way.link % 2 != side) break;
  }
  way.link = 2 * way.node[side] + side;
  return NIL;
}

/// Puts string r into its tree, in place of the same string if there is one, which then is the
/// match.
void LzH::InsertNode(size_t r) {
  const unsigned char* const key = text_buf_ + r;
  link_[2 * r] = link_[2 * r + 1] = NIL;
  match_length_ = 0;
  descent way{key, k_roots + key[0]};
  const size_t same = enter_beside_last(r, way);
  if (same != NIL) return replace_node(same, r);

  size_t link = way.link;
  size_t from = std::min(way.shared[0], way.shared[1]);
  uint64_t mine = load_word(key + from);
  for (size_t p = link_[link]; p != NIL; p = link_[link]) {
    const uint64_t other = load_word(text_buf_ + p + from);
    if (mine != other) {
      link = 2 * p + (mine > other);
    } else {
      if (!turn_at(p, from + 8, way)) return replace_node(p, r);
      link = way.link;
      from = std::min(way.shared[0], way.shared[1]);
      mine = load_word(key + from);
    }
  }
  link_[link] = static_cast<uint16_t>(r);
  dad_[r] = static_cast<uint16_t>(link);
  const size_t side = way.shared[1] > way.shared[0];
  nearest_ = {r, way.node[side], way.shared[side]};
}

void LzH::replace_node(size_t p, size_t r) {
  const uint16_t up = dad_[p], left = link_[2 * p], right = link_[2 * p + 1];
  link_[2 * r] = left;
  link_[2 * r + 1] = right;
  dad_[left] = static_cast<uint16_t>(2 * r);
  dad_[right] = static_cast<uint16_t>(2 * r + 1);
  link_[up] = static_cast<uint16_t>(r);
  dad_[r] = up;
  dad_[p] = k_detached;
  match_length_ = F;
  match_position_ = ((r - p) & (N - 1)) - 1;
  nearest_ = {r, p, F};
}

/// Finds the match of string r, inserted last: the longest among the nodes above it, and of equally
/// long ones the nearest. Going up, the nodes on either side have ever less in common with r.
void LzH::find_match(size_t r) {
  if (match_length_ == F) return;
  const unsigned char* const key = text_buf_ + r;
  bool done[2] = {false, false};
  match_length_ = THRESHOLD;
  match_position_ = 0;
  for (size_t up = dad_[r]; up < k_roots; up = dad_[up / 2]) {
    const size_t side = up % 2, p = up / 2;
    if (done[side]) continue;
    size_t from = 0;
    uint64_t difference = load_word(key) ^ load_word(text_buf_ + p);
    while (difference == 0) {
      from = std::min<size_t>(from + 8, F - 8);
      difference = load_word(key + from) ^ load_word(text_buf_ + p + from);
    }
    const size_t shared = from + static_cast<size_t>(std::countl_zero(difference)) / 8;
    const size_t position = ((r - p) & (N - 1)) - 1;
    if (shared > match_length_ || (shared == match_length_ && position < match_position_)) {
      match_length_ = shared;
      match_position_ = position;
    } else if (shared < match_length_) {
      done[side] = true;
      if (done[1 - side]) break;
    }
  }
}

void LzH::DeleteNode(size_t p) {
  const uint16_t up = dad_[p];
  if (up == k_detached) return;
  const size_t left = link_[2 * p], right = link_[2 * p + 1];
  size_t q = left;
  if (left == NIL) {
    q = right;
  } else if (right != NIL) {
    size_t next = link_[2 * q + 1];
    if (next != NIL) {
      // The greatest node of the left side moves up; its own left son takes its place.
      for (; next != NIL; next = link_[2 * q + 1]) q = next;
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
  dad_[q] = up;
  dad_[p] = k_detached;
}

}  // namespace kestrel
