// Inverse DCT of blocks that the caller knows to be sparse: only the DC term, or only the top left 2x2 or 4x4
// coefficients. The latter two give what the full transform gives for a block with the others cleared.
#include <algorithm>

#include "frame/checks.h"
#include "frame/implementations.h"
#include "jpeg/dct/idct_steps.h"

namespace zelj {
namespace {

// Row transform of two rows: of coefficients 0..3, or of 0 and 1 alone with the others taken as zero. A block with two
// rows of factors stands for the rows of its upper half.
template <class R>
HWY_INLINE R transformRows(R x, const InverseTables::RowFactors& factors, size_t row0) {
  const auto pair = [&](int i) { return products(bytesByIndex(x, kInverse.columns[i]), factors.k[i] + 8 * row0); };
  const auto a = plus(pair(0), loadRows<Rows<Zel32s, R::kRows>>(factors.rounding + 4 * row0)), b = pair(2);
  return packedRows<11>(plus(a, b), minus(a, b));
}

HWY_INLINE OutputRows transform4x4(const Zel16s* src, const Zel16u* table) {
  const Rows4 rows = transformRows(dequantised<Rows4>(src, table), kInverse.upper, 0), tangents = timesTangents(rows);
  const Halves a0b0a3t = butterfly(lowerRows(rows), upperRows(rows));
  const Halves a1va2u = butterfly(lowerRows(tangents), upperRows(tangents));
  return outputRows(a0b0a3t.sum, a0b0a3t.difference, joined(a1va2u.sum, a1va2u.difference),
                    joined(a1va2u.difference, a1va2u.sum));
}

HWY_INLINE OutputRows transform2x2(const Zel16s* src, const Zel16u* table) {
  const Rows2 x = bytesByIndex(dequantised<Rows2>(src, table), kInverse.firstTwo);
  const Rows2 rows = transformRows(x, kInverse.upper, 0);
  const Halves a0b0a3t = butterfly(rows, loadRows<Rows2>(kInverse.emptyRow2.k));
  const Rows2 a1u = joined(rows, timesHigh(rows, loadRows<Rows2>(kInverse.tan1.k)));
  return outputRows(a0b0a3t.sum, a0b0a3t.difference, a1u, a1u);
}

} // namespace
} // namespace zelj

using namespace zelj;

ZelStatus ownDCTQuantInv8x8LS_4x4_JPEG_16s8u_C1R(const Zel16s* pSrc, Zel8u* pDst, int dstStep,
                                                 const Zel16u* pQuantInvTable) {
  if (ZelStatus bad = checkPointersStepPointers(present(pSrc, pDst), dstStep, pQuantInvTable)) return bad;
  storeSamples(transform4x4(pSrc, pQuantInvTable), pDst, dstStep);
  return zelStatusOk;
}

ZelStatus ownDCTQuantInv8x8LS_2x2_JPEG_16s8u_C1R(const Zel16s* pSrc, Zel8u* pDst, int dstStep,
                                                 const Zel16u* pQuantInvTable) {
  if (ZelStatus bad = checkPointersStepPointers(present(pSrc, pDst), dstStep, pQuantInvTable)) return bad;
  storeSamples(transform2x2(pSrc, pQuantInvTable), pDst, dstStep);
  return zelStatusOk;
}

ZelStatus ownDCTQuantInv8x8LS_1x1_JPEG_16s8u_C1R(const Zel16s* pSrc, Zel8u* pDst, int dstStep,
                                                 const Zel16u* pQuantInvTable) {
  if (ZelStatus bad = checkPointersStepPointers(present(pSrc, pDst), dstStep, pQuantInvTable)) return bad;
  Zel16s c;
  Zel16u q;
  hwy::CopyBytes<2>(pSrc, &c);
  hwy::CopyBytes<2>(pQuantInvTable, &q);
  const auto level = static_cast<Zel16s>((static_cast<Zel32s>(Zel64s{c} * q) >> 3) + 128); // keeps 16 bits
  const Zel64u samples = static_cast<Zel64u>(std::clamp<int>(level, 0, 255)) * 0x0101010101010101u;
  for (int y = 0; y < 8; ++y) hwy::CopyBytes<8>(&samples, row(pDst, dstStep, y));
  return zelStatusOk;
}
