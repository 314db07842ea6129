// Between bytes and 16-bit lanes, within the 128-bit blocks of a vector: sums of products of pairs, and narrowing.
#pragma once

#include "simd/simd.h"

namespace zelj {

// A constant pair of bytes in each 16-bit lane.
template <int kFirst, int kSecond, class D>
HWY_INLINE hn::VFromD<D> setPairs(D d) {
  const hn::Repartition<Zel16u, D> d16;
  return hn::BitCast(d, hn::Set(d16, static_cast<Zel16u>((kSecond & 0xFF) * 256 + (kFirst & 0xFF))));
}

// Neighbouring products summed: the 16-bit lane i is u[2i] * s[2i] + u[2i+1] * s[2i+1], within 16 bits signed.
template <class VU, class VS>
HWY_INLINE auto mulAddPairs(VU u, VS s) {
  const hn::Repartition<Zel16s, hn::DFromV<VU>> d16;
  using V16 = hn::VFromD<decltype(d16)>;
#if HWY_ARCH_X86
  if constexpr (sizeof(u.raw) == 16) {
    return V16{_mm_maddubs_epi16(u.raw, s.raw)};
#if HWY_TARGET <= HWY_AVX2
  } else if constexpr (sizeof(u.raw) == 32) {
    return V16{_mm256_maddubs_epi16(u.raw, s.raw)};
#endif
#if HWY_TARGET <= HWY_AVX3
  } else {
    return V16{_mm512_maddubs_epi16(u.raw, s.raw)};
#endif
  }
#else
  const auto u16 = hn::BitCast(d16, u), s16 = hn::BitCast(d16, s); // little-endian
  const auto first = hn::Mul(hn::And(u16, hn::Set(d16, 0xFF)), hn::ShiftRight<8>(hn::ShiftLeft<8>(s16)));
  const hn::RebindToUnsigned<decltype(d16)> du16;
  return hn::Add(first, hn::Mul(hn::BitCast(d16, hn::ShiftRight<8>(hn::BitCast(du16, u))), hn::ShiftRight<8>(s16)));
#endif
}

// Lane i: a[2i] b[2i] + a[2i+1] b[2i+1] of 16-bit lanes in 32 bits, wrapping.
inline constexpr auto sumsOfProducts = [](auto a, auto b) {
  const hn::RepartitionToWide<hn::DFromV<decltype(a)>> d32;
  hn::Vec<decltype(d32)> none = hn::Zero(d32);
  return hn::ReorderWidenMulAccumulate(d32, a, b, hn::Zero(d32), none);
};

// The sums of neighbouring 16-bit lanes, block by block those of `lower` and then those of `upper`; as signed numbers
// they fit 16 bits.
template <class V16>
HWY_INLINE V16 pairSums(V16 lower, V16 upper) {
  const hn::RebindToSigned<hn::DFromV<V16>> d;
  const auto sums = [=](V16 v) { return sumsOfProducts(hn::BitCast(d, v), hn::Set(d, 1)); };
  return hn::BitCast(hn::DFromV<V16>(), hn::ReorderDemote2To(d, sums(lower), sums(upper)));
}

// kFirst * v[2i] + kSecond * v[2i+1] in the 16-bit lane i, with weights from 0 to 127 and sums below 32768.
template <int kFirst, int kSecond, class V>
HWY_INLINE auto weightedPairs(V v) {
  const hn::RepartitionToWide<hn::DFromV<V>> d16;
  return hn::BitCast(d16, mulAddPairs(v, setPairs<kFirst, kSecond>(hn::DFromV<V>())));
}

// Signed 16-bit lanes limited to 0..255, block by block those of `lower` and then those of `upper`.
template <class V16>
HWY_INLINE auto narrowUnsigned(V16 lower, V16 upper) {
  const hn::Repartition<Zel8u, hn::DFromV<V16>> d8;
  using V8 = hn::VFromD<decltype(d8)>;
#if HWY_ARCH_X86
  if constexpr (sizeof(lower.raw) == 16) {
    return V8{_mm_packus_epi16(lower.raw, upper.raw)};
#if HWY_TARGET <= HWY_AVX2
  } else if constexpr (sizeof(lower.raw) == 32) {
    return V8{_mm256_packus_epi16(lower.raw, upper.raw)};
#endif
#if HWY_TARGET <= HWY_AVX3
  } else {
    return V8{_mm512_packus_epi16(lower.raw, upper.raw)};
#endif
  }
#else
  const hn::RebindToSigned<hn::DFromV<V16>> d16;
  const hn::Half<decltype(d8)> half;
  return hn::Combine(d8, hn::DemoteTo(half, hn::BitCast(d16, upper)), hn::DemoteTo(half, hn::BitCast(d16, lower)));
#endif
}

// Signed 16-bit lanes limited to -128..127, block by block those of `lower` and then those of `upper`.
template <class V16>
HWY_INLINE auto narrowSigned(V16 lower, V16 upper) {
  const hn::Repartition<Zel8s, hn::DFromV<V16>> d8;
  using V8 = hn::VFromD<decltype(d8)>;
#if HWY_ARCH_X86
  if constexpr (sizeof(lower.raw) == 16) {
    return V8{_mm_packs_epi16(lower.raw, upper.raw)};
#if HWY_TARGET <= HWY_AVX2
  } else if constexpr (sizeof(lower.raw) == 32) {
    return V8{_mm256_packs_epi16(lower.raw, upper.raw)};
#endif
#if HWY_TARGET <= HWY_AVX3
  } else {
    return V8{_mm512_packs_epi16(lower.raw, upper.raw)};
#endif
  }
#else
  const hn::Half<decltype(d8)> half;
  return hn::Combine(d8, hn::DemoteTo(half, upper), hn::DemoteTo(half, lower));
#endif
}

} // namespace zelj
