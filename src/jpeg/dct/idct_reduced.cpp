// Inverse DCT straight to 4x4 or 2x2 samples, the means of groups of the full result: the row transforms leave out what
// the means cancel.
#include "frame/checks.h"
#include "frame/implementations.h"
#include "jpeg/dct/idct_steps.h"
#include "simd/block_ops.h"

namespace zelj {
namespace {

struct Factors4 {
  Zel16s a, b, c, d, e, f, g, h, i, j, k;
};
constexpr Factors4 kFactors4[4] = {
    {16384, 15137, 20995, 7373, 8697, -17799, 6270, -4926, -4176, 11893, -1730},
    {22725, 20995, 29121, 10226, 12063, -24688, 8697, -6833, -5793, 16496, -2399},
    {21407, 19777, 27432, 9633, 11363, -23256, 8192, -6436, -5457, 15539, -2260},
    {19266, 17799, 24688, 8669, 10226, -20929, 7373, -5793, -4911, 13985, -2034},
};
constexpr Zel32s kRounding4[8] = {66560, 5802, 4520, 3408, 0, 910, 1024, 746};

// As in the full transform a block works on two rows, dwords 0 and 1 on the one, 2 and 3 on the other:
// [S0 S1, S2 S3][inputs as they stand, swapped]. Row 4 counts for nothing, its factors are 0.
struct RowTable4 {
  alignas(32) Zel16s k[2][2][16];
  alignas(32) Zel32s rounding[8];
};
constexpr RowTable4 rowTable4(int row0, int row1) { // of the first block; the second works on the rows one further
  RowTable4 t{};
  for (int dword = 0; dword < 8; ++dword) {
    const int row = (dword / 2 % 2 ? row1 : row0) + dword / 4;
    if (row == 4) continue;
    const Factors4 f = kFactors4[row < 4 ? row : 8 - row];
    const int factors[4][4] = {
        {f.a, f.b, 0, -f.g}, {f.a, -f.b, 0, f.g}, {f.c, f.d, f.h, f.i}, {f.e, f.f, f.j, f.k}};
    for (int part = 0; part < 2; ++part) {
      for (int swap = 0; swap < 2; ++swap) {
        for (int k = 0; k < 2; ++k) {
          t.k[part][swap][2 * dword + k] = static_cast<Zel16s>(factors[2 * part + dword % 2][2 * (dword % 2 ^ swap) + k]);
        }
      }
    }
    t.rounding[dword] = kRounding4[row];
  }
  return t;
}
constexpr RowTable4 kRows0415 = rowTable4(0, 4), kRows2637 = rowTable4(2, 6);

HWY_INLINE Wide<Zel32s> plus32(Wide<Zel32s> a, Wide<Zel32s> b) {
  return each([](auto x, auto y) { return hn::Add(x, y); }, a, b);
}
HWY_INLINE Wide<Zel32s> minus32(Wide<Zel32s> a, Wide<Zel32s> b) {
  return each([](auto x, auto y) { return hn::Sub(x, y); }, a, b);
}
HWY_INLINE Wide16 packed12(Wide<Zel32s> a, Wide<Zel32s> b) {
  return each(
      [](auto x, auto y) {
        return hn::ReorderDemote2To(WideTag<Zel16s>(), hn::ShiftRight<12>(x), hn::ShiftRight<12>(y));
      },
      a, b);
}

// Two rows of each operand to pairs of rows of four values; the values stand in both halves of a row.
HWY_INLINE TwoPairs transformRows4(Wide16 rows0, Wide16 rows1, const RowTable4& table) {
  const EvenOdd x = evenAndOddColumns(rows0, rows1);
  const Wide<Zel32s> even = plus32(pairProducts(x.even, table.k[0][0], table.k[0][1]), loadWide(table.rounding));
  const Wide<Zel32s> odd = pairProducts(x.odd, table.k[1][0], table.k[1][1]);
  alignas(32) static constexpr Zel8u kMirrorUpper[32] = {0, 1, 2, 3, 4, 5, 6, 7, 10, 11, 8, 9, 14, 15, 12, 13,
                                                         0, 1, 2, 3, 4, 5, 6, 7, 10, 11, 8, 9, 14, 15, 12, 13};
  const Wide16 values = bytesByIndex(packed12(plus32(even, odd), minus32(even, odd)), kMirrorUpper);
  return pairsOf({values, values});
}

HWY_INLINE void store4x4(const Zel16s* src, const Zel16u* table, Zel8u* dst, int step) {
  const TwoPairs upper = transformRows4(dequantisedRows(src, table, 0), dequantisedRows(src, table, 2), kRows0415);
  const TwoPairs lower = transformRows4(dequantisedRows(src, table, 1), dequantisedRows(src, table, 3), kRows2637);
  const OddPart odd = oddPart(joined(upper.second, lower.second), joined(lower.second, upper.second));
  const Wide16 r0r1 = plusSaturated(swapped(rotated45(odd.tv)), odd.b0u); // Z2 + b0 | W2 + U
  const Wide16 e0e1 = evenPart(lower.first), e = plusSaturated(e0e1, swapped(e0e1));
  const Wide16 y0 = joined(upper.first, swapped(upper.first)), y = plusSaturated(y0, y0);
  const Wide16 a = joined(plusSaturated(y, e), minusSaturated(y, e));
  const auto bytes = levelledBytes(descaled(plusSaturated(a, r0r1)), descaled(minusSaturated(a, r0r1)));
  for (int y4 = 0; y4 < 4; ++y4) hwy::CopyBytes<4>(&bytes.rows[y4 < 2 ? y4 : 5 - y4], row(dst, step, y4));
}

struct Factors2 {
  Zel16s c, k1, k3, k5, k7;
};
constexpr Factors2 kFactors2[3] = {
    {16384, 14846, 5213, 3483, 2953}, {22725, 20592, 7231, 4832, 4096}, {19266, 17457, 6130, 4096, 3472}};

// Factors of x0..x7 for the first value of a row, then for the second, whose odd ones have the other sign.
struct RowTable2 {
  alignas(32) Zel16s k[2][16];
};
constexpr RowTable2 rowTable2(Factors2 block0, Factors2 block1) {
  RowTable2 t{};
  for (int block = 0; block < 2; ++block) {
    const Factors2 f = block ? block1 : block0;
    const int odd[4] = {f.k1, -f.k3, f.k5, -f.k7};
    for (int second = 0; second < 2; ++second) {
      t.k[second][8 * block] = f.c;
      for (int i = 0; i < 4; ++i) t.k[second][8 * block + 2 * i + 1] = static_cast<Zel16s>(second ? -odd[i] : odd[i]);
    }
  }
  return t;
}
constexpr RowTable2 kRows1Or7And3Or5 = rowTable2(kFactors2[1], kFactors2[2]),
                    kRow0 = rowTable2(kFactors2[0], kFactors2[0]);

// Products of a row in each block, half added up: the first value is the sum of dwords 0 and 1, the second of 2 and 3.
HWY_INLINE Wide<Zel32s> halfSums(const Zel16s* src, const Zel16u* table, int row0, int row1, const RowTable2& factors) {
  const Wide16 x = dequantised(loadBlocks(src + 8 * row0, src + 8 * row1), loadBlocks(table + 8 * row0, table + 8 * row1));
  return each(
      [](auto v, auto k0, auto k1) {
        constexpr WideTag<Zel32s> d32;
        constexpr WideTag<Zel64s> d64;
        const auto first = hn::BitCast(d64, multiplyAddPairs(v, k0)), second = hn::BitCast(d64, multiplyAddPairs(v, k1));
        return hn::Add(hn::BitCast(d32, hn::InterleaveLower(d64, first, second)),
                       hn::BitCast(d32, hn::InterleaveUpper(d64, first, second)));
      },
      x, loadWide(factors.k[0]), loadWide(factors.k[1]));
}

HWY_INLINE Wide<Zel32s> fullSums(Wide<Zel32s> a, Wide<Zel32s> b) {
  return each([](auto x, auto y) { return hn::Add(evenDwords(x, y), oddDwords(x, y)); }, a, b);
}

HWY_INLINE void store2x2(const Zel16s* src, const Zel16u* table, Zel8u* dst, int step) {
  const Wide<Zel32s> r13 = halfSums(src, table, 1, 3, kRows1Or7And3Or5), r75 = halfSums(src, table, 7, 5, kRows1Or7And3Or5),
                     r00 = halfSums(src, table, 0, 0, kRow0);
  alignas(32) static constexpr Zel32s kRounding17And35[8] = {5802, 5802, 746, 746, 3408, 3408, 910, 910};
  const Wide<Zel32s> odd = plus32(fullSums(r13, r75), loadWide(kRounding17And35)),
                     even = plus32(fullSums(r00, r00), filledWide<Zel32s>(67072));
  const Wide16 oddRows = packed12(odd, odd), r0 = packed12(even, even);
  const TwoPairs pairs = pairsOf({oddRows, oddRows});
  const OddPart parts = oddPart(pairs.first, pairs.second);
  const Wide16 t = timesOnePlus(parts.tv, kCos4Less1);
  const Wide16 s = plusSaturated(plusSaturated(parts.b0u, swapped(parts.b0u)), plusSaturated(t, t)); // in the low row
  const Wide16 y = pairsOf({r0, r0}).first, y2 = plusSaturated(y, y), y4 = plusSaturated(y2, y2);
  const auto shifted = [](Wide16 x) { return each([](auto v) { return hn::ShiftRight<7>(v); }, x); };
  const auto bytes = levelledBytes(shifted(plusSaturated(y4, s)), shifted(minusSaturated(y4, s)));
  hwy::CopyBytes<2>(&bytes.rows[0], dst);
  hwy::CopyBytes<2>(&bytes.rows[2], row(dst, step, 1));
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
