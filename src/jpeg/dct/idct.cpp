// Dequantisation with inverse DCT in 16-bit fixed point: along the rows by sums of products on four rows at a time, then
// down the columns on two rows at a time, all in registers. No step depends on the data.
#include "frame/checks.h"
#include "frame/implementations.h"
#include "frame/rows.h"
#include "jpeg/dct/idct_steps.h"

namespace zelj {
namespace {

// Factors of the row transform as it multiplies them, [a0 a1, a2 a3, b0 b1, b2 b3][inputs as they stand, swapped]. A
// 128-bit block works on two rows: dwords 0 and 1 give the one, 2 and 3 the other. The inputs are x0 x2 x4 x6 for a and
// x1 x3 x5 x7 for b.
struct RowTable {
  alignas(32) Zel16s k[4][2][16];
  alignas(32) Zel32s rounding[8];
};
constexpr RowTable rowTable(int row0, int row1) { // of the first block; the second works on the rows one further
  RowTable t{};
  for (int block = 0; block < 2; ++block) {
    for (int second = 0; second < 2; ++second) {
      const int row = (second ? row1 : row0) + block;
      const RowFactors f = kRowFactors[row];
      const int factors[8][4] = {{f.A, f.F, f.A, f.G},    {f.A, f.G, -f.A, -f.F}, {f.A, -f.G, -f.A, f.F},
                                 {f.A, -f.F, f.A, -f.G},  {f.B, f.C, f.D, f.E},   {f.C, -f.E, -f.B, -f.D},
                                 {f.D, -f.B, f.E, f.C},   {f.E, -f.D, f.C, -f.B}};
      for (int i = 0; i < 8; ++i) {
        const int dword = 4 * block + 2 * second + i % 2;
        for (int swap = 0; swap < 2; ++swap) {
          for (int k = 0; k < 2; ++k) {
            t.k[i / 2][swap][2 * dword + k] = static_cast<Zel16s>(factors[i][2 * ((i % 2) ^ swap) + k]);
          }
        }
        t.rounding[dword] = kRowRounding[row];
      }
    }
  }
  return t;
}
constexpr RowTable kRows0415 = rowTable(0, 4), kRows2637 = rowTable(2, 6);

// Two rows of each operand: rows i and i + 1 of one and of the other make pairs.
HWY_INLINE TwoPairs transformRows(Wide16 rows0, Wide16 rows1, const RowTable& table) {
  const EvenOdd x = evenAndOddColumns(rows0, rows1);
  const auto add = [](auto a, auto b) { return hn::Add(a, b); };
  const auto sub = [](auto a, auto b) { return hn::Sub(a, b); };
  Wide<Zel32s> a[2], b[2];
  for (int i = 0; i < 2; ++i) {
    a[i] = each(add, pairProducts(x.even, table.k[i][0], table.k[i][1]), loadWide(table.rounding));
    b[i] = pairProducts(x.odd, table.k[2 + i][0], table.k[2 + i][1]);
  }
  return pairsOf({packedRows(each(add, a[0], b[0]), each(add, a[1], b[1])),
                  packedRows(each(sub, a[0], b[0]), each(sub, a[1], b[1]))});
}

HWY_INLINE Rows transformColumns(TwoPairs rows04and15, TwoPairs rows26and37) {
  const Wide16 r04 = rows04and15.first, r15 = rows04and15.second, r26 = rows26and37.first, r37 = rows26and37.second;
  const Wide16 r17 = joined(r15, r37), r35 = joined(r37, r15);
  const OddPart odd = oddPart(r17, r35);
  const Wide16 w2z2 = rotated45(odd.tv);
  const Wide16 b0z2 = joined(odd.b0u, w2z2), uw2 = swapped(joined(w2z2, odd.b0u));
  const Wide16 sd = sumDifference(swapped(r04), r04), e = evenPart(r26);
  const Wide16 a01 = plusSaturated(sd, e), a32 = minusSaturated(sd, e);
  return outputRows(a01, a32, b0z2, uw2);
}

HWY_INLINE Rows transform(const Zel16s* src, const Zel16u* table) {
  const Wide16 r01 = dequantisedRows(src, table, 0), r23 = dequantisedRows(src, table, 1),
               r45 = dequantisedRows(src, table, 2), r67 = dequantisedRows(src, table, 3);
  return transformColumns(transformRows(r01, r45, kRows0415), transformRows(r23, r67, kRows2637));
}

HWY_INLINE void storeRows(Rows x, Zel16s* dst) {
  storeWide(rowsOfPair(x.r01), dst);
  storeWide(rowsOfPair(swapped(x.r32)), dst + 16);
  storeWide(rowsOfPair(x.r45), dst + 32);
  storeWide(rowsOfPair(swapped(x.r76)), dst + 48);
}

} // namespace
} // namespace zelj

using namespace zelj;

ZelStatus ownDCTQuantInv8x8_JPEG_16s_C1(const Zel16s* pSrc, Zel16s* pDst, const Zel16u* pQuantInvTable) {
  if (ZelStatus bad = checkPointers(present(pSrc, pDst, pQuantInvTable))) return bad;
  storeRows(transform(pSrc, pQuantInvTable), pDst);
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
