// The coefficients of a block, which may lie at odd addresses, and the zig-zag band of an AC scan as bit masks.
#pragma once

#include <cstring>

#include "jpeg/huffman/zigzag_bytes.h"
#include "simd/byte_masks.h"

namespace zelj {

inline Zel16s load16(const Zel16s* p) {
  Zel16s value;
  std::memcpy(&value, p, sizeof value);
  return value;
}

inline void store16(int value, Zel16s* p) {
  const auto narrow = static_cast<Zel16s>(value);
  std::memcpy(p, &narrow, sizeof narrow);
}

inline Zel16s loadZigzag(const Zel16s* block, int position) {
  return load16(block + kNaturalOfZigzag[static_cast<size_t>(position)]);
}

// Masks have a bit for each zig-zag position, k in bit k. Those of a band.
HWY_INLINE Zel64u positionsOfBand(int first, int last) {
  return ~Zel64u{0} >> (63 - last) & ~Zel64u{0} << first;
}

// Positions whose byte has its top bit set, or is not zero.
HWY_INLINE Zel64u positionsWithTopBit(const ZigzagBytes& bytes) {
  constexpr ZigzagBytes::Tag d;
  Zel64u mask = 0;
  for (size_t i = 0; i < ZigzagBytes::kVectors; ++i) {
    mask |= bitsOfMask(d, hn::Lt(bytes.v[i], hn::Zero(d))) << (i * ZigzagBytes::kLanes);
  }
  return mask;
}
HWY_INLINE Zel64u positionsNotZero(const ZigzagBytes& bytes) {
  constexpr ZigzagBytes::Tag d;
  Zel64u zeros = 0;
  for (size_t i = 0; i < ZigzagBytes::kVectors; ++i) {
    zeros |= bitsOfMask(d, hn::Eq(bytes.v[i], hn::Zero(d))) << (i * ZigzagBytes::kLanes);
  }
  return ~zeros;
}

// A block with f(tag, coefficients) in the place of its coefficients.
template <class F>
HWY_INLINE ZigzagBytes zigzagBytesOf(const Zel16s* block, F f) {
  constexpr hn::CappedTag<Zel16s, 32> d;
  alignas(64) Zel16s made[64];
  for (size_t i = 0; i < 64; i += hn::MaxLanes(d)) hn::Store(f(d, hn::LoadU(d, block + i)), d, made + i);
  return ZigzagBytes(made);
}

} // namespace zelj
