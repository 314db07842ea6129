// Packing and permuting of 16-bit lanes, where Highway has no word for it.
#pragma once

#include "simd/simd.h"

namespace zelj {

// In each block of 128 bits the lanes of a, then those of b, limited to signed bytes.
template <class V>
HWY_INLINE auto packSignedInBlocks(V a, V b) {
  const hn::Repartition<Zel8s, hn::DFromV<V>> d8;
  using V8 = hn::VFromD<decltype(d8)>;
#if HWY_ARCH_X86
  if constexpr (sizeof(a.raw) == 16) {
    return V8{_mm_packs_epi16(a.raw, b.raw)};
#if HWY_TARGET <= HWY_AVX2
  } else if constexpr (sizeof(a.raw) == 32) {
    return V8{_mm256_packs_epi16(a.raw, b.raw)};
#endif
#if HWY_TARGET <= HWY_AVX3
  } else {
    return V8{_mm512_packs_epi16(a.raw, b.raw)};
#endif
  }
#else
  static_assert(hn::MaxLanes(d8) == 16, "one block");
  const hn::Half<decltype(d8)> half;
  return hn::Combine(d8, hn::DemoteTo(half, b), hn::DemoteTo(half, a));
#endif
}

#if HWY_TARGET <= HWY_AVX3
// Lane i is lane indices[i] of the 64 16-bit lanes of a and b.
template <class V>
HWY_INLINE V permuteTwo(V a, V b, const Zel16u* indices) {
  return V{_mm512_permutex2var_epi16(a.raw, _mm512_loadu_si512(indices), b.raw)};
}
#endif

} // namespace zelj
