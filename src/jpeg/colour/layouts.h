// Pixels to vectors and back: interleaved bytes, planes and packed 16-bit pixels.
#pragma once

#include "jpeg/colour/pixels.h"

namespace zelj {

enum class Order { rgb, bgr };

// Half the pixels of a byte vector, eight to a block, as the pairs of bytes that mulAddPairs takes.
template <class V>
struct Pairs {
  V first;  // channels 0 and 1
  V second; // channel 2 and what is behind it
};

// Half a byte vector's pixels of three or four interleaved bytes each, the first eight of every 16 from p on. The pairs
// are (R, G) and (B, 0), or with kFourth (B, fourth).
template <int kBytes, Order kOrder, bool kFourth = false, class D>
HWY_INLINE Pairs<hn::VFromD<D>> gatherPairs(D d, const Zel8u* p) {
  // Four pixels of each load, the eighth ending with the second one.
  constexpr int kSecond = 8 * kBytes - 16;
  struct Pattern {
    alignas(16) Zel8u at[2][16];
  };
  static constexpr Pattern kPattern = [] {
    Pattern pattern{};
    for (int load = 0; load < 2; ++load) {
      for (int i = 0; i < 4; ++i) {
        const int pixel = load * (16 - 4 * kBytes) + kBytes * i;
        const int channels[4] = {kOrder == Order::rgb ? 0 : 2, 1, kOrder == Order::rgb ? 2 : 0, 3};
        for (int c = 0; c < 4; ++c) {
          const bool zero = c == 3 && !kFourth;
          pattern.at[load][c / 2 * 8 + 2 * i + c % 2] = zero ? 0x80 : static_cast<Zel8u>(pixel + channels[c]);
        }
      }
    }
    return pattern;
  }();
  const hn::Repartition<Zel64u, D> d64;
  const auto half = [&](int load) {
    const auto bytes = loadBlocks<16 * kBytes>(d, p + load * kSecond);
    return hn::BitCast(d64, hn::TableLookupBytesOr0(bytes, hn::LoadDup128(d, kPattern.at[load])));
  };
  const auto a = half(0), b = half(1);
  return {hn::BitCast(d, hn::InterleaveLower(d64, a, b)), hn::BitCast(d, hn::InterleaveUpper(d64, a, b))};
}

// The eight lower or upper bytes of each block, each with the byte of b behind it.
template <int kHalf, class V>
HWY_INLINE V pairsOf(V a, V b) {
  const hn::DFromV<V> d;
  if constexpr (kHalf == 0) {
    return hn::InterleaveLower(d, a, b);
  } else {
    return hn::InterleaveUpper(d, a, b);
  }
}

// Three vectors of bytes as pixels of three interleaved bytes. The pattern of a block's 48 bytes repeats after three:
// one shuffle brings a channel's 16 bytes to their place within any of the three blocks that hold them.
template <class D, class V = hn::VFromD<D>>
HWY_INLINE void storeInterleaved3(D d, V first, V second, V third, Zel8u* p) {
  struct Tables {
    alignas(16) Zel8u place[3][16], mask[3][16];
  };
  static constexpr Tables kTables = [] {
    Tables t{};
    for (int channel = 0; channel < 3; ++channel) {
      for (int pixel = 0; pixel < 16; ++pixel) {
        t.place[channel][(3 * pixel + channel) % 16] = static_cast<Zel8u>(pixel);
        t.mask[channel][pixel] = pixel % 3 == channel ? 0xFF : 0;
      }
    }
    return t;
  }();
  const V c0 = hn::TableLookupBytes(first, hn::LoadDup128(d, kTables.place[0]));
  const V c1 = hn::TableLookupBytes(second, hn::LoadDup128(d, kTables.place[1]));
  const V c2 = hn::TableLookupBytes(third, hn::LoadDup128(d, kTables.place[2]));
  // Byte i of the whole belongs to channel i % 3, and 16 % 3 is 1.
  const V m0 = hn::LoadDup128(d, kTables.mask[0]), m1 = hn::LoadDup128(d, kTables.mask[1]);
  const V m2 = hn::LoadDup128(d, kTables.mask[2]);
  storeBlocks<48>(d, hn::IfVecThenElse(m0, c0, hn::IfVecThenElse(m1, c1, c2)), p);
  storeBlocks<48>(d, hn::IfVecThenElse(m2, c0, hn::IfVecThenElse(m0, c1, c2)), p + 16);
  storeBlocks<48>(d, hn::IfVecThenElse(m1, c0, hn::IfVecThenElse(m2, c1, c2)), p + 32);
}

// Four vectors of bytes as pixels of four interleaved bytes.
template <class D, class V = hn::VFromD<D>>
HWY_INLINE void storeInterleaved4(D d, V first, V second, V third, V fourth, Zel8u* p) {
  const hn::Repartition<Zel16u, D> d16;
  const auto store = [&](V pairs, V morePairs, int offset) {
    const auto a = hn::BitCast(d16, pairs), b = hn::BitCast(d16, morePairs);
    storeBlocks<64>(d, hn::BitCast(d, hn::InterleaveLower(d16, a, b)), p + offset);
    storeBlocks<64>(d, hn::BitCast(d, hn::InterleaveUpper(d16, a, b)), p + offset + 16);
  };
  store(hn::InterleaveLower(d, first, second), hn::InterleaveLower(d, third, fourth), 0);
  store(hn::InterleaveUpper(d, first, second), hn::InterleaveUpper(d, third, fourth), 32);
}

} // namespace zelj
