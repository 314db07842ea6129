// Forward DCT with quantisation in 16-bit fixed point: down the columns on two rows at a time, then along the rows by
// sums of products, with the rounding quotient behind it, all in registers.
#include "frame/checks.h"
#include "frame/implementations.h"
#include "frame/rows.h"
#include "jpeg/dct/dct_constants.h"
#include "simd/block_ops.h"
#include "simd/row_pairs.h"

namespace zelj {
namespace {

// Additions of the column transform: those of 8-bit samples fit 16 bits (the largest value is 8 * 8 * 255), those of any
// 16-bit input saturate.
struct Fitting {
  static Wide16 add(Wide16 a, Wide16 b) { return plus(a, b); }
  static Wide16 sub(Wide16 a, Wide16 b) { return minus(a, b); }
};
struct Saturating {
  static Wide16 add(Wide16 a, Wide16 b) { return plusSaturated(a, b); }
  static Wide16 sub(Wide16 a, Wide16 b) { return minusSaturated(a, b); }
};

// What the column transform begins with, as pairs of rows; si j and di j are sum and difference of rows i and j.
struct Butterflies {
  Wide16 sums07and34;        // 8 (s07 + s34) | 8 (s07 - s34)
  Wide16 sums16and25;        // 8 (s16 + s25) | 8 (s16 - s25)
  Wide16 differences07and34; // 8 d07 | 8 d34
  Wide16 differences16and25; // 16 (d16 + d25) | 16 (d16 - d25)
};

// y[i] holds rows 2 i and 2 i + 2 for even i, and 2 i - 1 and 2 i + 1 for odd i: rows 0|2, 1|3, 4|6, 5|7.
struct Columns {
  Wide16 y02, y13, y46, y57;
};

template <class Sum>
HWY_INLINE Columns transformColumns(Butterflies x) {
  Columns r;
  const Wide16 ab = x.sums07and34, cd = x.sums16and25;
  r.y02 = bitwiseOr(Sum::add(ab, joined(cd, timesHigh(cd, kTan2))), pairOf(0, 1));
  r.y46 = bitwiseOr(Sum::sub(joined(ab, timesHigh(ab, kTan2)), cd), pairOf(0, 1));
  const Wide16 ef = bitwiseOr(timesHigh(x.differences16and25, kCos4Half), pairOf(1, 0));
  const Wide16 gi = Sum::add(x.differences07and34, ef), hj = Sum::sub(x.differences07and34, ef);
  const Wide16 tan1 = timesHigh(swapped(gi), kTan1);
  const Wide16 tan3 = Sum::add(timesHigh(hj, kTan3Less1), hj), jh = swapped(hj);
  r.y13 = bitwiseOr(joined(Sum::add(tan1, gi), Sum::sub(jh, tan3)), pairOf(1, 0));
  r.y57 = joined(Sum::add(jh, tan3), Sum::sub(tan1, gi));
  return r;
}

// The factors of output j in a row for the inputs s0..s3 (even j) or d0..d3 (odd j), as two pairs.
struct Factors4 {
  Zel16s k[2][2];
};
constexpr Factors4 forwardFactors(RowFactors f, int j) {
  const auto neg = [](Zel16s x) { return static_cast<Zel16s>(-x); };
  switch (j) {
    case 0: return {{{f.A, f.A}, {f.A, f.A}}};
    case 1: return {{{f.B, f.C}, {f.D, f.E}}};
    case 2: return {{{f.F, f.G}, {neg(f.G), neg(f.F)}}};
    case 3: return {{{f.C, neg(f.E)}, {neg(f.B), neg(f.D)}}};
    case 4: return {{{f.A, neg(f.A)}, {neg(f.A), f.A}}};
    case 5: return {{{f.D, neg(f.B)}, {f.E, f.C}}};
    case 6: return {{{f.G, neg(f.F)}, {f.F, neg(f.G)}}};
    default: return {{{f.E, neg(f.D)}, {f.C, neg(f.B)}}};
  }
}

// Factors as the row transform multiplies them, [outputs j and j + 2, j = 0, 1, 4, 5][inputs as they stand, swapped].
// A 128-bit block works on two rows: dwords 0 and 1 give output j of the rows, 2 and 3 output j + 2.
struct RowTable {
  alignas(32) Zel16s k[4][2][16];
};
constexpr RowTable rowTable(int row0, int row1) { // of the first block; the second works on the rows one further
  RowTable t{};
  for (int i = 0; i < 4; ++i) {
    const int j = (i & 1) + 4 * (i >> 1);
    for (int swap = 0; swap < 2; ++swap) {
      for (int dword = 0; dword < 8; ++dword) {
        const int row = (dword % 2 ? row1 : row0) + dword / 4, upper = dword / 2 % 2;
        const Factors4 f = forwardFactors(kRowFactors[row], j + 2 * upper);
        for (int i2 = 0; i2 < 2; ++i2) t.k[i][swap][2 * dword + i2] = f.k[upper ^ swap][i2];
      }
    }
  }
  return t;
}
constexpr RowTable kUpperRows = rowTable(0, 2), kLowerRows = rowTable(4, 6);

// Four rows: the outputs before the shift by 20, without their low 16 bits.
template <class Sum>
HWY_INLINE void transformRows(TwoPairs y, const RowTable& table, Wide16 (&rows)[2]) {
  const Halves h = halvesOf(y);
  const Wide16 in[2] = {Sum::add(h.left, h.right), Sum::sub(h.left, h.right)};
  Wide16 out[2];
  const auto products = [&](int i) {
    const auto sum = [](auto x, auto k0, auto k1) {
      constexpr hn::DFromV<decltype(x)> d;
      constexpr hn::RepartitionToWide<decltype(d)> d32;
      const auto swap = hn::BitCast(d, hn::Shuffle1032(hn::BitCast(d32, x)));
      return hn::Add(multiplyAddPairs(x, k0), multiplyAddPairs(swap, k1));
    };
    return each(sum, in[i & 1], loadWide(table.k[i][0]), loadWide(table.k[i][1]));
  };
  for (int i = 0; i < 2; ++i) {
    const auto highHalves = [](auto even, auto odd) {
      constexpr WideTag<Zel16s> d;
      return hn::OddEven(hn::BitCast(d, odd), hn::BitCast(d, hn::ShiftRight<16>(even)));
    };
    out[i] = each(highHalves, products(2 * i), products(2 * i + 1));
  }
  rows[0] = each([](auto a, auto b) { return evenDwords(a, b); }, out[0], out[1]);
  rows[1] = each([](auto a, auto b) { return oddDwords(a, b); }, out[0], out[1]);
}

// c t / 32768 to the nearest integer, ties to even; |c| <= 2048, so nothing overflows. With u = t - 32768, which is
// signed, the quotient is c more than that of c u. A product just between two integers leaves 16384 modulo 32768.
HWY_INLINE Wide16 quantised(Wide16 c, Wide<Zel16u> table) {
  return each(
      [](auto x, auto t16) {
        constexpr WideTag<Zel16s> d;
        const auto t = hn::BitCast(d, t16);
        const auto halfUp = hn::Add(hn::MulFixedPoint15(x, hn::Xor(t, hn::Set(d, -32768))), x);
        const auto low = hn::Mul(x, t);
        const auto isTie = hn::VecFromMask(d, hn::Eq(hn::Add(low, low), hn::Set(d, -32768)));
        return hn::AndNot(hn::And(isTie, hn::Set(d, 1)), halfUp);
      },
      c, table);
}

template <class Sum>
HWY_INLINE void transformAndQuantise(Butterflies x, Zel16s levelShift, Zel16s* dst, const Zel16u* table) {
  Columns y = transformColumns<Sum>(x);
  if (levelShift) y.y02 = minus(y.y02, pairOf(levelShift, 0));
  Wide16 rows[4];
  Wide16 part[2];
  transformRows<Sum>({y.y02, y.y13}, kUpperRows, part);
  rows[0] = part[0];
  rows[1] = part[1];
  transformRows<Sum>({y.y46, y.y57}, kLowerRows, part);
  rows[2] = part[0];
  rows[3] = part[1];
  for (int i = 0; i < 4; ++i) {
    const Wide16 c = each([](auto w) { return hn::ShiftRight<4>(hn::Add(w, hn::Set(WideTag<Zel16s>(), 8))); }, rows[i]);
    storeWide(quantised(c, loadWide(table + 16 * i)), dst + 16 * i);
  }
}

// Rows a and b, byte by byte in turn, in both rows of a pair.
HWY_INLINE Wide<Zel8u> bytePairs(const Zel8u* a, const Zel8u* b) {
  const auto repeated = [](const Zel8u* p) {
    Zel64u bytes;
    hwy::CopyBytes<8>(p, &bytes);
    return filledWide(bytes);
  };
  const auto inTurn = [](auto x, auto y) { return hn::BitCast(WideTag<Zel8u>(), hn::OddEven(y, x)); };
  return bytePairs(each(inTurn, repeated(a), repeated(b)));
}

// even * lane 2 i + odd * lane 2 i + 1, with factors of their own for the two rows of the pair.
HWY_INLINE Wide16 weighted(Wide<Zel8u> x, int evenLow, int oddLow, int evenHigh, int oddHigh) {
  const auto both = [](int even, int odd) { return static_cast<Zel16s>((even & 255) | odd * 256); };
  const Wide16 factors = pairOf(both(evenLow, oddLow), both(evenHigh, oddHigh));
  return each([](auto v, auto k) { return multiplyAddBytePairs(v, hn::BitCast(WideTag<Zel8s>(), k)); }, x, factors);
}

HWY_INLINE Butterflies butterfliesOfSamples(const Zel8u* src, int step) {
  const auto rows = [=](int i) { return bytePairs(row(src, step, i), row(src, step, 7 - i)); };
  const Wide<Zel8u> r07 = rows(0), r16 = rows(1), r25 = rows(2), r34 = rows(3);
  return {plus(weighted(r07, 8, 8, 8, 8), weighted(r34, 8, 8, -8, -8)),
          plus(weighted(r16, 8, 8, 8, 8), weighted(r25, 8, 8, -8, -8)), weighted(joined(r07, r34), 8, -8, 8, -8),
          plus(weighted(r16, 16, -16, 16, -16), weighted(r25, 16, -16, -16, 16))};
}

HWY_INLINE Butterflies butterfliesOfBlock(const Zel16s* src) {
  const Wide16 r01 = pairOfRows(loadWide(src)), r23 = pairOfRows(loadWide(src + 16)),
               r45 = pairOfRows(loadWide(src + 32)), r67 = pairOfRows(loadWide(src + 48));
  const Wide16 r76 = swapped(r67), r54 = swapped(r45);
  const auto times8 = [](Wide16 x) { return each([](auto v) { return hn::ShiftLeft<3>(v); }, x); };
  const auto times16 = [](Wide16 x) { return each([](auto v) { return hn::ShiftLeft<4>(v); }, x); };
  const Wide16 s07s16 = times8(plusSaturated(r01, r76)), s25s34 = times8(plusSaturated(r23, r54));
  const Wide16 d07d16 = minusSaturated(r01, r76), d25d34 = minusSaturated(r23, r54);
  const Wide16 s34s25 = swapped(s25s34);
  const Wide16 ac = plusSaturated(s07s16, s34s25), bd = minusSaturated(s07s16, s34s25);
  const Wide16 d07d34 = times8(joined(d07d16, d25d34));
  const Wide16 d25d16 = times16(joined(d25d34, d07d16)), d16d25 = swapped(d25d16);
  return {joined(ac, swapped(bd)), joined(swapped(ac), bd), d07d34,
          joined(plusSaturated(d16d25, d25d16), minusSaturated(d25d16, d16d25))};
}

} // namespace
} // namespace zelj

using namespace zelj;

ZelStatus ownDCTQuantFwd8x8_JPEG_16s_C1(const Zel16s* pSrc, Zel16s* pDst, const Zel16u* pQuantFwdTable) {
  if (ZelStatus bad = checkPointers(present(pSrc, pDst, pQuantFwdTable))) return bad;
  transformAndQuantise<Saturating>(butterfliesOfBlock(pSrc), 0, pDst, pQuantFwdTable);
  return zelStatusOk;
}

ZelStatus ownDCTQuantFwd8x8_JPEG_16s_C1I(Zel16s* pSrcDst, const Zel16u* pQuantFwdTable) {
  return ownDCTQuantFwd8x8_JPEG_16s_C1(pSrcDst, pSrcDst, pQuantFwdTable);
}

ZelStatus ownDCTQuantFwd8x8LS_JPEG_8u16s_C1R(const Zel8u* pSrc, int srcStep, Zel16s* pDst,
                                             const Zel16u* pQuantFwdTable) {
  if (ZelStatus bad = checkPointersStepPointers(present(pSrc, pDst), srcStep, pQuantFwdTable)) return bad;
  transformAndQuantise<Fitting>(butterfliesOfSamples(pSrc, srcStep), 8 * 8 * 128, pDst, pQuantFwdTable);
  return zelStatusOk;
}
