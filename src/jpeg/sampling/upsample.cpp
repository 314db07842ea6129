// Doubling of planes and rows by the triangle filter: each result is 3/4 of the near sample and 1/4 of the far one, in
// one direction or in both.
//
// A pair of neighbours in the source makes two neighbours in the destination, d[2i+1] and d[2i+2]; what is left are the
// first pixel and, at even widths, the last one. There planes take a margin from memory and rows repeat their ends.
#include <cstring>

#include "frame/checks.h"
#include "frame/implementations.h"
#include "frame/rows.h"
#include "simd/blocks.h"
#include "simd/simd.h"

namespace zelj {
namespace {

// A whole register for the first lanes of which d stands: doubling works on blocks of 16 bytes.
template <class D>
using Whole = hn::CappedTag<Zel8u, (hn::MaxLanes(D()) < 16 ? 16 : hn::MaxLanes(D()))>;

template <class D>
HWY_INLINE auto loadWhole(D d, const Zel8u* src) {
  const Whole<D> whole;
  if constexpr (hn::MaxLanes(d) == hn::MaxLanes(whole)) {
    return hn::LoadU(whole, src);
  } else {
    Zel8u lanes[16] = {};
    std::memcpy(lanes, src, hn::MaxLanes(d));
    return hn::LoadU(whole, lanes);
  }
}

// Twice the lanes of d, from the two halves of an interleaved row.
template <class D, class V>
HWY_INLINE void storeWhole(V lower, V upper, D d, Zel8u* dst) {
  const Whole<D> whole;
  if constexpr (hn::MaxLanes(d) == hn::MaxLanes(whole)) {
    storeInterleaved(lower, upper, whole, dst);
  } else {
    Zel8u lanes[16];
    hn::StoreU(lower, whole, lanes);
    std::memcpy(dst, lanes, 2 * hn::MaxLanes(d));
  }
}

// Doubling in one direction.
struct Line {
  const Zel8u* src;

  Zel8u left(int near, int far) const { return static_cast<Zel8u>((src[far] + 3 * src[near] + 1) >> 2); }
  Zel8u right(int near, int far) const { return static_cast<Zel8u>((3 * src[near] + src[far] + 2) >> 2); }

  // d[2i+1] and d[2i+2] from a = s[i] and b = s[i+1], with means of two bytes, as the processor rounds them (upwards):
  // (3a + b + 2) >> 2 is the mean of a and of the rounded down mean of a and b; (a + 3b + 1) >> 2 is the mean of b and
  // of one less than the mean of a and b (which is 0 only if both are, and then 0 will do).
  template <class D>
  HWY_INLINE void pairs(D d, int i, Zel8u* dst) const {
    const Whole<D> w;
    const auto a = loadWhole(d, src + i), b = loadWhole(d, src + i + 1), one = hn::Set(w, 1);
    const auto up = hn::AverageRound(a, b), down = hn::Sub(up, hn::And(hn::Xor(a, b), one));
    const auto first = hn::AverageRound(a, down), second = hn::AverageRound(hn::SaturatedSub(up, one), b);
    storeWhole(hn::InterleaveLower(w, first, second), hn::InterleaveUpper(w, first, second), d, dst);
  }
};

// Doubling in both directions: the rows' sums c[i] = 3 near[i] + far[i] take the place of samples.
struct Lines {
  const Zel8u *near, *far;

  int sum(int i) const { return 3 * near[i] + far[i]; }
  Zel8u left(int i, int j) const { return static_cast<Zel8u>((sum(j) + 3 * sum(i) + 8) >> 4); }
  Zel8u right(int i, int j) const { return static_cast<Zel8u>((3 * sum(i) + sum(j) + 7) >> 4); }

  // With a = 32 c[i] and b = 32 c[i+1] their mean is exact, and the mean and a (or b) make 16 times the sum 3a + b (or
  // a + 3b) of a result, below 65536: the result is the high byte.
  template <class V>
  static HWY_INLINE auto results(V a, V b) {
    const hn::DFromV<V> d16;
    const hn::Repartition<Zel8u, decltype(d16)> d8;
    const auto mean = hn::AverageRound(a, b);
    const auto first = hn::Add(hn::Add(mean, hn::Set(d16, 16 * 7)), a);
    const auto second = hn::Add(hn::Add(mean, hn::Set(d16, 16 * 8)), b);
    alignas(16) static constexpr Zel8u kHighBytes[16] = {1, 1, 3, 3, 5, 5, 7, 7, 9, 9, 11, 11, 13, 13, 15, 15};
    const auto high = hn::TableLookupBytes(hn::BitCast(d8, first), hn::LoadDup128(d8, kHighBytes));
    return hn::OddEven(hn::BitCast(d8, second), high);
  }

  template <class D>
  HWY_INLINE void pairs(D d, int i, Zel8u* dst) const {
    const Whole<D> w;
    const auto nearA = loadWhole(d, near + i), farA = loadWhole(d, far + i);
    const auto nearB = loadWhole(d, near + i + 1), farB = loadWhole(d, far + i + 1);
    storeWhole(results(weightedPairs<96, 32>(hn::InterleaveLower(w, nearA, farA)),
                       weightedPairs<96, 32>(hn::InterleaveLower(w, nearB, farB))),
               results(weightedPairs<96, 32>(hn::InterleaveUpper(w, nearA, farA)),
                       weightedPairs<96, 32>(hn::InterleaveUpper(w, nearB, farB))),
               d, dst);
  }
};

// A row of `width` pixels; `left` and `right` are the places in the source of the samples beyond its ends.
template <class Source>
void doubleRow(Source source, int left, int right, Zel8u* dst, Zel64s width) {
  const int count = static_cast<int>((width - 1) / 2);
  dst[0] = source.left(0, left);
  forVectors<Zel8u>(count, [=](auto d, int i) { source.pairs(d, i, dst + 2 * Zel64s{i} + 1); });
  if (width % 2 == 0) dst[width - 1] = source.right(count, right);
}

} // namespace
} // namespace zelj

using namespace zelj;

ZelStatus ownSampleUpH2V1_JPEG_8u_C1R(const Zel8u* pSrc, int srcStep, ZeliSize srcRoiSize, Zel8u* pDst, int dstStep,
                                      ZeliSize dstRoiSize) {
  if (ZelStatus bad = checkOperandByOperand(pSrc, srcStep, srcRoiSize, pDst, dstStep, dstRoiSize)) return bad;
  const int width = dstRoiSize.width;
  for (int y = 0; y < dstRoiSize.height; ++y) {
    doubleRow(Line{row(pSrc, srcStep, y)}, -1, width / 2, row(pDst, dstStep, y), width);
  }
  return zelStatusOk;
}

ZelStatus ownSampleUpH2V2_JPEG_8u_C1R(const Zel8u* pSrc, int srcStep, ZeliSize srcRoiSize, Zel8u* pDst, int dstStep,
                                      ZeliSize dstRoiSize) {
  if (ZelStatus bad = checkOperandByOperand(pSrc, srcStep, srcRoiSize, pDst, dstStep, dstRoiSize)) return bad;
  const int width = dstRoiSize.width;
  forRows(dstRoiSize, [=](int y) {
    const Zel8u* near = row(pSrc, srcStep, y >> 1);
    const Zel8u* far = y & 1 ? near + srcStep : near - srcStep;
    doubleRow(Lines{near, far}, -1, width / 2, row(pDst, dstStep, y), width);
  });
  return zelStatusOk;
}

ZelStatus ownSampleUpRowH2V1_Triangle_JPEG_8u_C1(const Zel8u* pSrc, int srcWidth, Zel8u* pDst) {
  if (ZelStatus bad = checkPointersLength(present(pSrc, pDst), srcWidth)) return bad;
  doubleRow(Line{pSrc}, 0, srcWidth - 1, pDst, 2 * Zel64s{srcWidth});
  return zelStatusOk;
}

ZelStatus ownSampleUpRowH2V2_Triangle_JPEG_8u_C1(const Zel8u* pSrc1, const Zel8u* pSrc2, int srcWidth, Zel8u* pDst) {
  if (ZelStatus bad = checkPointersLength(present(pSrc1, pSrc2, pDst), srcWidth)) return bad;
  doubleRow(Lines{pSrc1, pSrc2}, 0, srcWidth - 1, pDst, 2 * Zel64s{srcWidth});
  return zelStatusOk;
}
