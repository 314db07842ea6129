// Inverse DCT straight to 4x4 or 2x2 samples, the means of groups of the full result: the row transforms leave out what
// the means cancel.
//
// The row transform works on four rows at a time, transposed: a dword of a lane holds two columns of a row, so that
// sums along a row are sums of vectors. Rows 0 2 4 6 are in first lanes and 1 3 5 7 in second ones, as they are loaded.
#include <cstring>

#include "frame/checks.h"
#include "frame/implementations.h"
#include "jpeg/dct/idct_steps.h"

namespace zelj {
namespace {

// Pairs of columns of four rows in each lane.
struct ColumnPairs {
  Rows2 c04, c26, c13, c57;
};

// Where each row has a register of its own, even rows that are not needed may be row 0 once more.
HWY_INLINE ColumnPairs columnPairs(const Zel16s* src, const Zel16u* table, const int (&evenRows)[4]) {
  const auto load = [&](int i) {
    Rows2 x = dequantised<Rows2>(src + 16 * i, table + 16 * i);
    if constexpr (Rows2::kVectors == 2) {
      x.v[0] = dequantised<Rows2>(src + 8 * evenRows[i], table + 8 * evenRows[i]).v[0];
    }
    return bytesByIndex(x, kInverse.columnPairs);
  };
  constexpr auto lower = [](auto a, auto b) {
    const hn::Repartition<Zel32s, hn::DFromV<decltype(a)>> d;
    return hn::BitCast(hn::DFromV<decltype(a)>(), hn::InterleaveLower(d, hn::BitCast(d, a), hn::BitCast(d, b)));
  };
  constexpr auto upper = [](auto a, auto b) {
    const hn::Repartition<Zel32s, hn::DFromV<decltype(a)>> d;
    return hn::BitCast(hn::DFromV<decltype(a)>(), hn::InterleaveUpper(d, hn::BitCast(d, a), hn::BitCast(d, b)));
  };
  const Rows2 a = load(0), b = load(1), c = load(2), e = load(3);
  const Rows2 lowerAb = each(lower, a, b), lowerCe = each(lower, c, e);
  const Rows2 upperAb = each(upper, a, b), upperCe = each(upper, c, e);
  return {each(firstHalves, lowerAb, lowerCe), each(secondHalves, lowerAb, lowerCe),
          each(firstHalves, upperAb, upperCe), each(secondHalves, upperAb, upperCe)};
}

// What the row transform gives is packed by columns: 0 of four rows and 1 of four rows in one, 2 and 3 in the other.
// Back to rows: half a lane holds the four columns of a row, the first two rows and then the other two.
struct RowHalves {
  Rows2 first, second;
};
HWY_INLINE RowHalves rowsOfColumns(Rows2 columns01, Rows2 columns23) {
  constexpr auto lower = [](auto a, auto b) { return hn::InterleaveLower(a, b); };
  constexpr auto upper = [](auto a, auto b) { return hn::InterleaveUpper(hn::DFromV<decltype(a)>(), a, b); };
  const Rows2 c02 = each(lower, columns01, columns23), c13 = each(upper, columns01, columns23);
  return {each(lower, c02, c13), each(upper, c02, c13)};
}

using Lane = hn::FixedTag<Zel16s, 8>;
using LaneVector = hn::Vec<Lane>;

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

HWY_INLINE LaneVector timesTangents13(LaneVector x) {
  const Lane d;
  return hn::Add(hn::MulHigh(x, hn::Load(d, kInverse.halfTangents)), hn::And(x, hn::Load(d, kInverse.halfWhole)));
}

// b0 and U in both halves, T and V in the first one, of rows 1 | 3 and 5 | 7.
struct OddPart {
  LaneVector b0, t, u, v;
};
HWY_INLINE OddPart oddPart(LaneVector rows13, LaneVector rows57) {
  const Lane d;
  const LaneVector rows75 = halvesSwapped(rows57), tangents = timesTangents13(rows13);
  const LaneVector pm = hn::SaturatedAdd(rows13, timesTangents13(rows75));
  const LaneVector qn = hn::ConcatUpperLower(d, hn::SaturatedSub(rows75, tangents), hn::SaturatedSub(tangents, rows75));
  const LaneVector mp = halvesSwapped(pm), nq = halvesSwapped(qn);
  return {hn::SaturatedAdd(pm, mp), hn::SaturatedSub(pm, mp), hn::SaturatedAdd(qn, nq), hn::SaturatedSub(qn, nq)};
}

HWY_INLINE LaneVector timesCos4(LaneVector x) {
  return hn::Add(hn::MulHigh(x, hn::Load(Lane(), kInverse.cos4.k)), x);
}

HWY_INLINE LaneVector joinedHalves(LaneVector a, LaneVector b) {
  return firstHalves(a, b);
}

// The samples of a + b, then those of a - b.
template <int kShift>
HWY_INLINE hn::Vec<Block8u> sumAndDifference(LaneVector a, LaneVector b) {
  const auto bytes =
      narrowSigned(hn::ShiftRight<kShift>(hn::SaturatedAdd(a, b)), hn::ShiftRight<kShift>(hn::SaturatedSub(a, b)));
  return hn::Xor(hn::BitCast(Block8u(), bytes), hn::Set(Block8u(), 128));
}

HWY_INLINE void store4x4(const Zel16s* src, const Zel16u* table, Zel8u* dst, int step) {
  const ColumnPairs x = columnPairs(src, table, {0, 2, 0, 6});
  const auto& k = kInverse.to4.k;
  const auto e = plus(products(x.c04, k[0]), loadRows<Rows<Zel32s, 2>>(kInverse.to4.rounding));
  const auto f = products(x.c26, k[1]);
  const auto s0 = plus(e, f), s1 = minus(e, f), s2 = plus(products(x.c13, k[2]), products(x.c57, k[3])),
             s3 = plus(products(x.c13, k[4]), products(x.c57, k[5]));
  const RowHalves rows =
      rowsOfColumns(packedRows<12>(plus(s0, s2), plus(s1, s3)), packedRows<12>(minus(s1, s3), minus(s0, s2)));

  const Lane d;
  const OddPart odd = oddPart(laneOf<1>(rows.first), laneOf<1>(rows.second));
  const LaneVector z2w2 = timesCos4(joinedHalves(hn::SaturatedAdd(odd.t, odd.v), hn::SaturatedSub(odd.t, odd.v)));
  const LaneVector r = hn::SaturatedAdd(z2w2, hn::ConcatUpperLower(d, odd.u, odd.b0));

  const LaneVector rows02 = laneOf<0>(rows.first), rows46 = laneOf<0>(rows.second);
  const LaneVector rows26 = secondHalves(rows02, rows46), row0 = firstHalves(rows02, rows02);
  const LaneVector tangents = halvesSwapped(hn::MulHigh(rows26, hn::Set(d, kInverse.tangents.k[16])));
  const LaneVector e01 =
      hn::ConcatUpperLower(d, hn::SaturatedSub(tangents, rows26), hn::SaturatedAdd(tangents, rows26));
  const LaneVector both = hn::SaturatedAdd(e01, halvesSwapped(e01)), y = hn::SaturatedAdd(row0, row0);
  const LaneVector a = hn::ConcatUpperLower(d, hn::SaturatedSub(y, both), hn::SaturatedAdd(y, both));

  const auto out = hn::BitCast(hn::FixedTag<Zel32u, 4>(), sumAndDifference<6>(a, r)); // rows 0 1 3 2
  const auto store = [=](Zel32u four, int line) { std::memcpy(row(dst, step, line), &four, 4); };
  store(hn::GetLane(out), 0);
  store(hn::ExtractLane(out, 1), 1);
  store(hn::ExtractLane(out, 3), 2);
  store(hn::ExtractLane(out, 2), 3);
}

HWY_INLINE void store2x2(const Zel16s* src, const Zel16u* table, Zel8u* dst, int step) {
  const ColumnPairs x = columnPairs(src, table, {0, 0, 0, 0});
  const auto& k = kInverse.to2.k;
  const auto e = plus(products(x.c04, k[0]), loadRows<Rows<Zel32s, 2>>(kInverse.to2.rounding));
  const auto o = plus(products(x.c13, k[2]), products(x.c57, k[3]));
  const Rows2 columns = packedRows<12>(plus(e, o), minus(e, o));
  const RowHalves rows = rowsOfColumns(columns, columns); // columns 0 1 0 1

  const OddPart odd = oddPart(laneOf<1>(rows.first), laneOf<1>(rows.second));
  const LaneVector w = timesCos4(odd.t), y2 = hn::SaturatedAdd(laneOf<0>(rows.first), laneOf<0>(rows.first));
  const LaneVector s = hn::SaturatedAdd(hn::SaturatedAdd(odd.u, odd.b0), hn::SaturatedAdd(w, w));
  const auto out = hn::BitCast(hn::FixedTag<Zel16u, 8>(), sumAndDifference<7>(hn::SaturatedAdd(y2, y2), s));
  const Zel16u first = hn::GetLane(out), second = hn::ExtractLane(out, 4);
  std::memcpy(dst, &first, 2);
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
