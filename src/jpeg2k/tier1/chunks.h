// Code-blocks as bits: a chunk is a piece of a stripe, four rows by sixteen columns, with a bit for each sample in scan
// order: bit 4 * column + row. So the first sample of a set in scan order is its lowest bit, and what holds for the
// neighbours of 64 samples is found by a few shifts.
#pragma once

#include "zelj.h"

namespace zelj {

constexpr int kChunkColumns = 16;
constexpr Zel64u kRow0 = 0x1111111111111111u;
constexpr Zel64u kRow3 = kRow0 << 3;

constexpr int chunksOf(int width) {
  return width / kChunkColumns + (width % kChunkColumns != 0);
}
constexpr int stripesOf(int height) {
  return height / 4 + (height % 4 != 0);
}

// For each sample the bit of the one above, below, to the left or to the right of it; the second argument is the chunk
// in that direction.
constexpr Zel64u above(Zel64u chunk, Zel64u north) {
  return (chunk << 1 & ~kRow0) | (north >> 3 & kRow0);
}
constexpr Zel64u below(Zel64u chunk, Zel64u south) {
  return (chunk >> 1 & ~kRow3) | (south << 3 & kRow3);
}
constexpr Zel64u leftOf(Zel64u chunk, Zel64u west) {
  return chunk << 4 | west >> 60;
}
constexpr Zel64u rightOf(Zel64u chunk, Zel64u east) {
  return chunk >> 4 | east << 60;
}

// The samples of a chunk that lie inside a block of which so many columns and rows are left.
constexpr Zel64u insideChunk(int columns, int rows) {
  const Zel64u wide = columns >= kChunkColumns ? ~Zel64u{0} : (Zel64u{1} << 4 * columns) - 1;
  const Zel64u high = rows >= 4 ? ~Zel64u{0} : kRow0 * ((1u << rows) - 1);
  return wide & high;
}

} // namespace zelj
