// Masks of zig-zag positions in the order of a stream's bits: position k in bit 63 - k. So the correction bits of a
// refinement scan, of which one belongs to each coefficient that is not zero, are gathered and scattered at once.
#pragma once

#include <bit>
#ifdef __BMI2__
#include <immintrin.h>
#endif

#include "simd/simd.h"
#include "zelj.h"

namespace zelj {

HWY_INLINE Zel64u mirrored(Zel64u mask) {
  const auto swap = [&](int by, Zel64u low) { mask = (mask >> by & low) | (mask & low) << by; };
  mask = __builtin_bswap64(mask);
  swap(4, 0x0F0F0F0F0F0F0F0Fu);
  swap(2, 0x3333333333333333u);
  swap(1, 0x5555555555555555u);
  return mask;
}

// The positions from k on, in a mirrored mask; there are 64.
HWY_INLINE Zel64u fromPosition(int k) {
  return k < 64 ? ~Zel64u{0} >> k : 0;
}

// The bits of `from` at the positions of `mask`, next to each other.
HWY_INLINE Zel64u gatherBits(Zel64u from, Zel64u mask) {
#ifdef __BMI2__
  return _pext_u64(from, mask);
#else
  Zel64u bits = 0;
  for (int i = 0; mask; mask &= mask - 1, ++i) bits |= (from >> std::countr_zero(mask) & 1) << i;
  return bits;
#endif
}

// The inverse: the lowest bits of `from`, at the positions of `mask`.
HWY_INLINE Zel64u scatterBits(Zel64u from, Zel64u mask) {
#ifdef __BMI2__
  return _pdep_u64(from, mask);
#else
  Zel64u bits = 0;
  for (; mask; mask &= mask - 1, from >>= 1) bits |= (mask & -mask) & -(from & 1);
  return bits;
#endif
}

// The lowest positions of `mask` but for `count` of them, fewer than it has; not mirrored.
HWY_INLINE int positionBehind(Zel64u mask, int count) {
#ifdef __BMI2__
  return std::countr_zero(_pdep_u64(Zel64u{1} << count, mask));
#else
  for (; count > 0; --count) mask &= mask - 1;
  return std::countr_zero(mask);
#endif
}

} // namespace zelj
