// Inverse DCT straight to 4x4 or 2x2 samples, the means of groups of the full result: the row transforms leave out what
// the means cancel. Registers are named for the rows in them, two columns of each in a dword.
//
// Calls for successive blocks overlap as far as the processor sees ahead, two or three blocks: both the number of
// operations and the length of the chain count, so that a result is rather packed twice than moved.
//
// The complement of a value, written not x, is -x - 1, and saturates where x does: not (a + b) = (not a) - b. Where a
// sum and a difference stand side by side, the complement of the difference is a sum, too, and one operation gives
// both.
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

// A | not A2, of rows 2 | 6 and row 0 twice.
HWY_INLINE LaneVector evenPart(LaneVector rows26, LaneVector rows00) {
  const LaneVector tangents = hn::MulHigh(rows26, hn::Load(Lane(), kInverse.tangents.k + 16));
  const LaneVector e = evenDwordsTwice(hn::SaturatedAdd(hn::SaturatedAdd(rows26, oddDwordsFirst(tangents)),
                                                        hn::SaturatedSub(tangents, oddDwordsFirst(rows26))));
  return hn::SaturatedAdd(hn::Xor(hn::SaturatedAdd(rows00, rows00), load(kInverse.complement)), e);
}

// R0 | R1, of rows 1 | 7 and rows 3 | 5. The tangents are below 21900 in magnitude: they have a negative.
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
  constexpr bool kFree = Sums::kVectors == 2;
  if constexpr (kFree) { // a register for each row: even ones can pair as they are needed, and row 4 stays out
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

// Both means of rows 1 and 3, or 7 and 5, and in front of them, if there is room, of rows 0 and 2, or 6 and 4.
template <class V>
HWY_INLINE auto meansOfTwoRows(V one, V other, const InverseTables::ToTwo::RowPair& k) {
  const hn::DFromV<V> d;
  const hn::RepartitionToWide<decltype(d)> d32;
  constexpr size_t kRoom = 16 - hn::MaxLanes(d);
  const auto factors = [&](int i) { return hn::Load(d, k.k[i] + kRoom); };
  const auto oddColumns = [=](V x) {
    const hn::Repartition<Zel8u, decltype(d)> d8;
    return hn::BitCast(d, hn::TableLookupBytes(hn::BitCast(d8, x), hn::Load(d8, kInverse.to2.oddColumns)));
  };
  const auto even = hn::Add(sumsOfProducts(firstDwords(one, other), factors(0)), hn::Load(d32, k.rounding + kRoom / 2));
  one = oddColumns(one);
  other = oddColumns(other);
  const auto odd = hn::Add(sumsOfProducts(firstHalves(one, other), factors(1)),
                           sumsOfProducts(secondHalves(one, other), factors(2)));
  return hn::ShiftRight<12>(hn::Add(even, odd));
}

// Four times row 0, y | not y, where it has no place beside row 1.
[[maybe_unused]] HWY_INLINE LaneVector fourTimesRow0(LaneVector row0) {
  const Lane32 d32;
  const auto& k = kInverse.to2;
  const auto first = sumsOfProducts(row0, load(k.row0[0])), second = sumsOfProducts(row0, load(k.row0[1]));
  const auto halves = hn::Add(hn::InterleaveLower(d32, first, second), hn::InterleaveUpper(d32, first, second));
  const auto sums = hn::Add(hn::Add(halves, hn::Load(d32, k.rounding0)), halvesSwapped(halves));
  const auto fourMeans = hn::And(hn::ShiftRight<10>(sums), hn::Load(d32, k.wholeFours));
  return hn::Xor(hn::ReorderDemote2To(Lane(), fourMeans, fourMeans), load(kInverse.complement));
}

struct Means {
  hn::Vec<Lane32> rows13, rows75;
  LaneVector y;
};
template <class R>
HWY_INLINE Means meansOfRows(const Zel16s* src, const Zel16u* table) {
  const auto& k = kInverse.to2;
  if constexpr (R::kVectors == 2) {
    const auto x = [=](int i) { return dequantised<Rows<Zel16s, R::kRows / 2>>(src + 8 * i, table + 8 * i).v[0]; };
    return {meansOfTwoRows(x(1), x(3), k.rows13), meansOfTwoRows(x(7), x(5), k.rows75), fourTimesRow0(x(0))};
  } else {
    const auto x = [=](int i) { return dequantised<R>(src + 16 * i, table + 16 * i).v[0]; };
    const auto rows0213 = meansOfTwoRows(x(0), x(1), k.rows13), rows6475 = meansOfTwoRows(x(3), x(2), k.rows75);
    const auto row0 = hn::LowerHalf(Lane32(), rows0213), fourMeans = hn::ShiftLeft<2>(firstHalves(row0, row0));
    return {hn::UpperHalf(Lane32(), rows0213), hn::UpperHalf(Lane32(), rows6475),
            hn::Xor(hn::ReorderDemote2To(Lane(), fourMeans, fourMeans), load(kInverse.complement))};
  }
}

HWY_INLINE void store2x2(const Zel16s* src, const Zel16u* table, Zel8u* dst, int step) {
  const Lane d;
  const auto& k = kInverse.to2;
  const auto [rows13, rows75, y] = meansOfRows<Rows2>(src, table);
  const LaneVector rows1375 = hn::ReorderDemote2To(d, rows13, rows75);
  const LaneVector rows7513 = hn::ReorderDemote2To(d, rows75, rows13);

  // That of row 1 is 1 more: then the difference with row 7 is not Q.
  const LaneVector tangents = hn::Add(hn::MulHigh(rows7513, load(k.tangents)), oddEvenDwords(rows7513, load(k.one)));
  const LaneVector pmqn = hn::SaturatedAdd(rows1375, timesSign16(tangents, load(k.signs)));
  const LaneVector pq = evenDwordsTwice(pmqn), mn = oddDwordsTwice(pmqn), tu = hn::SaturatedSub(pq, mn); // T | not U
  const LaneVector w = timesCos4(tu);
  const LaneVector ub = hn::SaturatedSub(halvesSwapped(tu), hn::SaturatedAdd(pq, mn)); // not (U + b0)
  const LaneVector s = hn::SaturatedSub(ub, hn::SaturatedAdd(w, w));                   // not S

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
