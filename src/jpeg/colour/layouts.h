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

// Four pixels of each block as (R, G) pairs, then (B, fourth) pairs; in block i of a vector kFirst + kBytes * p of the
// block is the first byte of its pixel p. 0 stands for the fourth byte but with kFourth.
template <int kBytes, int kFirst, Order kOrder, bool kFourth = false, class D>
HWY_INLINE auto pairsOfFour(D d, hn::VFromD<D> bytes) {
  alignas(16) static constexpr std::array<Zel8u, 16> kFrom = [] {
    std::array<Zel8u, 16> from{};
    constexpr int kChannels[4] = {kOrder == Order::rgb ? 0 : 2, 1, kOrder == Order::rgb ? 2 : 0, 3};
    for (int pixel = 0; pixel < 4; ++pixel) {
      for (int c = 0; c < 4; ++c) {
        const int at = kFirst + kBytes * pixel + kChannels[c];
        from[static_cast<size_t>(c / 2 * 8 + 2 * pixel + c % 2)] = static_cast<Zel8u>(c < 3 || kFourth ? at : 0x80);
      }
    }
    return from;
  }();
  return hn::BitCast(hn::Repartition<Zel64u, D>(), hn::TableLookupBytesOr0(bytes, hn::LoadDup128(d, kFrom.data())));
}

template <class D, class V64>
HWY_INLINE Pairs<hn::VFromD<D>> joinPairs(D d, V64 a, V64 b) {
  const hn::Repartition<Zel64u, D> d64;
  return {hn::BitCast(d, hn::InterleaveLower(d64, a, b)), hn::BitCast(d, hn::InterleaveUpper(d64, a, b))};
}

// Half a vector's pixels of three bytes from p on, (R, G) and (B, 0) of the first eight of every 16.
template <Order kOrder, class D>
HWY_INLINE Pairs<hn::VFromD<D>> pairsOfThreeBytes(D d, const Zel8u* p) {
  // Pixels 0..3 of the first load; the second ends with pixel 7, so that no byte behind it is read.
  return joinPairs(d, pairsOfFour<3, 0, kOrder>(d, loadBlocks<48>(d, p)),
                   pairsOfFour<3, 4, kOrder>(d, loadBlocks<48>(d, p + 8)));
}

// Half a vector's pixels of four bytes from p on, (R, G) and (B, fourth or 0), in an order for gather<Zel32u>.
template <Order kOrder, bool kFourth = false, class D>
HWY_INLINE Pairs<hn::VFromD<D>> pairsOfFourBytes(D d, const Zel8u* p) {
  return joinPairs(d, pairsOfFour<4, 0, kOrder, kFourth>(d, hn::LoadU(d, p)),
                   pairsOfFour<4, 0, kOrder, kFourth>(d, hn::LoadU(d, p + hn::MaxLanes(d))));
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

// Four vectors of bytes in the order of spread<Zel32u> as pixels of four interleaved bytes.
template <class D, class V = hn::VFromD<D>>
HWY_INLINE void storeInterleaved4(D d, V first, V second, V third, V fourth, Zel8u* p) {
  const hn::Repartition<Zel16u, D> d16;
  const auto store = [=](V pairs, V morePairs, Zel8u* to) {
    const auto a = hn::BitCast(d16, pairs), b = hn::BitCast(d16, morePairs);
    hn::StoreU(hn::BitCast(d, hn::InterleaveLower(d16, a, b)), d, to);
    hn::StoreU(hn::BitCast(d, hn::InterleaveUpper(d16, a, b)), d, to + hn::MaxLanes(d));
  };
  store(hn::InterleaveLower(d, first, second), hn::InterleaveLower(d, third, fourth), p);
  store(hn::InterleaveUpper(d, first, second), hn::InterleaveUpper(d, third, fourth), p + 2 * hn::MaxLanes(d));
}

} // namespace zelj
