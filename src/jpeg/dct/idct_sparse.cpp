// Inverse DCT of blocks that the caller knows to be sparse: only the DC term, or only the top left 2x2 or 4x4
// coefficients. The latter two give what the full transform gives for a block with the others cleared.
#include <algorithm>

#include "frame/checks.h"
#include "frame/implementations.h"
#include "jpeg/dct/idct_steps.h"
#include "simd/block_ops.h"

namespace zelj {
namespace {

// Factors of the row transform for two rows, one in each block: of x0 and x2 for a0 a1 a2 a3, of x1 and x3 for b0..b3.
struct RowTable {
  alignas(32) Zel16s a[16], b[16];
  alignas(32) Zel32s rounding[8];
};
constexpr RowTable rowTable(int row0) {
  RowTable t{};
  for (int block = 0; block < 2; ++block) {
    const RowFactors f = kRowFactors[row0 + block];
    const int a[4][2] = {{f.A, f.F}, {f.A, f.G}, {f.A, -f.G}, {f.A, -f.F}};
    const int b[4][2] = {{f.B, f.C}, {f.C, -f.E}, {f.D, -f.B}, {f.E, -f.D}};
    for (int i = 0; i < 4; ++i) {
      for (int k = 0; k < 2; ++k) {
        t.a[8 * block + 2 * i + k] = static_cast<Zel16s>(a[i][k]);
        t.b[8 * block + 2 * i + k] = static_cast<Zel16s>(b[i][k]);
      }
      t.rounding[4 * block + i] = kRowRounding[row0 + block];
    }
  }
  return t;
}
constexpr RowTable kRows01 = rowTable(0), kRows23 = rowTable(2);

// Row transform of two rows with the coefficients 0..3, or 0 and 1 alone.
enum class Corner { four, two };
template <Corner kCorner>
HWY_INLINE Wide16 transformRows(const Zel16s* src, const Zel16u* table, const RowTable& factors) {
  constexpr Zel8u kNone = kCorner == Corner::four ? 0 : 0x80; // an index of 128 and more gives 0
  alignas(32) static constexpr Zel8u kEven[32] = {
      0, 1, 4 | kNone, 5 | kNone, 0, 1, 4 | kNone, 5 | kNone, 0, 1, 4 | kNone, 5 | kNone, 0, 1, 4 | kNone, 5 | kNone,
      0, 1, 4 | kNone, 5 | kNone, 0, 1, 4 | kNone, 5 | kNone, 0, 1, 4 | kNone, 5 | kNone, 0, 1, 4 | kNone, 5 | kNone};
  alignas(32) static constexpr Zel8u kOdd[32] = {
      2, 3, 6 | kNone, 7 | kNone, 2, 3, 6 | kNone, 7 | kNone, 2, 3, 6 | kNone, 7 | kNone, 2, 3, 6 | kNone, 7 | kNone,
      2, 3, 6 | kNone, 7 | kNone, 2, 3, 6 | kNone, 7 | kNone, 2, 3, 6 | kNone, 7 | kNone, 2, 3, 6 | kNone, 7 | kNone};
  const Wide16 x = dequantised(loadWide(src), loadWide(table));
  const auto products = [](auto v, auto k) { return multiplyAddPairs(v, k); };
  const auto add = [](auto v, auto w) { return hn::Add(v, w); };
  const auto sub = [](auto v, auto w) { return hn::Sub(v, w); };
  const Wide<Zel32s> a =
      each(add, each(products, bytesByIndex(x, kEven), loadWide(factors.a)), loadWide(factors.rounding));
  const Wide<Zel32s> b = each(products, bytesByIndex(x, kOdd), loadWide(factors.b));
  return pairOfMirroredRows(packedRows(each(add, a, b), each(sub, a, b)));
}

HWY_INLINE Rows transform4x4(const Zel16s* src, const Zel16u* table) {
  const Wide16 r01 = transformRows<Corner::four>(src, table, kRows01),
               r23 = transformRows<Corner::four>(src + 16, table + 16, kRows23);
  const Wide16 tan = plus(each([](auto x, auto k) { return hn::MulHigh(x, k); }, r23, pairOf(kTan2, kTan3Less1)),
                          joined(filledWide<Zel16s>(0), r23));
  const Wide16 y0q = joined(r01, timesHigh(r01, kTan1));
  const Wide16 a0b0 = plusSaturated(r01, r23), a3t = minusSaturated(r01, r23);
  const Wide16 a1v = plusSaturated(y0q, tan), a2u = minusSaturated(y0q, tan);
  const Wide16 z2 = timesOnePlus(plusSaturated(a3t, a1v), kCos4Less1),
               w2 = timesOnePlus(minusSaturated(a3t, a1v), kCos4Less1);
  const Wide16 b0a0 = swapped(a0b0), ua2 = swapped(a2u);
  return outputRows(joined(a0b0, swapped(a1v)), joined(a3t, ua2), joined(b0a0, z2), joined(ua2, w2));
}

HWY_INLINE Rows transform2x2(const Zel16s* src, const Zel16u* table) {
  const Wide16 r01 = transformRows<Corner::two>(src, table, kRows01), r10 = swapped(r01);
  const Wide16 y0 = joined(r01, r10), y1 = joined(r10, r01);
  const Wide16 t = timesHigh(y1, kTan1);
  const Wide16 v2 = timesOnePlus(plusSaturated(y1, t), kCos4Less1),
               u2 = timesOnePlus(minusSaturated(y1, t), kCos4Less1);
  const Wide16 row2 = pairOf(1, 0); // what its rounding leaves of the empty row 2
  return outputRows(plusSaturated(y0, row2), minusSaturated(y0, row2), joined(y1, v2), joined(t, u2));
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
