// Masks of bytes as integers.
#pragma once

#include <algorithm>
#include <bit>

#include "simd/simd.h"

namespace zelj {

// A mask of up to 64 lanes, the first in bit 0.
template <class D, class M>
HWY_INLINE Zel64u bitsOfMask(D d, M mask) {
  hwy::UnsignedFromSize<std::max<size_t>(hn::MaxLanes(D()) / 8, 1)> bits;
  hn::StoreMaskBits(d, mask, reinterpret_cast<uint8_t*>(&bits));
  return bits;
}

// Index of the first byte of that value among 64, or 64.
HWY_INLINE int findByte64(Zel8u value, const Zel8u* p) {
  constexpr hn::CappedTag<Zel8u, 64> d;
  Zel64u found = 0;
  HWY_UNROLL(4)
  for (size_t i = 0; i < 64; i += hn::MaxLanes(d)) {
    found |= bitsOfMask(d, hn::Eq(hn::LoadU(d, p + i), hn::Set(d, value))) << i;
  }
  return std::countr_zero(found);
}

} // namespace zelj
