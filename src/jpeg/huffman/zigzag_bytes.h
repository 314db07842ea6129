// The coefficients of a block in zig-zag order, as bytes.
#pragma once

#include <utility>

#include "jpeg/zigzag.h"
#include "simd/blocks.h"
#include "simd/simd.h"

namespace zelj {

struct ZigzagBytes {
  using Tag = hn::CappedTag<Zel8s, 64>;
  static constexpr size_t kLanes = hn::MaxLanes(Tag()), kVectors = 64 / kLanes;

  hn::Vec<Tag> v[kVectors];

  // Coefficients beyond -128..127 are limited to these.
  HWY_INLINE explicit ZigzagBytes(const Zel16s* block);
};

#if HWY_TARGET <= HWY_AVX3

// The two permutations take what packing puts into the first and the second half of each block.
HWY_INLINE ZigzagBytes::ZigzagBytes(const Zel16s* block) {
  struct Indices {
    alignas(64) Zel16u half[2][32];
  };
  static constexpr Indices kIndices = [] {
    Indices indices{};
    for (size_t k = 0; k < 64; ++k) indices.half[k / 8 % 2][k / 16 * 8 + k % 8] = kNaturalOfZigzag[k];
    return indices;
  }();
  const hn::CappedTag<Zel16s, 32> d;
  const auto top = hn::LoadU(d, block), bottom = hn::LoadU(d, block + 32);
  v[0] = narrowSigned(permuteTwo(top, bottom, kIndices.half[0]), permuteTwo(top, bottom, kIndices.half[1]));
}

#else

// A network of byte shuffles: each vector of the result gathers from those sources that hold any of its bytes. The
// blocks of 16 bytes are as they come from packing: rows 0 and 2, 1 and 3, 4 and 6, 5 and 7. A source is a block, or
// two neighbours in one order and in the other.
struct ZigzagShuffles {
  alignas(32) Zel8s index[4][64]; // for each source; negative: not from here
  constexpr ZigzagShuffles() : index{} {
    for (size_t k = 0; k < 64; ++k) {
      const int row = kNaturalOfZigzag[k] / 8, column = kNaturalOfZigzag[k] % 8;
      const int block = row / 4 * 2 + row % 2, lane = static_cast<int>(k % ZigzagBytes::kLanes / 16);
      for (int source = 0; source < 4; ++source) {
        index[source][k] = static_cast<Zel8s>((source ^ lane) == block ? row / 2 % 2 * 8 + column : -1);
      }
    }
  }
  constexpr bool any(size_t source, size_t begin, size_t end) const {
    for (size_t k = begin; k < end; ++k) {
      if (index[source][k] >= 0) return true;
    }
    return false;
  }
};
constexpr ZigzagShuffles kZigzagShuffles;

template <size_t kVector, size_t kSource, class V>
HWY_INLINE V gatherZigzag(V sum, const V* sources) {
  if constexpr (kSource == 4) {
    return sum;
  } else {
    constexpr size_t kBegin = kVector * ZigzagBytes::kLanes;
    if constexpr (kZigzagShuffles.any(kSource, kBegin, kBegin + ZigzagBytes::kLanes)) {
      const auto index = hn::Load(ZigzagBytes::Tag(), kZigzagShuffles.index[kSource] + kBegin);
      sum = hn::Or(sum, hn::TableLookupBytesOr0(sources[kSource], index));
    }
    return gatherZigzag<kVector, kSource + 1>(sum, sources);
  }
}

HWY_INLINE ZigzagBytes::ZigzagBytes(const Zel16s* block) {
  const hn::CappedTag<Zel16s, 16> d;
  hn::Vec<Tag> sources[4];
  if constexpr (kLanes == 16) {
    for (size_t i = 0; i < 4; ++i) {
      const Zel16s* rows = block + i / 2 * 32 + i % 2 * 8;
      sources[i] = narrowSigned(hn::LoadU(d, rows), hn::LoadU(d, rows + 16));
    }
  } else {
    for (size_t i = 0; i < 2; ++i) {
      sources[2 * i] = narrowSigned(hn::LoadU(d, block + 32 * i), hn::LoadU(d, block + 32 * i + 16));
      sources[2 * i + 1] = hn::SwapAdjacentBlocks(sources[2 * i]);
    }
  }
  const auto none = hn::Zero(Tag());
  [&]<size_t... i>(std::index_sequence<i...>) {
    ((v[i] = gatherZigzag<i, 0>(none, sources)), ...);
  }
  (std::make_index_sequence<kVectors>());
}

#endif

} // namespace zelj
