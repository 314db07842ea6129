// Between vectors of bytes and of 16-bit lanes: weighted sums of pairs, packing, interleaved halves.
#pragma once

#include "simd/simd.h"

namespace zelj {

// kFirst * v[2i] + kSecond * v[2i+1] in the 16-bit lane i. The weights are signed bytes; sums stay within 16 bits
// signed.
template <int kFirst, int kSecond, class V>
HWY_INLINE auto weightedPairs(V v) {
  const hn::RepartitionToWide<hn::DFromV<V>> d16;
#if HWY_ARCH_X86
  const auto weights = hn::Set(d16, static_cast<Zel16u>((kSecond << 8) | (kFirst & 0xFF)));
  using V16 = hn::VFromD<decltype(d16)>;
  if constexpr (sizeof(v.raw) == 16) {
    return V16{_mm_maddubs_epi16(v.raw, weights.raw)};
#if HWY_TARGET <= HWY_AVX2
  } else if constexpr (sizeof(v.raw) == 32) {
    return V16{_mm256_maddubs_epi16(v.raw, weights.raw)};
#endif
#if HWY_TARGET <= HWY_AVX3
  } else {
    return V16{_mm512_maddubs_epi16(v.raw, weights.raw)};
#endif
  }
#else
  const auto pairs = hn::BitCast(d16, v); // little-endian
  const auto first = hn::And(pairs, hn::Set(d16, 0xFF)), second = hn::ShiftRight<8>(pairs);
  return hn::Add(hn::Mul(first, hn::Set(d16, kFirst)), hn::Mul(second, hn::Set(d16, kSecond)));
#endif
}

// The lanes of two vectors of 0..32767, limited to 255, in one vector of bytes.
template <class V>
HWY_INLINE auto packBytes(V lower, V upper) {
  const hn::Repartition<Zel8u, hn::DFromV<V>> d8;
  using V8 = hn::VFromD<decltype(d8)>;
#if HWY_ARCH_X86
  if constexpr (sizeof(V) == 16) {
    return V8{_mm_packus_epi16(lower.raw, upper.raw)};
#if HWY_TARGET <= HWY_AVX2
  } else if constexpr (sizeof(V) == 32) {
    return V8{_mm256_permute4x64_epi64(_mm256_packus_epi16(lower.raw, upper.raw), 0xD8)};
#endif
#if HWY_TARGET <= HWY_AVX3
  } else {
    const __m512i order = _mm512_setr_epi64(0, 2, 4, 6, 1, 3, 5, 7);
    return V8{_mm512_permutexvar_epi64(order, _mm512_packus_epi16(lower.raw, upper.raw))};
#endif
  }
#else
  const hn::Rebind<Zel16s, hn::DFromV<V>> d16;
  const hn::Half<decltype(d8)> half;
  return hn::Combine(d8, hn::DemoteTo(half, hn::BitCast(d16, upper)), hn::DemoteTo(half, hn::BitCast(d16, lower)));
#endif
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

} // namespace zelj
