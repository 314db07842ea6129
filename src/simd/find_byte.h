// Looking for a byte.
#pragma once

#include "simd/simd.h"

namespace zelj {

// Index of the first byte of that value among 64, or 64.
HWY_INLINE int findByte64(Zel8u value, const Zel8u* p) {
  const hn::CappedTag<Zel8u, 64> d;
  Zel64u found = 0;
  for (size_t i = 0; i < 64; i += hn::Lanes(d)) {
    Zel8u bits[8] = {};
    hn::StoreMaskBits(d, hn::LoadU(d, p + i) == hn::Set(d, value), bits);
    Zel64u here;
    memcpy(&here, bits, 8);
    found |= here << i;
  }
  return std::countr_zero(found);
}

} // namespace zelj
