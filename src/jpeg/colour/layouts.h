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

// Four pixels of each block as pairs (R, G), then (B, fourth); byte kFirst + kBytes * i of a block begins its pixel i.
// Without kFourth the fourth is 0; with three bytes it is the 1 of withOne already where that takes no operation more.
template <int kBytes, int kFirst, Order kOrder, bool kFourth = false, class D, class V = hn::VFromD<D>>
HWY_INLINE auto pairsOfFour(D d, V bytes) {
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
  const V from = hn::LoadDup128(d, kFrom.data());
  const V pairs = kBytes == 3 && kMaskedLookup ? lookupBytesOver(setPairs<0, 1>(d), bytes, from)
                                               : hn::TableLookupBytesOr0(bytes, from);
  return hn::BitCast(hn::Repartition<Zel64u, D>(), pairs);
}

template <class D, class V64>
HWY_INLINE Pairs<hn::VFromD<D>> joinPairs(D d, V64 a, V64 b) {
  const hn::Repartition<Zel64u, D> d64;
  return {hn::BitCast(d, hn::InterleaveLower(d64, a, b)), hn::BitCast(d, hn::InterleaveUpper(d64, a, b))};
}

// Pairs (R, G) and (B, 1) of (R, G) and (B, 0).
template <class V>
HWY_INLINE Pairs<V> withOne(Pairs<V> rgb0) {
  return {rgb0.first, hn::Or(rgb0.second, setPairs<0, 1>(hn::DFromV<V>()))};
}

// Half a vector's pixels of three bytes from p on, (R, G) and (B, 1) of the first eight of every 16.
template <Order kOrder, class D>
HWY_INLINE Pairs<hn::VFromD<D>> pairsOfThreeBytes(D d, const Zel8u* p) {
  // Pixels 0..3 of the first load; the second ends with pixel 7, so that no byte behind it is read.
  const auto pairs = joinPairs(d, pairsOfFour<3, 0, kOrder>(d, loadBlocks<48>(d, p)),
                               pairsOfFour<3, 4, kOrder>(d, loadBlocks<48>(d, p + 8)));
  return kMaskedLookup ? pairs : withOne(pairs);
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

// A vector's samples in 16 bits, unlimited: the lower and the upper eight of each block.
template <class V16>
struct Halves {
  V16 lower, upper;
};

template <class V16>
HWY_INLINE auto narrowUnsigned(Halves<V16> v) {
  return narrowUnsigned(v.lower, v.upper);
}

// Three channels as pixels of three interleaved bytes, limited to bytes.
template <class D, class V16>
HWY_INLINE void storeInterleaved3(D d, Halves<V16> first, Halves<V16> second, Halves<V16> third, Zel8u* p) {
  // A block's pixels are 48 bytes, byte n of channel n % 3. The third channel's have places of their own modulo 16;
  // over them come the other two, eight of each to a vector: 0 and 3 of the tables pick from the lower one for the
  // first and second 16 bytes, 1 and 2 from the upper one for the second and third.
  struct Tables {
    alignas(16) Zel8u third[16], others[4][16];
  };
  static constexpr Tables kFrom = [] {
    Tables t{};
    for (auto& table : t.others) {
      for (Zel8u& from : table) from = 0x80;
    }
    for (int n = 0; n < 48; ++n) {
      const int channel = n % 3, pixel = n / 3, table = n < 16 ? 0 : n >= 32 ? 2 : pixel < 8 ? 3 : 1;
      if (channel == 2) {
        t.third[n % 16] = static_cast<Zel8u>(pixel);
      } else {
        t.others[table][n % 16] = static_cast<Zel8u>(8 * channel + pixel % 8);
      }
    }
    return t;
  }();
  const auto table = [=](const Zel8u* from) { return hn::LoadDup128(d, from); };
  const auto lower = narrowUnsigned(first.lower, second.lower), upper = narrowUnsigned(first.upper, second.upper);
  const auto placed = hn::TableLookupBytes(narrowUnsigned(third), table(kFrom.third));
  const auto middle = lookupBytesOver(placed, lower, table(kFrom.others[3]));
  storeBlocksInTurn(d, lookupBytesOver(placed, lower, table(kFrom.others[0])),
                    lookupBytesOver(middle, upper, table(kFrom.others[1])),
                    lookupBytesOver(placed, upper, table(kFrom.others[2])), p);
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
