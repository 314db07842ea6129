// Inverse DCT straight to 4x4 or 2x2 samples, the means of groups of the full result: the row transforms leave out what
// the means cancel.
#include "frame/checks.h"
#include "frame/implementations.h"
#include "jpeg/dct/idct_steps.h"

namespace zelj {
namespace {

// Rows of means 0 1 . . 3 2 . .
HWY_INLINE Rows4 transformRows4(Rows4 x, const InverseTables::RowFactors& factors) {
  const Rows4 evenOdd = bytesByIndex(x, kInverse.evenOdd);
  const auto s = plus(plus(products(evenOdd, factors.k[0]), loadRows<Rows<Zel32s, 4>>(factors.rounding)),
                      products(each(neighbourDwords, evenOdd), factors.k[1]));
  const auto swapped = each(halvesSwapped, s);
  return packedRows<12>(plus(s, swapped), minus(s, swapped));
}

HWY_INLINE void store4x4(const Zel16s* src, const Zel16u* table, Zel8u* dst, int step) {
  const Rows4 upper = transformRows4(dequantised<Rows4>(src, table), kInverse.reducedUpper);
  const Rows4 lower = transformRows4(dequantisedLower(src, table), kInverse.reducedLower);
  const Rows4 spem = plusSaturated(upper, timesTangents(lower)), dqen = differences(timesTangents(upper), lower);
  const Halves b0t = butterfly(lowerRows(spem), upperRows(spem)), uv = butterfly(lowerRows(dqen), upperRows(dqen));
  const Halves z2w2 = rotated45(b0t.difference, uv.difference);
  // Row 4 is zero, so S and D are both row 0.
  const Halves a =
      butterfly(plusSaturated(lowerRows(spem), lowerRows(dqen)), plusSaturated(upperRows(spem), upperRows(dqen)));
  const Halves out = butterfly(firstRows(a.sum, a.difference),
                               secondRows(plusSaturated(z2w2.sum, b0t.sum), plusSaturated(uv.sum, z2w2.difference)));
  const auto bytes = samples(shiftedRight<6>(out.sum), shiftedRight<6>(out.difference)); // rows 0 3 1 2
  alignas(32) Zel8u rows[32];
  storeRows(bytes, rows);
  constexpr int kPlaces[4] = {0, 16, 24, 8};
  for (int y = 0; y < 4; ++y) { // 0 1 . . . . 2 3
    hwy::CopyBytes<2>(rows + kPlaces[y], row(dst, step, y));
    hwy::CopyBytes<2>(rows + kPlaces[y] + 6, row(dst, step, y) + 2);
  }
}

// Two rows of two means, four times each.
HWY_INLINE Rows2 meansOf(Rows2 x, const InverseTables::MeanFactors& factors) {
  const auto first = products(x, factors.k[0]), second = products(x, factors.k[1]);
  const auto halfSums = plus(each(firstHalves, first, second), each(secondHalves, first, second));
  const auto sums = plus(plus(halfSums, each(neighbourDwords, halfSums)), loadRows<Rows<Zel32s, 2>>(factors.rounding));
  return packedRows<12>(sums, sums); // 0 0 1 1
}

HWY_INLINE Rows2 dequantisedRows(const Zel16s* src, const Zel16u* table, int row0, int row1) {
  return each([](auto c, auto q) { return hn::Mul(c, hn::BitCast(hn::DFromV<decltype(c)>(), q)); },
              loadTwoRows(src + 8 * row0, src + 8 * row1), loadTwoRows(table + 8 * row0, table + 8 * row1));
}

HWY_INLINE void store2x2(const Zel16s* src, const Zel16u* table, Zel8u* dst, int step) {
  const Rows2 r13 = meansOf(dequantisedRows(src, table, 1, 3), kInverse.means13),
              r75 = meansOf(dequantisedRows(src, table, 7, 5), kInverse.means75),
              r0 = meansOf(dequantisedRows(src, table, 0, 0), kInverse.means0);
  const auto tangents = [](Rows2 x) {
    return plus(timesHigh(x, loadRows<Rows2>(kInverse.tangents13.k)),
                bitwiseAnd(x, loadRows<Rows2>(kInverse.second.k)));
  };
  const Rows2 pm = plusSaturated(r13, tangents(r75)), tangents13 = tangents(r13);
  const Rows2 qn = joined(minusSaturated(tangents13, r75), minusSaturated(r75, tangents13));
  const Halves b0t = butterfly(pm, exchanged(pm));
  const Rows2 w = timesOnePlus(b0t.difference, kInverse.cos4.k), u = plusSaturated(qn, exchanged(qn));
  const Rows2 s = plusSaturated(plusSaturated(u, b0t.sum), plusSaturated(w, w));
  const Rows2 y2 = plusSaturated(r0, r0), y4 = plusSaturated(y2, y2);
  const Halves out = butterfly(y4, s);
  const auto bytes = samples(shiftedRight<7>(out.sum), shiftedRight<7>(out.difference)); // row 0, row 1: 0 0 1 1
  alignas(32) Zel8u rows[32];
  storeRows(bytes, rows);
  for (int y = 0; y < 2; ++y) {
    Zel8u* const to = row(dst, step, y);
    to[0] = rows[8 * y];
    to[1] = rows[8 * y + 2];
  }
}

} // namespace
} // namespace zelj

using namespace zelj;

ZelStatus ownDCTQuantInv8x8To4x4LS_JPEG_16s8u_C1R(const Zel16s* pSrc, Zel8u* pDst, int dstStep,
                                                  const Zel16u* pQuantInvTable) {
  if (ZelStatus bad = checkPointersStepPointers(present(pSrc, pDst), dstStep, pQuantInvTable)) return bad;
  store4x4(pSrc, pQuantInvTable, pDst, dstStep);
  return zelStatusOk;
}

ZelStatus ownDCTQuantInv8x8To2x2LS_JPEG_16s8u_C1R(const Zel16s* pSrc, Zel8u* pDst, int dstStep,
                                                  const Zel16u* pQuantInvTable) {
  if (ZelStatus bad = checkPointersStepPointers(present(pSrc, pDst), dstStep, pQuantInvTable)) return bad;
  store2x2(pSrc, pQuantInvTable, pDst, dstStep);
  return zelStatusOk;
}
