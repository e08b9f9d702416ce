// The adaptive Huffman code of LzH: a tree over literals and match lengths that encoder and decoder
// change in step after every symbol.
//
// Nodes stand in order of rising frequency, two sons side by side; a son of T or more is the leaf
// of symbol son - T, and prnt_[T + symbol] is that leaf's node.
#include <algorithm>

#include "lib/lzh.h"

namespace kestrel {

void LzH::StartHuff() {
  for (unsigned i = 0; i < N_CHAR; ++i) {
    freq_[i] = 1;
    son_[i] = static_cast<uint16_t>(i + T);
    prnt_[i + T] = static_cast<uint16_t>(i);
  }
  for (unsigned i = 0, j = N_CHAR; j <= R; i += 2, ++j) {
    freq_[j] = static_cast<uint16_t>(freq_[i] + freq_[i + 1]);
    son_[j] = static_cast<uint16_t>(i);
    prnt_[i] = prnt_[i + 1] = static_cast<uint16_t>(j);
  }
  freq_[T] = 0xFFFF;
  prnt_[R] = 0;
}

void LzH::reconst() {
  unsigned leaves = 0;
  for (unsigned i = 0; i < T; ++i) {
    if (son_[i] < T) continue;
    freq_[leaves] = static_cast<uint16_t>((freq_[i] + 1) / 2);
    son_[leaves++] = son_[i];
  }
  for (unsigned i = 0, j = N_CHAR; j < T; i += 2, ++j) {
    const auto sum = static_cast<uint16_t>(freq_[i] + freq_[i + 1]);
    const auto k = std::upper_bound(freq_, freq_ + j, sum) - freq_;
    std::copy_backward(freq_ + k, freq_ + j, freq_ + j + 1);
    std::copy_backward(son_ + k, son_ + j, son_ + j + 1);
    freq_[k] = sum;
    son_[k] = static_cast<uint16_t>(i);
  }
  for (unsigned i = 0; i < T; ++i) {
    const size_t k = son_[i];
    prnt_[k] = static_cast<uint16_t>(i);
    if (k < T) prnt_[k + 1] = static_cast<uint16_t>(i);
  }
}

[[gnu::noinline, gnu::cold]] void LzH::reconst_and_update(size_t c) {
  reconst();
  update(c);
}

void LzH::update(size_t c) {
  if (freq_[R] == MAX_FREQ) return reconst_and_update(c);
  size_t node = prnt_[c + T];
  do {
    const size_t count = ++freq_[node];
    if (count > freq_[node + 1]) {
      // The node changes places with the last one that is now rarer.
      size_t last = node;
      do {
        ++last;
      } while (count > freq_[last + 1]);
      freq_[node] = freq_[last];
      freq_[last] = static_cast<uint16_t>(count);
      const size_t up = son_[node], down = son_[last];
      prnt_[up] = static_cast<uint16_t>(last);
      if (up < T) prnt_[up + 1] = static_cast<uint16_t>(last);
      prnt_[down] = static_cast<uint16_t>(node);
      if (down < T) prnt_[down + 1] = static_cast<uint16_t>(node);
      son_[last] = static_cast<uint16_t>(up);
      son_[node] = static_cast<uint16_t>(down);
      node = last;
    }
    node = prnt_[node];
  } while (node != 0);
}

}  // namespace kestrel
