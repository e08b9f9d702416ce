// The adaptive Huffman code of LzH: a tree over literals and match lengths that encoder and decoder
// change in step after every symbol. Here is what is done for every symbol, so that it becomes part
// of their loops; what is rare is in lzh_huffman.cc. Only the lzh sources include this.
//
// Nodes stand in order of rising frequency, two sons side by side; a son of T or more is the leaf
// of symbol son - T, and prnt_[T + symbol] is that leaf's node.
#pragma once

#include "lib/lzh.h"

namespace kestrel {

/// Counts a symbol in the nodes above this one, as far as the order holds. Returns the first node
/// that became more frequent than the next, or the root: freq_[T] is below every count.
[[gnu::always_inline]] inline size_t LzH::count_up(size_t node) {
  do {
    node = prnt_[node];
  } while (++freq_[node] <= freq_[node + 1]);
  return node;
}

[[gnu::always_inline]] inline void LzH::update(size_t c) {
  if (freq_[R] == MAX_FREQ) [[unlikely]]
    reconst();
  const size_t node = count_up(c + T);
  if (node != R) exchange(node);
}

}  // namespace kestrel
