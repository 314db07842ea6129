// The block layout of BC7: what each of the eight modes holds, and at which bits. Decoder and encoder derive their
// tables from it.
#pragma once

#include "texture/bptc_tables.h"

namespace zelj::bc7 {

struct Mode {
  int subsets, partitionBits;
  int pBits; // of the block: one for each end point, or one for each subset
  int rotationBits, selectorBits;
  int indexBits, index2Bits;         // with a second set, one is of the colours and the other of alpha
  std::array<Zel8u, 4> colourBits;   // stored for R, G, B, A of an end point
  std::array<Zel8u, 4> endPointBits; // the same with the p-bit, the lowest

  constexpr int partitions() const { return 1 << partitionBits; }
  constexpr int endPoints() const { return 2 * subsets; }
  constexpr int pBitOf(int endPoint) const { return endPoint * pBits / endPoints(); }
};

inline constexpr std::array<Mode, 8> kModes{{
    {3, 4, 6, 0, 0, 3, 0, {4, 4, 4, 0}, {5, 5, 5, 0}},
    {2, 6, 2, 0, 0, 3, 0, {6, 6, 6, 0}, {7, 7, 7, 0}},
    {3, 6, 0, 0, 0, 2, 0, {5, 5, 5, 0}, {5, 5, 5, 0}},
    {2, 6, 4, 0, 0, 2, 0, {7, 7, 7, 0}, {8, 8, 8, 0}},
    {1, 0, 0, 2, 1, 2, 3, {5, 5, 5, 6}, {5, 5, 5, 6}},
    {1, 0, 0, 2, 0, 2, 2, {7, 7, 7, 8}, {7, 7, 7, 8}},
    {1, 0, 2, 0, 0, 4, 0, {7, 7, 7, 7}, {8, 8, 8, 8}},
    {2, 6, 4, 0, 0, 2, 0, {5, 5, 5, 5}, {6, 6, 6, 6}},
}};

// First bits of the fields, which follow one another in this order. The end points of a channel stand side by side:
// E0 and E1 of subset 0, then those of subset 1 and 2.
struct Layout {
  int partition, rotation, selector;
  std::array<int, 4> channel;
  int pBits, indices, indices2, end;
};

constexpr Layout layoutOf(int mode) {
  const Mode& m = kModes[static_cast<size_t>(mode)];
  Layout at{};
  int bit = mode + 1; // behind the mode: as many zeros and a one
  const auto take = [&bit](int bits) { return (bit += bits) - bits; };
  at.partition = take(m.partitionBits);
  at.rotation = take(m.rotationBits);
  at.selector = take(m.selectorBits);
  for (size_t c = 0; c < 4; ++c) at.channel[c] = take(m.endPoints() * m.colourBits[c]);
  at.pBits = take(m.pBits);
  at.indices = take(16 * m.indexBits - m.subsets);
  at.indices2 = take(m.index2Bits ? 16 * m.index2Bits - 1 : 0);
  at.end = bit;
  return at;
}

static_assert([] {
  for (int mode = 0; mode < 8; ++mode) {
    if (layoutOf(mode).end != 128) return false;
  }
  return true;
}());

} // namespace zelj::bc7
