// Rows of 8x8 blocks of 16-bit values in 256 bits at a time, in the two shapes between which block transforms go:
//
// - Blocks: two independent 128-bit blocks. Work along rows sees a block as two half rows, and there are two blocks.
// - Pair: two whole rows, `low` and `high`. Work down columns handles two rows at once; what pairs them differs by
//   level: below 256-bit registers a pair is two registers, on AVX2 and up the dwords of one register alternate between
//   the rows (low, high, low, high), so that no exchange between them crosses a 128-bit border.
//
// Columns stand in the order 0 1 2 3 7 6 5 4 throughout, so that each faces its mirror image four places on.
#pragma once

#include "simd/block_ops.h"
#include "simd/simd.h"

namespace zelj {

constexpr bool kOneRegister = HWY_LANES(Zel8u) >= 32;

template <class T>
using WideTag = hn::CappedTag<T, 32 / sizeof(T)>;
template <class T>
using WideVec = hn::Vec<WideTag<T>>;

// 256 bits of T: one vector, or two of 128 bits.
template <class T>
struct Wide {
  WideVec<T> v[kOneRegister ? 1 : 2];
};
using Wide16 = Wide<Zel16s>;

// f of all vectors of the operands.
template <class F, class First, class... W>
HWY_INLINE auto each(F f, First first, W... w) {
  using T = hn::TFromV<decltype(f(first.v[0], w.v[0]...))>;
  if constexpr (kOneRegister) {
    return Wide<T>{{f(first.v[0], w.v[0]...)}};
  } else {
    return Wide<T>{{f(first.v[0], w.v[0]...), f(first.v[1], w.v[1]...)}};
  }
}

template <class T>
HWY_INLINE Wide<T> loadWide(const T* p) {
  constexpr WideTag<T> d;
  if constexpr (kOneRegister) {
    return {{hn::LoadU(d, p)}};
  } else {
    return {{hn::LoadU(d, p), hn::LoadU(d, p + hn::Lanes(d))}};
  }
}

// 16 bytes at each of two places.
template <class T>
HWY_INLINE Wide<T> loadBlocks(const T* p0, const T* p1) {
  if constexpr (kOneRegister) {
    constexpr WideTag<T> d;
    constexpr hn::Half<decltype(d)> half;
    return {{hn::Combine(d, hn::LoadU(half, p1), hn::LoadU(half, p0))}};
  } else {
    constexpr WideTag<T> d;
    return {{hn::LoadU(d, p0), hn::LoadU(d, p1)}};
  }
}

template <class T>
HWY_INLINE void storeWide(Wide<T> x, T* p) {
  constexpr WideTag<T> d;
  hn::StoreU(x.v[0], d, p);
  if constexpr (!kOneRegister) hn::StoreU(x.v[1], d, p + hn::Lanes(d));
}

template <class T>
HWY_INLINE Wide<T> filledWide(T value) {
  const auto v = hn::Set(WideTag<T>(), value);
  if constexpr (kOneRegister) {
    return {{v}};
  } else {
    return {{v, v}};
  }
}

// Bytes i of each 128-bit block by the index bytes of the same block.
template <class T>
HWY_INLINE Wide<T> bytesByIndex(Wide<T> x, const Zel8u (&index)[32]) {
  constexpr WideTag<Zel8u> d8;
  return each([=](auto v, auto i) { return hn::BitCast(WideTag<T>(), hn::TableLookupBytes(hn::BitCast(d8, v), i)); }, x,
              loadWide(index));
}

HWY_INLINE Wide16 plus(Wide16 a, Wide16 b) {
  return each([](auto x, auto y) { return hn::Add(x, y); }, a, b);
}
HWY_INLINE Wide16 minus(Wide16 a, Wide16 b) {
  return each([](auto x, auto y) { return hn::Sub(x, y); }, a, b);
}
HWY_INLINE Wide16 plusSaturated(Wide16 a, Wide16 b) {
  return each([](auto x, auto y) { return hn::SaturatedAdd(x, y); }, a, b);
}
HWY_INLINE Wide16 minusSaturated(Wide16 a, Wide16 b) {
  return each([](auto x, auto y) { return hn::SaturatedSub(x, y); }, a, b);
}
HWY_INLINE Wide16 bitwiseOr(Wide16 a, Wide16 b) {
  return each([](auto x, auto y) { return hn::Or(x, y); }, a, b);
}
// High half of the product with a constant.
HWY_INLINE Wide16 timesHigh(Wide16 a, Zel16s c) {
  return each([](auto x, auto y) { return hn::MulHigh(x, y); }, a, filledWide(c));
}

struct TwoPairs {
  Wide16 first, second;
};

// Two pairs as half rows: block i of `left` holds columns 0 1 2 3 of pair i, its dwords alternating between the rows, and
// `right` columns 7 6 5 4.
struct Halves {
  Wide16 left, right;
};

// The shapes of a pair:
//   pairOf(low, high)        a constant for each row
//   swapped(x)               rows exchanged
//   joined(low, high)        the low row of one pair with the high row of another
//   halvesOf(p), pairsOf(h)  from pairs to blocks and back
//   pairOfRows(x)            from two rows one after the other, columns in natural order
//   rowsOfPair(x)            and back
//   pairOfMirroredRows(x)    from two rows whose columns stand 0 1 2 3 7 6 5 4
//   bytePairs(x)             from two rows of bytes in each block: byte by byte in turn, the same in both rows of a pair
//   bytesOfPairs(a, b)       the four rows of a and b, saturated to signed bytes, columns in natural order

#if HWY_ARCH_X86 && HWY_TARGET <= HWY_AVX2

HWY_INLINE Wide16 pairOf(Zel16s low, Zel16s high) {
  const auto twice = [](Zel16s x) { return static_cast<Zel16u>(x) * Zel64u{0x10001}; };
  return {{hn::BitCast(WideTag<Zel16s>(), hn::Set(WideTag<Zel64u>(), twice(low) | twice(high) << 32))}};
}

HWY_INLINE Wide16 swapped(Wide16 x) {
  return {{hn::BitCast(WideTag<Zel16s>(), hn::Shuffle2301(hn::BitCast(WideTag<Zel32s>(), x.v[0])))}};
}

template <class T>
HWY_INLINE Wide<T> joined(Wide<T> low, Wide<T> high) {
  constexpr WideTag<Zel32s> d32;
  return {{hn::BitCast(WideTag<T>(), hn::OddEven(hn::BitCast(d32, high.v[0]), hn::BitCast(d32, low.v[0])))}};
}

HWY_INLINE Halves halvesOf(TwoPairs p) {
  constexpr WideTag<Zel16s> d;
  return {{{hn::ConcatLowerLower(d, p.second.v[0], p.first.v[0])}},
          {{hn::ConcatUpperUpper(d, p.second.v[0], p.first.v[0])}}};
}

HWY_INLINE TwoPairs pairsOf(Halves h) {
  const Halves same = halvesOf({h.left, h.right}); // exchanging inner blocks is its own inverse
  return {same.left, same.right};
}

template <class T>
HWY_INLINE Wide<T> dwordsByIndex(Wide<T> x, const Zel32s (&index)[8]) {
  constexpr WideTag<Zel32s> d32;
  const auto i = hn::SetTableIndices(d32, index);
  return {{hn::BitCast(WideTag<T>(), hn::TableLookupLanes(hn::BitCast(d32, x.v[0]), i))}};
}

alignas(32) constexpr Zel8u kMirrorRight[32] = {0, 1, 2, 3, 4, 5, 6, 7, 8,  9,  10, 11, 12, 13, 14, 15,
                                                2, 3, 0, 1, 6, 7, 4, 5, 10, 11, 8,  9,  14, 15, 12, 13};

HWY_INLINE Wide16 pairOfRows(Wide16 x) {
  return bytesByIndex(dwordsByIndex(x, {0, 4, 1, 5, 3, 7, 2, 6}), kMirrorRight);
}

HWY_INLINE Wide16 pairOfMirroredRows(Wide16 x) {
  return dwordsByIndex(x, {0, 4, 1, 5, 2, 6, 3, 7});
}

HWY_INLINE Wide16 rowsOfPair(Wide16 x) {
  return dwordsByIndex(bytesByIndex(x, kMirrorRight), {0, 2, 6, 4, 1, 3, 7, 5});
}

HWY_INLINE Wide<Zel8u> bytePairs(Wide<Zel8u> x) {
  alignas(32) static constexpr Zel8u kOrder[32] = {0, 8,  1, 9,  0, 8,  1, 9,  2, 10, 3, 11, 2, 10, 3, 11,
                                                   7, 15, 6, 14, 7, 15, 6, 14, 5, 13, 4, 12, 5, 13, 4, 12};
  return bytesByIndex(x, kOrder);
}

HWY_INLINE Wide<Zel8s> bytesOfPairs(Wide16 a, Wide16 b) {
  alignas(32) static constexpr Zel8u kOrder[32] = {0, 1, 4, 5, 2, 3, 6, 7, 8,  9,  12, 13, 10, 11, 14, 15,
                                                   5, 4, 1, 0, 7, 6, 3, 2, 13, 12, 9,  8,  15, 14, 11, 10};
  return dwordsByIndex(bytesByIndex(Wide<Zel8s>{{packSigned(a.v[0], b.v[0])}}, kOrder), {0, 4, 1, 5, 2, 6, 3, 7});
}

#else

HWY_INLINE Wide16 pairOf(Zel16s low, Zel16s high) {
  constexpr WideTag<Zel16s> d;
  return {{hn::Set(d, low), hn::Set(d, high)}};
}

HWY_INLINE Wide16 swapped(Wide16 x) {
  return {{x.v[1], x.v[0]}};
}

template <class T>
HWY_INLINE Wide<T> joined(Wide<T> low, Wide<T> high) {
  return {{low.v[0], high.v[1]}};
}

HWY_INLINE Halves halvesOf(TwoPairs p) {
  constexpr WideTag<Zel16s> d;
  constexpr WideTag<Zel32s> d32;
  const auto lower = [=](Wide16 x) {
    return hn::BitCast(d, hn::InterleaveLower(d32, hn::BitCast(d32, x.v[0]), hn::BitCast(d32, x.v[1])));
  };
  const auto upper = [=](Wide16 x) {
    return hn::BitCast(d, hn::InterleaveUpper(d32, hn::BitCast(d32, x.v[0]), hn::BitCast(d32, x.v[1])));
  };
  return {{{lower(p.first), lower(p.second)}}, {{upper(p.first), upper(p.second)}}};
}

HWY_INLINE TwoPairs pairsOf(Halves h) {
  const auto rows = [&](int i) {
    return Wide16{{evenDwords(h.left.v[i], h.right.v[i]), oddDwords(h.left.v[i], h.right.v[i])}};
  };
  return {rows(0), rows(1)};
}

HWY_INLINE Wide16 pairOfRows(Wide16 x) {
  alignas(32) static constexpr Zel8u kMirror[32] = {0, 1, 2, 3, 4, 5, 6, 7, 14, 15, 12, 13, 10, 11, 8, 9,
                                                    0, 1, 2, 3, 4, 5, 6, 7, 14, 15, 12, 13, 10, 11, 8, 9};
  return bytesByIndex(x, kMirror);
}

HWY_INLINE Wide16 pairOfMirroredRows(Wide16 x) {
  return x;
}

HWY_INLINE Wide16 rowsOfPair(Wide16 x) {
  return pairOfRows(x);
}

HWY_INLINE Wide<Zel8u> bytePairs(Wide<Zel8u> x) {
  alignas(32) static constexpr Zel8u kOrder[32] = {0, 8, 1, 9, 2, 10, 3, 11, 7, 15, 6, 14, 5, 13, 4, 12,
                                                   0, 8, 1, 9, 2, 10, 3, 11, 7, 15, 6, 14, 5, 13, 4, 12};
  return bytesByIndex(x, kOrder);
}

HWY_INLINE Wide<Zel8s> bytesOfPairs(Wide16 a, Wide16 b) {
  alignas(32) static constexpr Zel8u kOrder[32] = {0, 1, 2, 3, 7, 6, 5, 4, 8, 9, 10, 11, 15, 14, 13, 12,
                                                   0, 1, 2, 3, 7, 6, 5, 4, 8, 9, 10, 11, 15, 14, 13, 12};
  return bytesByIndex(Wide<Zel8s>{{packSigned(a.v[0], a.v[1]), packSigned(b.v[0], b.v[1])}}, kOrder);
}

#endif

} // namespace zelj
