// Bytes and 16-bit lanes within the 128-bit blocks of a vector: a byte vector's lower and upper halves are its blocks'
// lower and upper eight bytes, so widening and narrowing never cross a block.
#pragma once

#include <array>

#include "simd/bytes.h"
#include "simd/simd.h"

namespace zelj {

// The byte tag of one block; the vectors of a tag D have kBlocks<D> of them.
using Block8u = hn::FixedTag<Zel8u, 16>;
template <class D>
constexpr size_t kBlocks = hn::MaxLanes(D()) * sizeof(hn::TFromD<D>) / 16;

// Blocks that lie kStride bytes apart.
template <int kStride, class D>
HWY_INLINE hn::VFromD<D> loadBlocks(D d, const Zel8u* p) {
  if constexpr (kBlocks<D> == 1) {
    return hn::LoadU(d, p);
#if HWY_TARGET <= HWY_AVX3
  } else if constexpr (kBlocks<D> == 4 && kStride == 48) { // two to a load: half the work of inserting blocks
    const __m512i from = _mm512_setr_epi64(0, 1, 6, 7, 8, 9, 14, 15);
    return hn::VFromD<D>{_mm512_permutex2var_epi64(hn::LoadU(d, p).raw, from, hn::LoadU(d, p + 96).raw)};
#endif
  } else {
    const hn::Half<D> half;
    constexpr int upper = kStride * static_cast<int>(kBlocks<D> / 2);
    return hn::Combine(d, loadBlocks<kStride>(half, p + upper), loadBlocks<kStride>(half, p));
  }
}

// Blocks that lie `step` bytes apart, and blocks stored so.
template <class D, class T = hn::TFromD<D>>
HWY_INLINE hn::VFromD<D> loadBlocks(D d, const T* p, Zel64s step) {
  if constexpr (kBlocks<D> == 1) {
    return hn::LoadU(d, p);
  } else {
    const hn::Half<D> half;
    const auto* upper = reinterpret_cast<const char*>(p) + step * static_cast<int>(kBlocks<D> / 2);
    return hn::Combine(d, loadBlocks(half, reinterpret_cast<const T*>(upper), step), loadBlocks(half, p, step));
  }
}
template <class D, class V = hn::VFromD<D>, class T = hn::TFromD<D>>
HWY_INLINE void storeBlocks(D d, V v, T* p, Zel64s step) {
  if constexpr (kBlocks<D> == 1) {
    hn::StoreU(v, d, p);
  } else {
    const hn::Half<D> half;
    auto* upper = reinterpret_cast<char*>(p) + step * static_cast<int>(kBlocks<D> / 2);
    storeBlocks(half, hn::LowerHalf(half, v), p, step);
    storeBlocks(half, hn::UpperHalf(half, v), reinterpret_cast<T*>(upper), step);
  }
}

// One block of a vector of at most as many, in all blocks of D.
template <int kBlock, class D, class V>
HWY_INLINE hn::VFromD<D> broadcastBlock(D d, V v) {
  const hn::DFromV<V> from;
  if constexpr (kBlocks<D> == 1) {
    return v;
#if HWY_TARGET <= HWY_AVX3
  } else if constexpr (kBlocks<D> == 4 && kBlocks<decltype(from)> == 4) {
    return hn::VFromD<D>{_mm512_shuffle_i32x4(v.raw, v.raw, kBlock * 0x55)};
#endif
  } else if constexpr (kBlocks<decltype(from)> == 1) {
    const hn::Half<D> half;
    const auto lower = broadcastBlock<0>(half, v);
    return hn::Combine(d, lower, lower);
  } else {
    const hn::Half<decltype(from)> half;
    if constexpr (kBlock < static_cast<int>(kBlocks<decltype(half)>)) {
      return broadcastBlock<kBlock>(d, hn::LowerHalf(half, v));
    } else {
      return broadcastBlock<kBlock - static_cast<int>(kBlocks<decltype(half)>)>(d, hn::UpperHalf(half, v));
    }
  }
}

// The lower, or the upper, eight bytes of each block, stored `step` bytes apart.
template <class V, class D = hn::DFromV<V>>
HWY_INLINE void storeLowerHalves(V v, Zel8u* p, Zel64s step) {
  const hn::Half<D> half;
  if constexpr (kBlocks<D> == 1) {
    hn::StoreU(hn::LowerHalf(half, v), half, p);
  } else {
    storeLowerHalves(hn::LowerHalf(half, v), p, step);
    storeLowerHalves(hn::UpperHalf(half, v), p + step * static_cast<int>(kBlocks<D> / 2), step);
  }
}
template <class V, class D = hn::DFromV<V>>
HWY_INLINE void storeUpperHalves(V v, Zel8u* p, Zel64s step) {
  const hn::Half<D> half;
  if constexpr (kBlocks<D> == 1) {
    hn::StoreU(hn::UpperHalf(half, v), half, p);
  } else {
    storeUpperHalves(hn::LowerHalf(half, v), p, step);
    storeUpperHalves(hn::UpperHalf(half, v), p + step * static_cast<int>(kBlocks<D> / 2), step);
  }
}

// Stores the first blocks of three vectors, then their second ones and so on.
template <class D, class V = hn::VFromD<D>>
HWY_INLINE void storeBlocksInTurn(D d, V a, V b, V c, Zel8u* p) {
  constexpr size_t n = hn::MaxLanes(d);
  if constexpr (kBlocks<D> == 1) {
    hn::StoreU(a, d, p);
    hn::StoreU(b, d, p + n);
    hn::StoreU(c, d, p + 2 * n);
  } else if constexpr (kBlocks<D> == 2) {
    hn::StoreU(hn::ConcatLowerLower(d, b, a), d, p);
    hn::StoreU(hn::ConcatUpperLower(d, a, c), d, p + n);
    hn::StoreU(hn::ConcatUpperUpper(d, c, b), d, p + 2 * n);
  } else {
    const hn::Half<D> half;
    storeBlocksInTurn(half, hn::LowerHalf(half, a), hn::LowerHalf(half, b), hn::LowerHalf(half, c), p);
    storeBlocksInTurn(half, hn::UpperHalf(half, a), hn::UpperHalf(half, b), hn::UpperHalf(half, c), p + 3 * n / 2);
  }
}

// Whether lookupBytesOver is one operation.
inline constexpr bool kMaskedLookup = HWY_TARGET <= HWY_AVX3;

// Within blocks, the bytes that `from` picks; those of `background` where the upper bit of `from` is set.
template <class V>
HWY_INLINE V lookupBytesOver(V background, V bytes, V from) {
#if HWY_TARGET <= HWY_AVX3
  if constexpr (sizeof(V) == 16) {
    return V{_mm_mask_shuffle_epi8(background.raw, ~_mm_movepi8_mask(from.raw), bytes.raw, from.raw)};
  } else if constexpr (sizeof(V) == 32) {
    return V{_mm256_mask_shuffle_epi8(background.raw, ~_mm256_movepi8_mask(from.raw), bytes.raw, from.raw)};
  } else {
    return V{_mm512_mask_shuffle_epi8(background.raw, ~_mm512_movepi8_mask(from.raw), bytes.raw, from.raw)};
  }
#else
  const hn::RebindToSigned<hn::DFromV<V>> d;
  const auto picked = hn::BitCast(d, hn::TableLookupBytes(bytes, from));
  const auto mask = hn::MaskFromVec(hn::BitCast(d, from)); // of the upper bits
  return hn::BitCast(hn::DFromV<V>(), hn::IfThenElse(mask, hn::BitCast(d, background), picked));
#endif
}

// A vector as a matrix of kRows rows of lanes of T, transposed.
template <class T, size_t kRows, class V>
HWY_INLINE V transposeLanes(V v) {
  const hn::DFromV<V> d;
  const hn::Repartition<T, decltype(d)> lanes;
  constexpr size_t kLanes = hn::MaxLanes(hn::Repartition<T, hn::DFromV<V>>());
  static constexpr std::array<T, kLanes> kFrom = [] {
    std::array<T, kLanes> from{};
    for (size_t i = 0; i < kLanes; ++i) from[i] = static_cast<T>(i % kRows * (kLanes / kRows) + i / kRows);
    return from;
  }();
  return hn::BitCast(d, hn::TableLookupLanes(hn::BitCast(lanes, v), hn::SetTableIndices(lanes, kFrom.data())));
}

// Operations within blocks scatter what is contiguous: narrowing several vectors into one, a lane of T of each at a
// time, puts lanes next to each other that lie a vector apart, and gather() puts them in order. spread() is its
// inverse, for widening: the lanes of a block become one lane of each of several contiguous vectors.
template <class T, class V>
HWY_INLINE V spread(V v) {
  if constexpr (kBlocks<hn::DFromV<V>> == 1) {
    return v;
  } else {
    return transposeLanes<T, 16 / sizeof(T)>(v);
  }
}
template <class T, class V>
HWY_INLINE V gather(V v) {
  if constexpr (kBlocks<hn::DFromV<V>> == 1) {
    return v;
  } else {
    return transposeLanes<T, kBlocks<hn::DFromV<V>>>(v);
  }
}

// Signed 16-bit lanes limited to 0..255, those of `lower` and then those of `upper`.
template <class V16>
HWY_INLINE auto packBytes(V16 lower, V16 upper) {
  return gather<Zel64u>(narrowUnsigned(lower, upper));
}

// Stores the two halves of a row that hn::InterleaveLower and hn::InterleaveUpper made from two vectors.
template <class D, class V = hn::VFromD<D>>
HWY_INLINE void storeInterleaved(V lower, V upper, D d, Zel8u* dst) {
  constexpr size_t n = hn::MaxLanes(d);
  if constexpr (n == 16) {
    hn::StoreU(lower, d, dst);
    hn::StoreU(upper, d, dst + n);
  } else if constexpr (n == 32) {
    hn::StoreU(hn::ConcatLowerLower(d, upper, lower), d, dst);
    hn::StoreU(hn::ConcatUpperUpper(d, upper, lower), d, dst + n);
  } else {
#if HWY_TARGET <= HWY_AVX3 // Highway's operations on two vectors' blocks would take twice as many.
    const __m512i first = _mm512_setr_epi64(0, 1, 8, 9, 2, 3, 10, 11),
                  second = _mm512_setr_epi64(4, 5, 12, 13, 6, 7, 14, 15);
    hn::StoreU(V{_mm512_permutex2var_epi64(lower.raw, first, upper.raw)}, d, dst);
    hn::StoreU(V{_mm512_permutex2var_epi64(lower.raw, second, upper.raw)}, d, dst + n);
#endif
  }
}

#if HWY_TARGET <= HWY_AVX3
// Lane i is lane indices[i] of the 64 16-bit lanes of a and b.
template <class V>
HWY_INLINE V permuteTwo(V a, V b, const Zel16u* indices) {
  return V{_mm512_permutex2var_epi16(a.raw, _mm512_loadu_si512(indices), b.raw)};
}
#endif

} // namespace zelj
