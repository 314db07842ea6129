// Inverse DCT straight to 4x4 or 2x2 samples, the means of groups of the full result: the row transforms leave out what
// the means cancel. Where several dwords of two columns are in a register, it holds rows in the order that names it.
//
// Calls for successive blocks overlap as far as the processor sees ahead, which is two or three blocks: both the number
// of operations and the length of the chain count, so that some results are computed twice rather than moved.
#include <cstring>
#include <utility>

#include "frame/checks.h"
#include "frame/implementations.h"
#include "jpeg/dct/idct_steps.h"
#include "simd/dwords.h"

namespace zelj {
namespace {

using Lane = hn::FixedTag<Zel16s, 8>;
using LaneVector = hn::Vec<Lane>;
using Lane32 = hn::FixedTag<Zel32s, 4>;
using Sums = Rows<Zel32s, 2>;

template <int kLane, class T>
HWY_INLINE LaneVector laneOf(Rows<T, 2> x) {
  if constexpr (Rows<T, 2>::kVectors == 2) {
    return x.v[kLane];
  } else if constexpr (kLane == 0) {
    return hn::LowerHalf(Lane(), x.v[0]);
  } else {
    return hn::UpperHalf(Lane(), x.v[0]);
  }
}

HWY_INLINE LaneVector load(const Zel16s (&k)[8]) {
  return hn::Load(Lane(), k);
}

// Dwords, which are two columns of a row.
HWY_INLINE LaneVector oddEvenDwords(LaneVector odd, LaneVector even) {
  return hn::BitCast(Lane(), hn::OddEven(hn::BitCast(Lane32(), odd), hn::BitCast(Lane32(), even)));
}
HWY_INLINE LaneVector evenDwordsTwice(LaneVector x) {
  return hn::BitCast(Lane(), hn::DupEven(hn::BitCast(Lane32(), x)));
}
HWY_INLINE LaneVector oddDwordsTwice(LaneVector x) {
  return hn::BitCast(Lane(), hn::DupOdd(hn::BitCast(Lane32(), x)));
}
HWY_INLINE LaneVector oddDwordsFirst(LaneVector x) {
  return hn::BitCast(Lane(), hn::ShiftRight<32>(hn::BitCast(hn::FixedTag<Zel64u, 2>(), x)));
}
template <int kDword>
HWY_INLINE LaneVector everywhere(LaneVector x) {
  return hn::BitCast(Lane(), hn::Broadcast<kDword>(hn::BitCast(Lane32(), x)));
}

HWY_INLINE LaneVector timesCos4(LaneVector x) {
  return hn::Add(hn::MulHigh(x, hn::Load(Lane(), kInverse.cos4.k)), x);
}

// To 4x4.

// S0 S1 S2 S3 of each of two rows.
HWY_INLINE Sums rowSums(Rows2 x, const Zel16s (&k)[2][2 * 8]) {
  return plus(products(bytesByIndex(x, kInverse.to4.columns[0]), k[0]),
              products(bytesByIndex(x, kInverse.to4.columns[1]), k[1]));
}

// Columns 0 1 of the one row, 0 1 of the other, 3 2 of the one and 3 2 of the other.
HWY_INLINE Rows2 meansOfRows(Sums one, Sums other, const Zel32s (&rounding)[2 * 4]) {
  const Sums even = plus(each(firstHalves, one, other), loadRows<Sums>(rounding)), odd = each(secondHalves, one, other);
  return packedRows<12>(plus(even, odd), minus(even, odd));
}

// A and the complement of A2, of rows 2 | 6 and row 0 twice.
HWY_INLINE LaneVector evenPart(LaneVector rows26, LaneVector rows00) {
  const LaneVector tangents = hn::MulHigh(rows26, hn::Load(Lane(), kInverse.tangents.k + 16));
  const LaneVector e = evenDwordsTwice(hn::SaturatedAdd(hn::SaturatedAdd(rows26, oddDwordsFirst(tangents)),
                                                        hn::SaturatedSub(tangents, oddDwordsFirst(rows26))));
  return hn::SaturatedAdd(hn::Xor(hn::SaturatedAdd(rows00, rows00), load(kInverse.complement)), e);
}

// [R0, R1] of rows 1 | 7 and rows 3 | 5.
HWY_INLINE LaneVector oddPart(LaneVector rows17, LaneVector rows35) {
  const Lane d;
  const LaneVector t71 = neighbourDwords(hn::MulHigh(rows17, hn::Load(d, kInverse.tangents.k + 8)));
  const LaneVector t53 = neighbourDwords(hn::Add(hn::MulHigh(rows35, hn::Load(d, kInverse.tangents.k + 24)), rows35));
  const LaneVector pq = oddEvenDwords(hn::SaturatedSub(t71, rows17), hn::SaturatedAdd(t71, rows17));
  const LaneVector mn = hn::SaturatedAdd(rows35, timesSign16(t53, load(kInverse.to4.signs)));
  const LaneVector b0u = hn::SaturatedAdd(pq, mn), tv = hn::SaturatedSub(pq, mn), vt = neighbourDwords(tv);
  const LaneVector zw = oddEvenDwords(hn::SaturatedSub(vt, tv), hn::SaturatedAdd(tv, vt));
  return hn::SaturatedAdd(timesCos4(zw), b0u);
}

HWY_INLINE void store4x4(const Zel16s* src, const Zel16u* table, Zel8u* dst, int step) {
  const auto& k = kInverse.to4;
  const auto sums = [&](int i) { return rowSums(dequantised<Rows2>(src + 16 * i, table + 16 * i), k.k[i]); };
  Sums rows01 = sums(0), rows23 = sums(1), rows45 = sums(2), rows67 = sums(3);
  constexpr bool kFree =
      Sums::kVectors == 2; // a register for each row: even rows pair as they are needed, without row 4
  if constexpr (kFree) {
    rows45.v[0] = rows01.v[0];
    std::swap(rows01.v[0], rows23.v[0]);
  }
  const Rows2 rows17 = meansOfRows(rows01, rows67, k.rounding[kFree][0]);
  const Rows2 rows35 = meansOfRows(rows23, rows45, k.rounding[kFree][1]);
  LaneVector rows26 = laneOf<0>(rows17), rows00 = laneOf<0>(rows35);
  if constexpr (!kFree) { // rows 0 6 and 2 4
    const LaneVector rows06 = rows26;
    rows26 = oddEvenDwords(rows06, rows00);
    rows00 = evenDwordsTwice(rows06);
  }

  const LaneVector a = evenPart(rows26, rows00), r = oddPart(laneOf<1>(rows17), laneOf<1>(rows35));
  const auto bytes = narrowSigned(hn::ShiftRight<6>(hn::SaturatedAdd(a, r)), hn::ShiftRight<6>(hn::SaturatedSub(a, r)));
  const Block8u d8;
  const auto samples =
      hn::TableLookupBytes(hn::Xor(hn::BitCast(d8, bytes), hn::Load(d8, k.levelShift)), hn::Load(d8, k.rows));
  const auto halves = hn::BitCast(hn::FixedTag<Zel64u, 2>(), samples);
  const auto storeTwo = [=](Zel64u rows, int y) {
    std::memcpy(row(dst, step, y), &rows, 4);
    rows >>= 32;
    std::memcpy(row(dst, step, y + 1), &rows, 4);
  };
  storeTwo(hn::GetLane(halves), 0);
  storeTwo(hn::ExtractLane(halves, 1), 2);
}

// To 2x2.

// Both means of two rows.
HWY_INLINE hn::Vec<Lane32> meansOfTwoRows(LaneVector one, LaneVector other, const InverseTables::ToTwo::RowPair& k) {
  const auto even = hn::Add(sumsOfProducts(firstDwords(one, other), load(k.k[0])), hn::Load(Lane32(), k.rounding));
  const auto oddColumns = [](LaneVector x) {
    const Block8u d8;
    return hn::BitCast(Lane(), hn::TableLookupBytes(hn::BitCast(d8, x), hn::Load(d8, kInverse.to2.oddColumns)));
  };
  one = oddColumns(one);
  other = oddColumns(other);
  const auto odd = hn::Add(sumsOfProducts(firstHalves(one, other), load(k.k[1])),
                           sumsOfProducts(secondHalves(one, other), load(k.k[2])));
  return hn::ShiftRight<12>(hn::Add(even, odd));
}

// Four times row 0 and, in the odd dwords, its complement.
HWY_INLINE LaneVector fourTimesRow0(LaneVector row0) {
  const Lane32 d32;
  const auto& k = kInverse.to2;
  const auto first = sumsOfProducts(row0, load(k.row0[0])), second = sumsOfProducts(row0, load(k.row0[1]));
  const auto halves = hn::Add(hn::InterleaveLower(d32, first, second), hn::InterleaveUpper(d32, first, second));
  const auto sums = hn::Add(hn::Add(halves, hn::Load(d32, k.rounding0)), halvesSwapped(halves));
  const auto fourMeans = hn::And(hn::ShiftRight<10>(sums), hn::Load(d32, k.wholeFours));
  return hn::Xor(hn::ReorderDemote2To(Lane(), fourMeans, fourMeans), load(kInverse.complement));
}

HWY_INLINE void store2x2(const Zel16s* src, const Zel16u* table, Zel8u* dst, int step) {
  const Lane d;
  const auto& k = kInverse.to2;
  const auto x = [=](int i) {
    return hn::Mul(hn::LoadU(d, src + 8 * i), hn::BitCast(d, hn::LoadU(hn::RebindToUnsigned<Lane>(), table + 8 * i)));
  };
  const auto rows13 = meansOfTwoRows(x(1), x(3), k.rows13), rows75 = meansOfTwoRows(x(7), x(5), k.rows75);
  const LaneVector rows1375 = hn::ReorderDemote2To(d, rows13, rows75);
  const LaneVector rows7513 = hn::ReorderDemote2To(d, rows75, rows13);
  const LaneVector y = fourTimesRow0(x(0));

  // Not x, the complement, is -x - 1, also where either saturates: a - b is not (not a + b), and not (a + b) is not a - b.
  // With 1 more than tan(pi / 16) of row 1, one difference of all rows gives N and not Q, and so on to not S.
  const LaneVector tangents = hn::Add(hn::MulHigh(rows7513, load(k.tangents)), oddEvenDwords(rows7513, load(k.one)));
  const LaneVector pmqn = hn::SaturatedAdd(rows1375, timesSign16(tangents, load(k.signs)));
  const LaneVector pq = evenDwordsTwice(pmqn), mn = oddDwordsTwice(pmqn), tu = hn::SaturatedSub(pq, mn);
  const LaneVector w = timesCos4(tu);
  const LaneVector ub = hn::SaturatedSub(halvesSwapped(tu), hn::SaturatedAdd(pq, mn));
  const LaneVector s = hn::SaturatedSub(ub, hn::SaturatedAdd(w, w));

  const LaneVector results = hn::ShiftRight<7>(hn::SaturatedSub(s, y)); // not (y + S), y - S
  const auto bytes = hn::BitCast(hn::FixedTag<Zel32u, 4>(), narrowSigned(results, results));
  const Zel32u samples = hn::GetLane(bytes) ^ 0x80807F7F;
  std::memcpy(dst, &samples, 2);
  const Zel32u second = samples >> 16;
  std::memcpy(row(dst, step, 1), &second, 2);
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
