// Dwords within the 128-bit blocks of a vector, and words of whole vectors, picked by values of vectors.
#pragma once

#include "simd/simd.h"

#if HWY_ARCH_X86 // Highway leaves out what AVX alone has
#include <immintrin.h>
#endif

namespace zelj {

// Dwords of each block, picked by the two lowest bits of the dwords of `from`.
template <class V, class V32>
HWY_INLINE V pickDwords(V v, V32 from) {
#if HWY_ARCH_X86 && defined(__AVX__)
  if constexpr (sizeof(v.raw) == 16) {
    return V{_mm_castps_si128(_mm_permutevar_ps(_mm_castsi128_ps(v.raw), from.raw))};
#if HWY_TARGET <= HWY_AVX2
  } else if constexpr (sizeof(v.raw) == 32) {
    return V{_mm256_castps_si256(_mm256_permutevar_ps(_mm256_castsi256_ps(v.raw), from.raw))};
#endif
#if HWY_TARGET <= HWY_AVX3
  } else {
    return V{_mm512_castps_si512(_mm512_permutevar_ps(_mm512_castsi512_ps(v.raw), from.raw))};
#endif
  }
#else
  const hn::Repartition<Zel8u, hn::DFromV<V> > d8;
  const hn::Repartition<Zel32u, hn::DFromV<V> > d32;
  const auto first = hn::Mul(hn::And(hn::BitCast(d32, from), hn::Set(d32, 3)), hn::Set(d32, 0x04040404));
  const auto bytes = hn::BitCast(d8, hn::Add(first, hn::Set(d32, 0x03020100)));
  return hn::BitCast(hn::DFromV<V>(), hn::TableLookupBytes(hn::BitCast(d8, v), bytes));
#endif
}

// The first dword of each block of a and of b, each twice.
template <class V>
HWY_INLINE V firstDwords(V a, V b) {
  const hn::DFromV<V> d;
#if HWY_ARCH_X86
  const hn::Repartition<float, decltype(d)> df;
  const auto a32 = hn::BitCast(df, a).raw, b32 = hn::BitCast(df, b).raw;
  if constexpr (sizeof(a32) == 16) {
    return hn::BitCast(d, hn::Vec<decltype(df)>{_mm_shuffle_ps(a32, b32, 0)});
#if HWY_TARGET <= HWY_AVX2
  } else if constexpr (sizeof(a32) == 32) {
    return hn::BitCast(d, hn::Vec<decltype(df)>{_mm256_shuffle_ps(a32, b32, 0)});
#endif
  }
#else
  const hn::Repartition<Zel32s, decltype(d)> d32;
  const auto twice = [=](V v) { return hn::InterleaveLower(d32, hn::BitCast(d32, v), hn::BitCast(d32, v)); };
  const hn::Repartition<Zel64s, decltype(d)> d64;
  return hn::BitCast(d, hn::InterleaveLower(d64, hn::BitCast(d64, twice(a)), hn::BitCast(d64, twice(b))));
#endif
}

#if HWY_TARGET <= HWY_AVX3
// Words of the 64 of a and b.
template <class V, class V16>
HWY_INLINE V pickWords(V a, V b, V16 from) {
  return V{_mm512_permutex2var_epi16(a.raw, from.raw, b.raw)};
}
#endif

} // namespace zelj
