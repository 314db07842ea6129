// Dequantisation with inverse DCT in 16-bit fixed point: along the rows by sums of products on four rows at a time,
// then down the columns, all in registers. No step depends on the data.
#include "frame/checks.h"
#include "frame/implementations.h"
#include "jpeg/dct/idct_steps.h"

namespace zelj {
namespace {

HWY_INLINE Rows4 transformRows(Rows4 x, const InverseTables::RowFactors& factors) {
  const auto pair = [&](int i) { return products(bytesByIndex(x, kInverse.columns[i]), factors.k[i]); };
  const auto a = plus(plus(pair(0), loadRows<Rows<Zel32s, 4>>(factors.rounding)), pair(1)), b = plus(pair(2), pair(3));
  return packedRows<11>(plus(a, b), minus(a, b));
}

// Of rows 0 1 2 3 and rows 4 7 6 5.
HWY_INLINE OutputRows transformColumns(Rows4 upper, Rows4 lower) {
  const Rows4 spem = plusSaturated(upper, timesTangents(lower)), dqen = differences(timesTangents(upper), lower);
  const Halves a0b0a3t = butterfly(lowerRows(spem), upperRows(spem));
  const Halves a1ua2v = butterfly(lowerRows(dqen), upperRows(dqen));
  return outputRows(a0b0a3t.sum, a0b0a3t.difference, a1ua2v.sum, a1ua2v.difference);
}

HWY_INLINE OutputRows transform(const Zel16s* src, const Zel16u* table) {
  const Rows4 lower = transformRows(dequantisedLower(src, table), kInverse.lower); // first: more waits for these
  return transformColumns(transformRows(dequantised<Rows4>(src, table), kInverse.upper), lower);
}

HWY_INLINE void storeBlock(OutputRows x, Zel16s* dst) {
  const Rows2 rows[4] = {x.r01, exchanged(x.r32), x.r45, exchanged(x.r76)};
  for (int i = 0; i < 4; ++i) storeRows(bytesByIndex(rows[i], kForward.mirrored), dst + 16 * i);
}

} // namespace
} // namespace zelj

using namespace zelj;

ZelStatus ownDCTQuantInv8x8_JPEG_16s_C1(const Zel16s* pSrc, Zel16s* pDst, const Zel16u* pQuantInvTable) {
  if (ZelStatus bad = checkPointers(present(pSrc, pDst, pQuantInvTable))) return bad;
  storeBlock(transform(pSrc, pQuantInvTable), pDst);
  return zelStatusOk;
}

ZelStatus ownDCTQuantInv8x8_JPEG_16s_C1I(Zel16s* pSrcDst, const Zel16u* pQuantInvTable) {
  return ownDCTQuantInv8x8_JPEG_16s_C1(pSrcDst, pSrcDst, pQuantInvTable);
}

ZelStatus ownDCTQuantInv8x8LS_JPEG_16s8u_C1R(const Zel16s* pSrc, Zel8u* pDst, int dstStep,
                                             const Zel16u* pQuantInvTable) {
  if (ZelStatus bad = checkPointersStepPointers(present(pSrc, pDst), dstStep, pQuantInvTable)) return bad;
  storeSamples(transform(pSrc, pQuantInvTable), pDst, dstStep);
  return zelStatusOk;
}
