// The adaptive code's rare work: its tree at the start, the exchange of two of its nodes, the tree
// that is built anew when the root's count has become too large, and the decoder's table of places
// near the root. It reads and changes only the coder's own tables.
#include "lib/lzh_huffman.h"

#include <algorithm>
#include <iterator>

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
  freq_[T] = 0;
  prnt_[R] = 0;
  lowest_at_top_ = T;
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
  if (lowest_at_top_ < T) fill_top();
}

void LzH::exchange(size_t node) {
  do {
    const uint16_t count = freq_[node];
    size_t last = node + 1;
    while (count > freq_[last + 1]) ++last;
    freq_[node] = freq_[last];
    freq_[last] = count;
    const size_t up = son_[node], down = son_[last];
    prnt_[up] = static_cast<uint16_t>(last);
    if (up < T) prnt_[up + 1] = static_cast<uint16_t>(last);
    prnt_[down] = static_cast<uint16_t>(node);
    if (down < T) prnt_[down + 1] = static_cast<uint16_t>(node);
    son_[last] = static_cast<uint16_t>(up);
    son_[node] = static_cast<uint16_t>(down);
    if (last >= lowest_at_top_) fill_top();
    node = count_up(last);
  } while (node != R);
}

void LzH::fill_top() {
  top_[0] = {R, 0};
  lowest_at_top_ = R;
  for (size_t rows = 1; rows < std::size(top_); rows *= 2) {
    // Backwards, so that nothing is overwritten before it was read.
    for (size_t i = rows; i-- > 0;) {
      const place here = top_[i];
      const uint16_t son = son_[here.node], deeper = son < T;
      const uint16_t first = deeper != 0 ? son : here.node;
      const auto depth = static_cast<uint16_t>(here.depth + deeper);
      top_[2 * i] = {first, depth};
      top_[2 * i + 1] = {static_cast<uint16_t>(first + deeper), depth};
      lowest_at_top_ = std::min<size_t>(lowest_at_top_, here.node);
    }
  }
}

}  // namespace kestrel
