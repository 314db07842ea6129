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

// What stands behind B in its pair: 0, 1 (for kMaskedLookup), the fourth byte of the pixel, or G once more.
enum class Beside { zero, one, fourth, green };

// Four pixels of each block as pairs (R, G), then (B, kBeside); byte kFirst + kBytes * i of a block begins its pixel i.
template <int kBytes, int kFirst, Order kOrder, Beside kBeside = Beside::zero, class D, class V = hn::VFromD<D>>
HWY_INLINE auto pairsOfFour(D d, V bytes) {
  alignas(16) static constexpr std::array<Zel8u, 16> kFrom = [] {
    std::array<Zel8u, 16> from{};
    constexpr int kChannels[4] = {kOrder == Order::rgb ? 0 : 2, 1, kOrder == Order::rgb ? 2 : 0,
                                  kBeside == Beside::green ? 1 : 3};
    constexpr bool kEmpty = kBeside == Beside::zero || kBeside == Beside::one;
    for (int pixel = 0; pixel < 4; ++pixel) {
      for (int c = 0; c < 4; ++c) {
        const int at = kFirst + kBytes * pixel + kChannels[c];
        from[static_cast<size_t>(c / 2 * 8 + 2 * pixel + c % 2)] = static_cast<Zel8u>(c == 3 && kEmpty ? 0x80 : at);
      }
    }
    return from;
  }();
  const V from = hn::LoadDup128(d, kFrom.data());
  const V pairs =
      kBeside == Beside::one ? lookupBytesOver(setPairs<0, 1>(d), bytes, from) : hn::TableLookupBytesOr0(bytes, from);
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

// Eight pixels of three or four bytes to a block as pairs (R, G) and (B, kBeside): load(i) loads blocks that begin at
// byte i of their pixels. Of three bytes the second load ends with pixel 7, so that no byte behind it is read.
template <Order kOrder, int kBytes, Beside kBeside, class D, class Load>
HWY_INLINE Pairs<hn::VFromD<D>> pairsOfEight(D d, Load load) {
  constexpr int kSecond = kBytes == 3 ? 8 : 16, kFifth = 4 * kBytes - kSecond;
  return joinPairs(d, pairsOfFour<kBytes, 0, kOrder, kBeside>(d, load(0)),
                   pairsOfFour<kBytes, kFifth, kOrder, kBeside>(d, load(kSecond)));
}

// Half a vector's pixels from p on, the first eight of every 16.
template <Order kOrder, int kBytes, Beside kBeside, class D>
HWY_INLINE Pairs<hn::VFromD<D>> pairsInOrder(D d, const Zel8u* p) {
  return pairsOfEight<kOrder, kBytes, kBeside>(d, [=](int i) { return loadBlocks<16 * kBytes>(d, p + i); });
}

// The same of three bytes as (R, G) and (B, 1).
template <Order kOrder, class D>
HWY_INLINE Pairs<hn::VFromD<D>> pairsOfThreeBytes(D d, const Zel8u* p) {
  constexpr Beside kBeside = kMaskedLookup ? Beside::one : Beside::zero;
  const auto pairs = pairsInOrder<kOrder, 3, kBeside>(d, p);
  return kMaskedLookup ? pairs : withOne(pairs);
}

// Half a vector's pixels of four bytes from p on, (R, G) and (B, kBeside), in an order for gather<Zel32u>.
template <Order kOrder, Beside kBeside = Beside::zero, class D>
HWY_INLINE Pairs<hn::VFromD<D>> pairsOfFourBytes(D d, const Zel8u* p) {
  return joinPairs(d, pairsOfFour<4, 0, kOrder, kBeside>(d, hn::LoadU(d, p)),
                   pairsOfFour<4, 0, kOrder, kBeside>(d, hn::LoadU(d, p + hn::MaxLanes(d))));
}

// A vector's 16-bit pixels as pairs (R, G) and (B, 0). The low field holds 5 bits, the middle one kGreenBits and the
// high one 5; each is widened with zero bits.
template <Order kOrder, int kGreenBits, class D, class V = hn::VFromD<D>>
HWY_INLINE Pairs<V> unpackPairs(D d, V pixels) {
  const hn::Repartition<Zel16u, D> d16;
  const auto v = hn::BitCast(d16, pixels);
  const auto low = hn::And(hn::ShiftLeft<3>(v), hn::Set(d16, 0xF8));
  const auto high = hn::And(hn::ShiftRight<kGreenBits + 2>(v), hn::Set(d16, 0xF8));
  // Green as the second byte of its pair.
  const auto green = hn::And(hn::ShiftLeft<11 - kGreenBits>(v), hn::Set(d16, kGreenBits == 6 ? 0xFC00 : 0xF800));
  const auto r = kOrder == Order::rgb ? low : high, b = kOrder == Order::rgb ? high : low;
  return {hn::BitCast(d, hn::Or(r, green)), hn::BitCast(d, b)};
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

template <class V>
struct Rgb {
  V r, g, b;
};

template <class V16>
HWY_INLINE Rgb<Halves<V16>> joinHalves(Rgb<V16> lower, Rgb<V16> upper) {
  return {{lower.r, upper.r}, {lower.g, upper.g}, {lower.b, upper.b}};
}

// What eight pairs of pixels to a block share, once for each pixel.
template <class V16>
HWY_INLINE Halves<Rgb<V16>> twice(Rgb<V16> p) {
  const hn::DFromV<V16> d;
  return {{hn::InterleaveLower(d, p.r, p.r), hn::InterleaveLower(d, p.g, p.g), hn::InterleaveLower(d, p.b, p.b)},
          {hn::InterleaveUpper(d, p.r, p.r), hn::InterleaveUpper(d, p.g, p.g), hn::InterleaveUpper(d, p.b, p.b)}};
}

// The bytes of samples that may leave 0..255.
template <class V16>
HWY_INLINE auto limited(Rgb<Halves<V16>> p) {
  return Rgb<decltype(narrowUnsigned(p.r))>{narrowUnsigned(p.r), narrowUnsigned(p.g), narrowUnsigned(p.b)};
}

// C, M, Y of R, G, B.
template <class V>
HWY_INLINE Rgb<V> complement(Rgb<V> p) {
  return {hn::Not(p.r), hn::Not(p.g), hn::Not(p.b)};
}

// R, G, B in the order of the pixel's bytes.
template <Order kOrder, class V>
HWY_INLINE Rgb<V> inOrderOf(Rgb<V> p) {
  if constexpr (kOrder == Order::rgb) { // a conditional expression would keep the vectors in memory
    return p;
  } else {
    return {p.b, p.g, p.r};
  }
}

// The pixels of a block in three vectors: 48 bytes of three, block by block.
template <class V>
struct Triple {
  V first, second, third;
};

// Three channels, limited to bytes, as pixels of three interleaved bytes.
template <class D, class V16, class V = hn::VFromD<D>>
HWY_INLINE Triple<V> interleave3(D d, Rgb<Halves<V16>> p) {
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
  const auto lower = narrowUnsigned(p.r.lower, p.g.lower), upper = narrowUnsigned(p.r.upper, p.g.upper);
  const auto placed = hn::TableLookupBytes(narrowUnsigned(p.b), table(kFrom.third));
  const auto middle = lookupBytesOver(placed, lower, table(kFrom.others[3]));
  return {lookupBytesOver(placed, lower, table(kFrom.others[0])),
          lookupBytesOver(middle, upper, table(kFrom.others[1])),
          lookupBytesOver(placed, upper, table(kFrom.others[2]))};
}
template <class D, class V16>
HWY_INLINE void storeInterleaved3(D d, Rgb<Halves<V16>> channels, Zel8u* p) {
  const auto pixels = interleave3(d, channels);
  storeBlocksInTurn(d, pixels.first, pixels.second, pixels.third, p);
}

// Four channels as pixels of four interleaved bytes: store(v, i) gets the i-th four pixels of each block.
template <class D, class Store, class V = hn::VFromD<D>>
HWY_INLINE void interleave4(D d, Rgb<V> p, V fourth, Store store) {
  const hn::Repartition<Zel16u, D> d16;
  const auto both = [=](V pairs, V morePairs, int i) {
    const auto a = hn::BitCast(d16, pairs), b = hn::BitCast(d16, morePairs);
    store(hn::BitCast(d, hn::InterleaveLower(d16, a, b)), i);
    store(hn::BitCast(d, hn::InterleaveUpper(d16, a, b)), i + 1);
  };
  both(hn::InterleaveLower(d, p.r, p.g), hn::InterleaveLower(d, p.b, fourth), 0);
  both(hn::InterleaveUpper(d, p.r, p.g), hn::InterleaveUpper(d, p.b, fourth), 2);
}
// Channels in the order of spread<Zel32u>, so that pixels are in order.
template <class D, class V = hn::VFromD<D>>
HWY_INLINE void storeInterleaved4(D d, Rgb<V> channels, V fourth, Zel8u* p) {
  interleave4(d, channels, fourth, [=](V v, int i) { hn::StoreU(v, d, p + static_cast<size_t>(i) * hn::MaxLanes(d)); });
}

// Bytes as pixels of 16 bits: a low field of 5 bits, green in kGreenBits and a high field of 5. store(v, i) gets the
// i-th eight pixels of each block.
template <Order kOrder, int kGreenBits, class D, class Store, class V = hn::VFromD<D>>
HWY_INLINE void pack(D d, Rgb<V> p, Store store) {
  const hn::Repartition<Zel16u, D> d16;
  const auto bits = [=](V v, Zel8u mask) { return hn::And(v, hn::Set(d, mask)); };
  const V lowChannel = kOrder == Order::rgb ? p.r : p.b, highChannel = kOrder == Order::rgb ? p.b : p.r;
  const V low = bits(hn::BitCast(d, hn::ShiftRight<3>(hn::BitCast(d16, lowChannel))), 0x1F);
  const V green = bits(p.g, kGreenBits == 6 ? 0xFC : 0xF8);
  const V high = bits(hn::BitCast(d, hn::ShiftRight<6 - kGreenBits>(hn::BitCast(d16, highChannel))),
                      kGreenBits == 6 ? 0xF8 : 0x7C);
  const auto half = [=](V lowAndHigh, V greenAnd0, int i) {
    const auto middle = hn::ShiftLeft<kGreenBits - 3>(hn::BitCast(d16, greenAnd0));
    store(hn::BitCast(d, hn::Or(hn::BitCast(d16, lowAndHigh), middle)), i);
  };
  half(pairsOf<0>(low, high), pairsOf<0>(green, hn::Zero(d)), 0);
  half(pairsOf<1>(low, high), pairsOf<1>(green, hn::Zero(d)), 1);
}

} // namespace zelj
