// The column transform of the inverse DCT, in the steps that its full, sparse and reduced forms share, and the way out of
// its rows as samples. Letters are those of the usual flow graph: rows as pairs, all sums saturating.
#pragma once

#include "frame/rows.h"
#include "jpeg/dct/dct_constants.h"
#include "simd/block_ops.h"
#include "simd/row_pairs.h"

namespace zelj {

// What each row adds before its shift by 11. Tuned values: that of row 0 is the half of the last shift, by 6.
constexpr Zel32s kRowRounding[8] = {65536, 2901, 2260, 1704, 1024, 455, 512, 373};

HWY_INLINE Wide16 dequantised(Wide16 c, Wide<Zel16u> q) {
  return each([](auto x, auto y) { return hn::Mul(x, hn::BitCast(WideTag<Zel16s>(), y)); }, c, q);
}

// Rows 2 i and 2 i + 1, dequantised, even columns in front of odd ones.
HWY_INLINE Wide16 dequantisedRows(const Zel16s* src, const Zel16u* table, int i) {
  alignas(32) static constexpr Zel8u kEvenOdd[32] = {0, 1, 4, 5, 8, 9, 12, 13, 2, 3, 6, 7, 10, 11, 14, 15,
                                                     0, 1, 4, 5, 8, 9, 12, 13, 2, 3, 6, 7, 10, 11, 14, 15};
  return bytesByIndex(dequantised(loadWide(src + 16 * i), loadWide(table + 16 * i)), kEvenOdd);
}

// Blocks of the even and of the odd columns of a row of each operand.
struct EvenOdd {
  Wide16 even, odd;
};
HWY_INLINE EvenOdd evenAndOddColumns(Wide16 rows0, Wide16 rows1) {
  constexpr WideTag<Zel64s> d64;
  constexpr WideTag<Zel16s> d;
  return {each(
              [=](auto a, auto b) {
                return hn::BitCast(d, hn::InterleaveLower(d64, hn::BitCast(d64, a), hn::BitCast(d64, b)));
              },
              rows0, rows1),
          each(
              [=](auto a, auto b) {
                return hn::BitCast(d, hn::InterleaveUpper(d64, hn::BitCast(d64, a), hn::BitCast(d64, b)));
              },
              rows0, rows1)};
}

// Sums of four products: a row has two dwords of coefficients, k0 are the factors of each dword in its own place and k1
// those of its neighbour.
HWY_INLINE Wide<Zel32s> pairProducts(Wide16 x, const Zel16s (&k0)[16], const Zel16s (&k1)[16]) {
  return each(
      [](auto v, auto f0, auto f1) {
        constexpr WideTag<Zel32s> d32;
        const auto swap = hn::BitCast(WideTag<Zel16s>(), hn::Shuffle2301(hn::BitCast(d32, v)));
        return hn::Add(multiplyAddPairs(v, f0), multiplyAddPairs(swap, f1));
      },
      x, loadWide(k0), loadWide(k1));
}

// Descales the sums of the row transform.
HWY_INLINE Wide16 packedRows(Wide<Zel32s> a, Wide<Zel32s> b) {
  return each(
      [](auto x, auto y) {
        return hn::ReorderDemote2To(WideTag<Zel16s>(), hn::ShiftRight<11>(x), hn::ShiftRight<11>(y));
      },
      a, b);
}

// Sum of the low rows, difference of the high ones.
HWY_INLINE Wide16 sumDifference(Wide16 a, Wide16 b) {
  return joined(plusSaturated(a, b), minusSaturated(a, b));
}

// x times 1 + c: the product with c comes from its high half, the sum stays below x.
HWY_INLINE Wide16 timesOnePlus(Wide16 x, Zel16s c) {
  return plus(timesHigh(x, c), x);
}

// Of rows 1, 7 and 3, 5: the sums b0 and U, the differences T and V.
struct OddPart {
  Wide16 b0u, tv;
};

HWY_INLINE OddPart oddPart(Wide16 r17, Wide16 r35) {
  const Wide16 pq = sumDifference(timesHigh(swapped(r17), kTan1), r17);
  const Wide16 mn = sumDifference(r35, swapped(timesOnePlus(r35, kTan3Less1)));
  return {plusSaturated(pq, mn), minusSaturated(pq, mn)};
}

// (T - V) cos(pi / 4) | (T + V) cos(pi / 4)
HWY_INLINE Wide16 rotated45(Wide16 tv) {
  const Wide16 vt = swapped(tv);
  return timesOnePlus(joined(minusSaturated(tv, vt), plusSaturated(tv, vt)), kCos4Less1);
}

// Of rows 2 and 6: E0 | E1.
HWY_INLINE Wide16 evenPart(Wide16 r26) {
  return sumDifference(timesHigh(swapped(r26), kTan2), r26);
}

// Finished rows.
struct Rows {
  Wide16 r01, r32, r45, r76;
};

HWY_INLINE Wide16 descaled(Wide16 x) {
  return each([](auto v) { return hn::ShiftRight<6>(v); }, x);
}

HWY_INLINE Rows outputRows(Wide16 a01, Wide16 a32, Wide16 b0z2, Wide16 uw2) {
  return {descaled(plusSaturated(a01, b0z2)), descaled(plusSaturated(a32, uw2)), descaled(minusSaturated(a32, uw2)),
          descaled(minusSaturated(a01, b0z2))};
}

// Four rows of samples, those of a and then those of b.
struct FourRows {
  alignas(32) Zel64u rows[4];
};
HWY_INLINE FourRows levelledBytes(Wide16 a, Wide16 b) {
  constexpr WideTag<Zel8u> d;
  const auto levelled = [=](auto v) { return hn::Xor(hn::BitCast(d, v), hn::Set(d, 128)); };
  FourRows result;
  storeWide(each(levelled, bytesOfPairs(a, b)), reinterpret_cast<Zel8u*>(result.rows));
  return result;
}

HWY_INLINE void storeSamples(Rows x, Zel8u* dst, int step) {
  const FourRows upper = levelledBytes(x.r01, x.r32), lower = levelledBytes(x.r45, x.r76);
  constexpr int kOrder[4] = {0, 1, 3, 2};
  for (int i = 0; i < 4; ++i) {
    hwy::CopyBytes<8>(&upper.rows[i], row(dst, step, kOrder[i]));
    hwy::CopyBytes<8>(&lower.rows[i], row(dst, step, 4 + kOrder[i]));
  }
}

} // namespace zelj
