// Looking for a byte.
#pragma once

#include <bit>

#include "simd/simd.h"

namespace zelj {

// Index of the first byte of that value among 64, or 64.
HWY_INLINE int findByte64(Zel8u value, const Zel8u* p) {
  constexpr hn::CappedTag<Zel8u, 64> d;
  constexpr size_t kLanes = hn::MaxLanes(d);
  Zel64u found = 0;
  for (size_t i = 0; i < 64; i += kLanes) {
    hwy::UnsignedFromSize<kLanes / 8> here;
    hn::StoreMaskBits(d, hn::Eq(hn::LoadU(d, p + i), hn::Set(d, value)), reinterpret_cast<uint8_t*>(&here));
    found |= Zel64u{here} << i;
  }
  return std::countr_zero(found);
}

} // namespace zelj
