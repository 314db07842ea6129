// Operations within 128-bit blocks that are one instruction on x86 and have no name in Highway (1.0), for vectors of one
// or two blocks. The portable bodies are for processors whose vectors have one.
#pragma once

#include "simd/simd.h"

#if HWY_ARCH_X86
#include <immintrin.h>
#endif

namespace zelj {

// Lane i: a[2i] b[2i] + a[2i+1] b[2i+1] in 32 bits, wrapping.
template <class V>
HWY_INLINE auto multiplyAddPairs(V a, V b) {
  constexpr hn::DFromV<V> d;
  constexpr hn::RepartitionToWide<decltype(d)> d32;
#if HWY_ARCH_X86 && HWY_TARGET <= HWY_SSE4
  if constexpr (sizeof(a.raw) == 16) return hn::Vec<decltype(d32)>{_mm_madd_epi16(a.raw, b.raw)};
#if HWY_TARGET <= HWY_AVX2
  if constexpr (sizeof(a.raw) == 32) return hn::Vec<decltype(d32)>{_mm256_madd_epi16(a.raw, b.raw)};
#endif
#else
  const auto a32 = hn::BitCast(d32, a), b32 = hn::BitCast(d32, b);
  const auto low = [](auto v) { return hn::ShiftRight<16>(hn::ShiftLeft<16>(v)); };
  return hn::Add(hn::Mul(low(a32), low(b32)), hn::Mul(hn::ShiftRight<16>(a32), hn::ShiftRight<16>(b32)));
#endif
}

// Lane i: a[2i] b[2i] + a[2i+1] b[2i+1] in 16 bits, for unsigned a, signed b and sums that fit.
template <class VU, class V>
HWY_INLINE auto multiplyAddBytePairs(VU a, V b) {
  constexpr hn::DFromV<V> d;
  constexpr hn::RepartitionToWide<decltype(d)> d16;
#if HWY_ARCH_X86 && HWY_TARGET <= HWY_SSE4
  if constexpr (sizeof(a.raw) == 16) return hn::Vec<decltype(d16)>{_mm_maddubs_epi16(a.raw, b.raw)};
#if HWY_TARGET <= HWY_AVX2
  if constexpr (sizeof(a.raw) == 32) return hn::Vec<decltype(d16)>{_mm256_maddubs_epi16(a.raw, b.raw)};
#endif
#else
  constexpr hn::RebindToUnsigned<decltype(d16)> du16;
  const auto a16 = hn::BitCast(du16, a);
  const auto b16 = hn::BitCast(d16, b);
  const auto evenA = hn::BitCast(d16, hn::And(a16, hn::Set(du16, 255)));
  const auto oddA = hn::BitCast(d16, hn::ShiftRight<8>(a16));
  return hn::Add(hn::Mul(evenA, hn::ShiftRight<8>(hn::ShiftLeft<8>(b16))), hn::Mul(oddA, hn::ShiftRight<8>(b16)));
#endif
}

// Dwords 0 and 2 of each 128-bit block of a, then of b.
template <class V>
HWY_INLINE V evenDwords(V a, V b) {
#if HWY_ARCH_X86 && HWY_TARGET <= HWY_SSE4
  if constexpr (sizeof(a.raw) == 16) {
    return V{_mm_castps_si128(_mm_shuffle_ps(_mm_castsi128_ps(a.raw), _mm_castsi128_ps(b.raw), 0x88))};
  }
#if HWY_TARGET <= HWY_AVX2
  if constexpr (sizeof(a.raw) == 32) {
    return V{_mm256_castps_si256(_mm256_shuffle_ps(_mm256_castsi256_ps(a.raw), _mm256_castsi256_ps(b.raw), 0x88))};
  }
#endif
#else
  constexpr hn::DFromV<V> d;
  constexpr hn::Repartition<Zel32s, decltype(d)> d32;
  return hn::BitCast(d, hn::ConcatEven(d32, hn::BitCast(d32, b), hn::BitCast(d32, a)));
#endif
}
template <class V>
HWY_INLINE V oddDwords(V a, V b) {
#if HWY_ARCH_X86 && HWY_TARGET <= HWY_SSE4
  if constexpr (sizeof(a.raw) == 16) {
    return V{_mm_castps_si128(_mm_shuffle_ps(_mm_castsi128_ps(a.raw), _mm_castsi128_ps(b.raw), 0xDD))};
  }
#if HWY_TARGET <= HWY_AVX2
  if constexpr (sizeof(a.raw) == 32) {
    return V{_mm256_castps_si256(_mm256_shuffle_ps(_mm256_castsi256_ps(a.raw), _mm256_castsi256_ps(b.raw), 0xDD))};
  }
#endif
#else
  constexpr hn::DFromV<V> d;
  constexpr hn::Repartition<Zel32s, decltype(d)> d32;
  return hn::BitCast(d, hn::ConcatOdd(d32, hn::BitCast(d32, b), hn::BitCast(d32, a)));
#endif
}

// Signed saturation to 8 bits: each 128-bit block of a, then that of b.
template <class V>
HWY_INLINE auto packSigned(V a, V b) {
  constexpr hn::RepartitionToNarrow<hn::DFromV<V>> d8;
#if HWY_ARCH_X86 && HWY_TARGET <= HWY_SSE4
  if constexpr (sizeof(a.raw) == 16) return hn::Vec<decltype(d8)>{_mm_packs_epi16(a.raw, b.raw)};
#if HWY_TARGET <= HWY_AVX2
  if constexpr (sizeof(a.raw) == 32) return hn::Vec<decltype(d8)>{_mm256_packs_epi16(a.raw, b.raw)};
#endif
#else
  constexpr hn::Half<decltype(d8)> half;
  return hn::Combine(d8, hn::DemoteTo(half, b), hn::DemoteTo(half, a));
#endif
}

} // namespace zelj
