// The ramp between two end points, and its scan, in vectors: what the rough fit and the search have in common.
#pragma once

#include "simd/simd.h"
#include "texture/bptc_tables.h"

namespace zelj::bc7 {

constexpr const Zel8u* weightsOfBits(int bits) {
  return bits == 2 ? bptc::kWeights2.data() : bits == 3 ? bptc::kWeights3.data() : bptc::kWeights4.data();
}

// Entry of a ramp between two 8-bit values, by its weight. Lanes are of at least 16 bits.
template <class V>
HWY_INLINE V interpolated(V e0, V e1, Zel8u weight) {
  const hn::DFromV<V> d;
  using T = hn::TFromD<hn::DFromV<V>>;
  const V from64 = hn::Add(hn::ShiftLeft<6>(e0), hn::Set(d, T{32}));
  return hn::ShiftRight<6>(hn::Add(from64, hn::Mul(hn::Sub(e1, e0), hn::Set(d, static_cast<T>(weight)))));
}

// The scan of a ramp goes from the first entry up, and ends before the first rise of the distance. It is done backwards
// here: from the scan that begins at the next entry (which found `found`) to the one that begins one entry earlier.
template <class V>
HWY_INLINE V scanFromEarlier(V distance, V nextDistance, V found) {
  return hn::IfThenElse(hn::Gt(nextDistance, distance), distance, found);
}

} // namespace zelj::bc7
