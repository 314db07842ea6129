// Forward DCT with quantisation in 16-bit fixed point: down the columns on two rows at a time, then along the rows by
// sums of products, with the rounding quotient behind it, all in registers. Columns stand in the order 0 1 2 3 7 6 5 4,
// so that each faces its mirror image.
#include "frame/checks.h"
#include "frame/implementations.h"
#include "frame/rows.h"
#include "jpeg/dct/dct_tables.h"
#include "simd/rows.h"

namespace zelj {
namespace {

// Additions: those of 8-bit samples fit 16 bits (the largest value is 8 * 8 * 255), those of any 16-bit input saturate.
struct Fitting {
  template <class R>
  static HWY_INLINE R add(R a, R b) {
    return plus(a, b);
  }
  template <class R>
  static HWY_INLINE R sub(R a, R b) {
    return minus(a, b);
  }
};
struct Saturating {
  template <class R>
  static HWY_INLINE R add(R a, R b) {
    return plusSaturated(a, b);
  }
  template <class R>
  static HWY_INLINE R sub(R a, R b) {
    return minusSaturated(a, b);
  }
};

// What the column transform begins with; sij and dij are sum and difference of rows i and j.
struct Butterflies {
  Rows2 sums07and34;        // 8 (s07 + s34), 8 (s07 - s34)
  Rows2 sums16and25;        // 8 (s16 + s25), 8 (s16 - s25)
  Rows2 differences07and34; // 8 d07, 8 d34
  Rows2 differences16and25; // 16 (d16 + d25), 16 (d16 - d25)
};

struct Columns {
  Rows2 r02, r46, r51, r73;
};

HWY_INLINE Rows2 constants(const RowConstants2& c) {
  return loadRows<Rows2>(c.k);
}

template <class Sum>
HWY_INLINE Columns transformColumns(Butterflies x) {
  const Rows2 ab = x.sums07and34, cd = x.sums16and25, tan2 = constants(kForward.tan2);
  const Rows2 firstOdd = constants(kForward.firstOdd), secondOdd = constants(kForward.secondOdd);
  const Rows2 ef = bitwiseOr(timesHigh(x.differences16and25, constants(kForward.cos4)), firstOdd);
  const Rows2 gi = Sum::add(x.differences07and34, ef), hj = Sum::sub(x.differences07and34, ef);
  const Rows2 tan1 = timesHigh(gi, constants(kForward.tan1)), ig = exchanged(gi);
  const Rows2 tan3 = plus(timesHigh(hj, constants(kForward.tan3)), hj), jh = exchanged(hj);
  return {bitwiseOr(Sum::add(ab, joined(cd, timesHigh(cd, tan2))), secondOdd),
          bitwiseOr(Sum::sub(joined(ab, timesHigh(ab, tan2)), cd), secondOdd),
          bitwiseOr(joined(Sum::add(jh, tan3), Sum::add(tan1, ig)), secondOdd),
          joined(Sum::sub(tan1, ig), Sum::sub(jh, tan3))};
}

// The coefficients.
struct Rows8 {
  Rows2 r01, r23, r45, r67;
};
template <class Sum>
HWY_INLINE Rows8 transformRows(Columns y) {
  const Rows4 even = combined(y.r02, y.r46), odd = combined(y.r51, y.r73);
  const Rows4 left = each(firstHalves, even, odd), right = each(secondHalves, even, odd);
  const Rows4 in[2] = {Sum::add(left, right), Sum::sub(left, right)};
  const Rows4 neighbours[2] = {each(neighbourDwords, in[0]), each(neighbourDwords, in[1])};
  const auto outputs = [&](int i) {
    return plus(each(sumsOfProducts, in[i % 2], loadRows<Rows4>(kForward.rows[i][0])),
                each(sumsOfProducts, neighbours[i % 2], loadRows<Rows4>(kForward.rows[i][1])));
  };
  // (x + 2^19) >> 20 of each sum: its low 16 bits don't count.
  const auto rounded = [](auto evenOutputs, auto oddOutputs) {
    const hn::RepartitionToNarrow<hn::DFromV<decltype(evenOutputs)>> d;
    const auto high = oddEven16(hn::BitCast(d, oddOutputs), hn::BitCast(d, hn::ShiftRight<16>(evenOutputs)));
    return hn::ShiftRight<4>(hn::Add(high, hn::Set(d, 8)));
  };
  const Rows4 first = each(rounded, outputs(0), outputs(1)), second = each(rounded, outputs(2), outputs(3));
  const Rows4 evenRows = each(firstHalves, first, second), oddRows = each(secondHalves, first, second);
  const Rows2 r02 = lowerRows(evenRows), r46 = upperRows(evenRows), r51 = lowerRows(oddRows), r73 = upperRows(oddRows);
  return {joined(r02, r51), secondRows(r02, r73), firstRows(r46, r51), innerRows(r46, r73)};
}

// c t / 32768 to the nearest integer, ties to even; |c| <= 2048, so nothing overflows. With u = t - 32768, which is
// signed, the quotient is c more than that of c u. Halves rounded up and halves rounded down, which is minus the
// rounded product with -u, differ in their lowest bit for ties alone: the even one is the first with that bit cleared
// where the second has it clear.
HWY_INLINE Rows2 quantised(Rows2 c, const Zel16u* table) {
  return each(
      [](auto x, auto t16) {
        const hn::DFromV<decltype(x)> d;
        const auto t = hn::BitCast(d, t16), offset = hn::Set(d, -32768);
        const auto halfUp = hn::Add(hn::MulFixedPoint15(x, hn::Xor(t, offset)), x);
        const auto halfDown = hn::Xor(hn::MulFixedPoint15(x, hn::Sub(offset, t)), x); // its lowest bit
        return hn::And(halfUp, hn::Or(halfDown, hn::Set(d, -2)));
      },
      c, loadRows<Rows<Zel16u, 2>>(table));
}

template <class Sum>
HWY_INLINE void finish(Columns y, Zel16s* dst, const Zel16u* table) {
  const Rows8 c = transformRows<Sum>(y);
  const Rows2 rows[4] = {c.r01, c.r23, c.r45, c.r67};
  for (int i = 0; i < 4; ++i) storeRows(quantised(rows[i], table + 16 * i), dst + 16 * i);
}

// Rows a and b of samples, byte by byte in turn, in both rows.
HWY_INLINE Rows<Zel8u, 2> bytePairs(const Zel8u* a, const Zel8u* b) {
  const auto repeated = [](const Zel8u* p) {
    Zel64u bytes;
    hwy::CopyBytes<8>(p, &bytes);
    return filledRows<Rows<Zel64u, 2>>(bytes);
  };
  const auto inTurn = [](auto x, auto y) {
    const hn::Repartition<Zel8u, hn::DFromV<decltype(x)>> d8;
    return hn::BitCast(d8, hn::OddEven(y, x));
  };
  return bytesByIndex(each(inTurn, repeated(a), repeated(b)), kForward.bytePairs);
}

HWY_INLINE Rows2 weighted(Rows<Zel8u, 2> x, const Zel8s (&weights)[32]) {
  return each([](auto v, auto w) { return mulAddPairs(v, w); }, x, loadRows<Rows<Zel8s, 2>>(weights));
}

HWY_INLINE Butterflies butterfliesOfSamples(const Zel8u* src, int step) {
  const auto rows = [=](int i) { return bytePairs(row(src, step, i), row(src, step, 7 - i)); };
  const Rows<Zel8u, 2> r07 = rows(0), r16 = rows(1), r25 = rows(2), r34 = rows(3);
  return {plus(weighted(r07, kForward.sums8), weighted(r34, kForward.sumDifference8)),
          plus(weighted(r16, kForward.sums8), weighted(r25, kForward.sumDifference8)),
          weighted(joined(r07, r34), kForward.differences8),
          plus(weighted(r16, kForward.differences16), weighted(r25, kForward.differencesOpposed16))};
}

HWY_INLINE Butterflies butterfliesOfBlock(const Zel16s* src) {
  const auto rows = [=](int i) { return bytesByIndex(loadRows<Rows2>(src + 8 * i), kForward.mirrored); };
  const Rows2 r01 = rows(0), r23 = rows(2), r54 = exchanged(rows(4)), r76 = exchanged(rows(6));
  const Rows2 s07s16 = shiftedLeft<3>(plusSaturated(r01, r76));
  const Rows2 s34s25 = exchanged(shiftedLeft<3>(plusSaturated(r23, r54)));
  const Rows2 ac = plusSaturated(s07s16, s34s25), bd = minusSaturated(s07s16, s34s25);
  const Rows2 d07d16 = minusSaturated(r01, r76), d25d34 = minusSaturated(r23, r54);
  const Rows2 d25d16 = shiftedLeft<4>(joined(d25d34, d07d16)), d16d25 = exchanged(d25d16);
  return {firstRows(ac, bd), secondRows(ac, bd), shiftedLeft<3>(joined(d07d16, d25d34)),
          joined(plusSaturated(d16d25, d25d16), minusSaturated(d25d16, d16d25))};
}

} // namespace
} // namespace zelj

using namespace zelj;

ZelStatus ownDCTQuantFwd8x8_JPEG_16s_C1(const Zel16s* pSrc, Zel16s* pDst, const Zel16u* pQuantFwdTable) {
  if (ZelStatus bad = checkPointers(present(pSrc, pDst, pQuantFwdTable))) return bad;
  finish<Saturating>(transformColumns<Saturating>(butterfliesOfBlock(pSrc)), pDst, pQuantFwdTable);
  return zelStatusOk;
}

ZelStatus ownDCTQuantFwd8x8_JPEG_16s_C1I(Zel16s* pSrcDst, const Zel16u* pQuantFwdTable) {
  return ownDCTQuantFwd8x8_JPEG_16s_C1(pSrcDst, pSrcDst, pQuantFwdTable);
}

ZelStatus ownDCTQuantFwd8x8LS_JPEG_8u16s_C1R(const Zel8u* pSrc, int srcStep, Zel16s* pDst,
                                             const Zel16u* pQuantFwdTable) {
  if (ZelStatus bad = checkPointersStepPointers(present(pSrc, pDst), srcStep, pQuantFwdTable)) return bad;
  Columns y = transformColumns<Fitting>(butterfliesOfSamples(pSrc, srcStep));
  y.r02 = minus(y.r02, constants(kForward.levelShift)); // all differences cancel it
  finish<Fitting>(y, pDst, pQuantFwdTable);
  return zelStatusOk;
}
