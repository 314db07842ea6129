// The coefficients of a block in zig-zag order, as bytes.
#pragma once

#include <utility>

#include "jpeg/zigzag.h"
#include "simd/permute.h"
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
  v[0] = packSignedInBlocks(permuteTwo(top, bottom, kIndices.half[0]), permuteTwo(top, bottom, kIndices.half[1]));
}

#else

// A network of byte shuffles: each 16 bytes of the result gather from those blocks of 16 that hold any of theirs.
struct ZigzagShuffles {
  alignas(32) Zel8s index[4][64]; // for each source block; negative: not from here
  constexpr ZigzagShuffles() : index{} {
    for (size_t source = 0; source < 4; ++source) {
      for (size_t k = 0; k < 64; ++k) {
        const int natural = kNaturalOfZigzag[k], first = static_cast<int>(source) * 16;
        index[source][k] = static_cast<Zel8s>(natural >= first && natural < first + 16 ? natural - first : -1);
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
  const hn::FixedTag<Zel16s, 8> d;
  hn::Vec<Tag> sources[4];
  for (size_t i = 0; i < 4; ++i) {
    sources[i] = repeatBlock(Tag(), packSignedInBlocks(hn::LoadU(d, block + 16 * i), hn::LoadU(d, block + 16 * i + 8)));
  }
  const auto none = hn::Zero(Tag());
  [&]<size_t... i>(std::index_sequence<i...>) {
    ((v[i] = gatherZigzag<i, 0>(none, sources)), ...);
  }
  (std::make_index_sequence<kVectors>());
}

#endif

} // namespace zelj
