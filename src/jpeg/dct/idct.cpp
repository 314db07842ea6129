// Dequantisation with inverse DCT in 16-bit fixed point: along the rows by sums of products on four rows at a time, then
// down the columns on two rows at a time, all in registers. No step depends on the data.
#include "frame/checks.h"
#include "frame/implementations.h"
#include "frame/rows.h"
#include "jpeg/dct/dct_constants.h"
#include "simd/block_ops.h"
#include "simd/row_pairs.h"

namespace zelj {
namespace {

// What each row adds before its shift by 11. Tuned values: that of row 0 is the half of the last shift, by 6.
constexpr Zel32s kRounding[8] = {65536, 2901, 2260, 1704, 1024, 455, 512, 373};

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
        t.rounding[dword] = kRounding[row];
      }
    }
  }
  return t;
}
constexpr RowTable kRows0415 = rowTable(0, 4), kRows2637 = rowTable(2, 6);

// Rows 2 i and 2 i + 1, dequantised, even columns in front of odd ones.
HWY_INLINE Wide16 dequantisedRows(const Zel16s* src, const Zel16u* table, int i) {
  alignas(32) static constexpr Zel8u kEvenOdd[32] = {0, 1, 4, 5, 8, 9, 12, 13, 2, 3, 6, 7, 10, 11, 14, 15,
                                                     0, 1, 4, 5, 8, 9, 12, 13, 2, 3, 6, 7, 10, 11, 14, 15};
  const auto times = [](auto c, auto q) { return hn::Mul(c, hn::BitCast(WideTag<Zel16s>(), q)); };
  return bytesByIndex(each(times, loadWide(src + 16 * i), loadWide(table + 16 * i)), kEvenOdd);
}

// Two rows of each operand: rows i and i + 1 of one and of the other make pairs.
HWY_INLINE TwoPairs transformRows(Wide16 rows0, Wide16 rows1, const RowTable& table) {
  constexpr WideTag<Zel64s> d64;
  constexpr WideTag<Zel32s> d32;
  constexpr WideTag<Zel16s> d;
  const auto lower = [=](auto a, auto b) {
    return hn::BitCast(d, hn::InterleaveLower(d64, hn::BitCast(d64, a), hn::BitCast(d64, b)));
  };
  const auto upper = [=](auto a, auto b) {
    return hn::BitCast(d, hn::InterleaveUpper(d64, hn::BitCast(d64, a), hn::BitCast(d64, b)));
  };
  const Wide16 even = each(lower, rows0, rows1), odd = each(upper, rows0, rows1);
  const auto products = [=](auto x, auto k0, auto k1) {
    const auto swap = hn::BitCast(d, hn::Shuffle2301(hn::BitCast(d32, x)));
    return hn::Add(multiplyAddPairs(x, k0), multiplyAddPairs(swap, k1));
  };
  const auto add = [](auto a, auto b) { return hn::Add(a, b); };
  const auto sub = [](auto a, auto b) { return hn::Sub(a, b); };
  Wide<Zel32s> a[2], b[2];
  for (int i = 0; i < 2; ++i) {
    a[i] = each(add, each(products, even, loadWide(table.k[i][0]), loadWide(table.k[i][1])), loadWide(table.rounding));
    b[i] = each(products, odd, loadWide(table.k[2 + i][0]), loadWide(table.k[2 + i][1]));
  }
  const auto shifted = [](auto x, auto y) {
    return hn::ReorderDemote2To(WideTag<Zel16s>(), hn::ShiftRight<11>(x), hn::ShiftRight<11>(y));
  };
  return pairsOf({each(shifted, each(add, a[0], b[0]), each(add, a[1], b[1])),
                  each(shifted, each(sub, a[0], b[0]), each(sub, a[1], b[1]))});
}

// Sum of the low rows, difference of the high ones.
HWY_INLINE Wide16 sumDifference(Wide16 a, Wide16 b) {
  return joined(plusSaturated(a, b), minusSaturated(a, b));
}

// x times 1 + c: the product with c comes from its high half, the sum stays below x.
HWY_INLINE Wide16 timesOnePlus(Wide16 x, Zel16s c) {
  return plus(timesHigh(x, c), x);
}

// Finished rows.
struct Rows {
  Wide16 r01, r32, r45, r76;
};

HWY_INLINE Rows transformColumns(TwoPairs rows04and15, TwoPairs rows26and37) {
  const Wide16 r04 = rows04and15.first, r15 = rows04and15.second, r26 = rows26and37.first, r37 = rows26and37.second;
  const Wide16 r17 = joined(r15, r37), r35 = joined(r37, r15);
  const Wide16 pq = sumDifference(timesHigh(swapped(r17), kTan1), r17);
  const Wide16 mn = sumDifference(r35, swapped(timesOnePlus(r35, kTan3Less1)));
  const Wide16 b0u = plusSaturated(pq, mn), tv = minusSaturated(pq, mn), vt = swapped(tv);
  const Wide16 w2z2 = timesOnePlus(joined(minusSaturated(tv, vt), plusSaturated(tv, vt)), kCos4Less1);
  const Wide16 b0z2 = joined(b0u, w2z2), uw2 = swapped(joined(w2z2, b0u));
  const Wide16 sd = sumDifference(swapped(r04), r04), e = sumDifference(timesHigh(swapped(r26), kTan2), r26);
  const Wide16 a01 = plusSaturated(sd, e), a32 = minusSaturated(sd, e);
  const auto shifted = [](Wide16 x) { return each([](auto v) { return hn::ShiftRight<6>(v); }, x); };
  return {shifted(plusSaturated(a01, b0z2)), shifted(plusSaturated(a32, uw2)), shifted(minusSaturated(a32, uw2)),
          shifted(minusSaturated(a01, b0z2))};
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

// Four rows of samples, those of a and then those of b.
HWY_INLINE void storeFour(Wide16 a, Wide16 b, Zel8u* r0, Zel8u* r1, Zel8u* r2, Zel8u* r3) {
  constexpr WideTag<Zel8u> d;
  const auto levelled = [=](auto v) { return hn::Xor(hn::BitCast(d, v), hn::Set(d, 128)); };
  alignas(32) Zel64u rows[4];
  storeWide(each(levelled, bytesOfPairs(a, b)), reinterpret_cast<Zel8u*>(rows));
  hwy::CopyBytes<8>(&rows[0], r0);
  hwy::CopyBytes<8>(&rows[1], r1);
  hwy::CopyBytes<8>(&rows[2], r2);
  hwy::CopyBytes<8>(&rows[3], r3);
}

HWY_INLINE void storeSamples(Rows x, Zel8u* dst, int step) {
  const auto at = [=](int y) { return row(dst, step, y); };
  storeFour(x.r01, x.r32, at(0), at(1), at(3), at(2));
  storeFour(x.r45, x.r76, at(4), at(5), at(7), at(6));
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
