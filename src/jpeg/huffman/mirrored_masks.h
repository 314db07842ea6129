// Masks of zig-zag positions in the order of a stream's bits: position k in bit 63 - k. So the correction bits of a
// refinement scan, of which one belongs to each coefficient that is not zero, are gathered and scattered at once.
#pragma once

#include <array>
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

#ifndef __BMI2__
// The positions of the first, second and so on bit of each byte.
inline constexpr auto kBitOfByte = [] {
  std::array<std::array<Zel8u, 256>, 8> at{};
  for (size_t byte = 0; byte < 256; ++byte) {
    for (size_t bit = 0, n = 0; bit < 8; ++bit) {
      if (byte >> bit & 1) at[n++][byte] = static_cast<Zel8u>(bit);
    }
  }
  return at;
}();
#endif

// The lowest positions of `mask` but for `count` of them, fewer than it has; not mirrored.
HWY_INLINE int positionBehind(Zel64u mask, int count) {
#ifdef __BMI2__
  return std::countr_zero(_pdep_u64(Zel64u{1} << count, mask));
#else
  // How many bits each byte and those below it have, in all bytes at once; then how many bytes are passed over.
  constexpr Zel64u kOnes = 0x0101010101010101u, kTops = 0x8080808080808080u;
  Zel64u sums = mask - (mask >> 1 & 0x5555555555555555u);
  sums = (sums & 0x3333333333333333u) + (sums >> 2 & 0x3333333333333333u);
  sums = ((sums + (sums >> 4)) & 0x0F0F0F0F0F0F0F0Fu) * kOnes;
  const auto counts = static_cast<Zel64u>(count) * kOnes;
  const int byte = 8 * std::popcount(((counts | kTops) - sums) & kTops);
  const auto below = static_cast<size_t>(sums << 8 >> byte & 255);
  return byte + kBitOfByte[static_cast<size_t>(count) - below][mask >> byte & 255];
#endif
}

} // namespace zelj
