// The exports of the irreversible 9/7 wavelet. Its numeric forms differ by rounding and in overflow.
#include "jpeg2k/wavelet/irreversible.h"

#include "frame/implementations.h"
#include "jpeg2k/wavelet/exports.h"

namespace zelj {
namespace {

// All steps of one row pair, each on the newest rows that are ready for it: a caller's pipeline of four stages.
template <class Filter, class T>
ZelStatus forwardColumnLift(const T* pSrc0, const T* pSrc1, const T* pSrc2, T* pSrcDstLow0, T* pDstLow1,
                            T* pSrcDstHigh0, T* pSrcDstHigh1, T* pDstHigh2, int width) {
  if (ZelStatus bad = checkPointersLength(
          present(pSrc0, pSrc1, pSrc2, pSrcDstLow0, pDstLow1, pSrcDstHigh0, pSrcDstHigh1, pDstHigh2), width)) {
    return bad;
  }
  const auto *even = samples<T>(pSrc0), *odd = samples<T>(pSrc1), *next = samples<T>(pSrc2);
  auto *low0 = samples<T>(pSrcDstLow0), *low1 = samples<T>(pDstLow1);
  auto *high0 = samples<T>(pSrcDstHigh0), *high1 = samples<T>(pSrcDstHigh1), *high2 = samples<T>(pDstHigh2);
  ZELJ_INDEPENDENT
  for (int x = 0; x < width; ++x) {
    const T a = Filter::A::apply(odd[x].v, even[x].v, next[x].v);
    const T b = Filter::B::apply(even[x].v, high1[x].v, a);
    const T c = Filter::C::apply(high1[x].v, low0[x].v, b);
    const T low = Filter::Low::apply(low0[x].v, high0[x].v, c), last = high0[x].v;
    high2[x].v = a;
    low1[x].v = b;
    high1[x].v = c;
    low0[x].v = low;
    high0[x].v = Filter::High::apply(last, last, last);
  }
  return zelStatusOk;
}

template <class Filter, class T>
ZelStatus inverseColumnLift(const T* pSrcLow0, const T* pSrcHigh0, const T* pSrcHigh1, const T* pSrc0, T* pSrcDstHigh0,
                            T* pSrcDstLow0, T* pDstHigh1, T* pDstLow1, int width) {
  if (ZelStatus bad = checkPointersLength(
          present(pSrcLow0, pSrcHigh0, pSrcHigh1, pSrc0, pSrcDstHigh0, pSrcDstLow0, pDstHigh1, pDstLow1), width)) {
    return bad;
  }
  const auto *low = samples<T>(pSrcLow0), *high = samples<T>(pSrcHigh0), *next = samples<T>(pSrcHigh1);
  const auto* before = samples<T>(pSrc0);
  auto *high0 = samples<T>(pSrcDstHigh0), *low0 = samples<T>(pSrcDstLow0);
  auto *high1 = samples<T>(pDstHigh1), *low1 = samples<T>(pDstLow1);
  ZELJ_INDEPENDENT
  for (int x = 0; x < width; ++x) {
    const T a = Filter::InverseA::apply(low[x].v, high[x].v, next[x].v);
    const T b = Filter::InverseB::apply(high[x].v, low0[x].v, a);
    const T c = Filter::InverseC::apply(low0[x].v, high0[x].v, b);
    const T d = Filter::InverseD::apply(high0[x].v, before[x].v, c);
    low1[x].v = a;
    high1[x].v = b;
    low0[x].v = c;
    high0[x].v = d;
  }
  return zelStatusOk;
}

// The first low sample of a 16-bit row, the last low and the last two high ones, and the stages behind these.
struct RowEnds {
  using Edges = Irreversible16sEdges;
  // Step k once more for indices begin to end - 1; `to` is index 0 of the result.
  template <class Step, int k, class S>
  static void again(S& s, Zel16s* to, int begin, int end) {
    const Zel16s* neighbours = s.at(k, k % 2 ? begin - 1 : begin);
    lift<Step>(to + begin, s.at(k - 1, begin), neighbours, neighbours + 1, end - begin);
  }
  // `at` is the piece of the source behind step 0, the destination of low samples behind the last step.
  template <int k, class S, class T>
  static void apply(S& s, T* at, int n, bool isFirst, bool isLast) {
    if constexpr (k == 0) {
      const auto fromSource = [&](int begin, int end) {
        for (int j = begin; j < end; ++j) lift<Edges::A>(s.at(1, j), at + 2 * j + 1, at + 2 * j, at + 2 * j + 2, 1);
      };
      if (isFirst) fromSource(-2, 2);
      if (isLast) fromSource(n, n + 1);
    } else if constexpr (k == 1) {
      if (isFirst) again<Edges::B, k>(s, s.at(2, 0), -1, 2);
      if (isLast) again<Edges::B, k>(s, s.at(2, 0), n, n + 1);
    } else if constexpr (k == 2) {
      if (isFirst) again<Edges::C, k>(s, s.at(3, 0), -1, 1);
      if (isLast) again<Edges::C, k>(s, s.at(3, 0), n - 1, n);
    } else {
      if (isFirst) again<Edges::FirstLow, k>(s, at, 0, 1);
      if (isLast) again<Edges::LastLow, k>(s, at, n - 1, n);
    }
  }
  static void applyHigh(Zel16s* high, const Zel16s* from, int n, bool isLast) {
    if (isLast) lift<Edges::High>(high + n - 2, from + n - 2, from, from, 2);
  }
};

// What the line buffer holds beside a line, and the shortest side that needs one.
constexpr int kMargin = 8, kShortest = 2;

} // namespace
} // namespace zelj

using namespace zelj;

ZelStatus ownWTFwdRow_D97_JPEG2K_16s_C1R(const Zel16s* pSrc, int srcStep, Zel16s* pDstLow, int dstLowStep,
                                         Zel16s* pDstHigh, int dstHighStep, ZeliSize dstRoiSize, int phase) {
  return forwardRowFilter<Irreversible16s, RowEnds>(pSrc, srcStep, pDstLow, dstLowStep, pDstHigh, dstHighStep,
                                                    dstRoiSize, phase);
}
ZelStatus ownWTFwdRow_D97_JPEG2K_32s_C1R(const Zel32s* pSrc, int srcStep, Zel32s* pDstLow, int dstLowStep,
                                         Zel32s* pDstHigh, int dstHighStep, ZeliSize dstRoiSize, int phase) {
  return forwardRowFilter<Irreversible32s>(pSrc, srcStep, pDstLow, dstLowStep, pDstHigh, dstHighStep, dstRoiSize,
                                           phase);
}
ZelStatus ownWTFwdRow_D97_JPEG2K_32f_C1R(const Zel32f* pSrc, int srcStep, Zel32f* pDstLow, int dstLowStep,
                                         Zel32f* pDstHigh, int dstHighStep, ZeliSize dstRoiSize, int phase) {
  return forwardRowFilter<Irreversible32f>(pSrc, srcStep, pDstLow, dstLowStep, pDstHigh, dstHighStep, dstRoiSize,
                                           phase);
}
ZelStatus ownWTInvRow_D97_JPEG2K_16s_C1R(const Zel16s* pSrcLow, int srcLowStep, const Zel16s* pSrcHigh, int srcHighStep,
                                         ZeliSize srcRoiSize, Zel16s* pDst, int dstStep, int phase) {
  return inverseRowFilter<Irreversible16s>(pSrcLow, srcLowStep, pSrcHigh, srcHighStep, srcRoiSize, pDst, dstStep,
                                           phase);
}
ZelStatus ownWTInvRow_D97_JPEG2K_32s_C1R(const Zel32s* pSrcLow, int srcLowStep, const Zel32s* pSrcHigh, int srcHighStep,
                                         ZeliSize srcRoiSize, Zel32s* pDst, int dstStep, int phase) {
  return inverseRowFilter<Irreversible32s>(pSrcLow, srcLowStep, pSrcHigh, srcHighStep, srcRoiSize, pDst, dstStep,
                                           phase);
}
ZelStatus ownWTInvRow_D97_JPEG2K_32f_C1R(const Zel32f* pSrcLow, int srcLowStep, const Zel32f* pSrcHigh, int srcHighStep,
                                         ZeliSize srcRoiSize, Zel32f* pDst, int dstStep, int phase) {
  return inverseRowFilter<Irreversible32f>(pSrcLow, srcLowStep, pSrcHigh, srcHighStep, srcRoiSize, pDst, dstStep,
                                           phase);
}

ZelStatus ownWTFwdCol_D97_JPEG2K_32f_C1R(const Zel32f* pSrc, int srcStep, Zel32f* pDstLow, int dstLowStep,
                                         Zel32f* pDstHigh, int dstHighStep, ZeliSize dstRoiSize, int phase) {
  return forwardColumnFilter<Irreversible32f>(pSrc, srcStep, pDstLow, dstLowStep, pDstHigh, dstHighStep, dstRoiSize,
                                              phase);
}
ZelStatus ownWTInvCol_D97_JPEG2K_32f_C1R(const Zel32f* pSrcLow, int srcLowStep, const Zel32f* pSrcHigh, int srcHighStep,
                                         ZeliSize srcRoiSize, Zel32f* pDst, int dstStep, int phase) {
  return inverseColumnFilter<Irreversible32f>(pSrcLow, srcLowStep, pSrcHigh, srcHighStep, srcRoiSize, pDst, dstStep,
                                              phase);
}

ZelStatus ownWTFwdColLift_D97_JPEG2K_16s_C1(const Zel16s* pSrc0, const Zel16s* pSrc1, const Zel16s* pSrc2,
                                            Zel16s* pSrcDstLow0, Zel16s* pDstLow1, Zel16s* pSrcDstHigh0,
                                            Zel16s* pSrcDstHigh1, Zel16s* pDstHigh2, int width) {
  return forwardColumnLift<Irreversible16s>(pSrc0, pSrc1, pSrc2, pSrcDstLow0, pDstLow1, pSrcDstHigh0, pSrcDstHigh1,
                                            pDstHigh2, width);
}
ZelStatus ownWTInvColLift_D97_JPEG2K_16s_C1(const Zel16s* pSrcLow0, const Zel16s* pSrcHigh0, const Zel16s* pSrcHigh1,
                                            const Zel16s* pSrc0, Zel16s* pSrcDstHigh0, Zel16s* pSrcDstLow0,
                                            Zel16s* pDstHigh1, Zel16s* pDstLow1, int width) {
  return inverseColumnLift<Irreversible16s>(pSrcLow0, pSrcHigh0, pSrcHigh1, pSrc0, pSrcDstHigh0, pSrcDstLow0, pDstHigh1,
                                            pDstLow1, width);
}
ZelStatus ownWTFwdColLift_D97_JPEG2K_32s_C1(const Zel32s* pSrc0, const Zel32s* pSrc1, const Zel32s* pSrc2,
                                            Zel32s* pSrcDstLow0, Zel32s* pDstLow1, Zel32s* pSrcDstHigh0,
                                            Zel32s* pSrcDstHigh1, Zel32s* pDstHigh2, int width) {
  return forwardColumnLift<Irreversible32s>(pSrc0, pSrc1, pSrc2, pSrcDstLow0, pDstLow1, pSrcDstHigh0, pSrcDstHigh1,
                                            pDstHigh2, width);
}
ZelStatus ownWTInvColLift_D97_JPEG2K_32s_C1(const Zel32s* pSrcLow0, const Zel32s* pSrcHigh0, const Zel32s* pSrcHigh1,
                                            const Zel32s* pSrc0, Zel32s* pSrcDstHigh0, Zel32s* pSrcDstLow0,
                                            Zel32s* pDstHigh1, Zel32s* pDstLow1, int width) {
  return inverseColumnLift<Irreversible32s>(pSrcLow0, pSrcHigh0, pSrcHigh1, pSrc0, pSrcDstHigh0, pSrcDstLow0, pDstHigh1,
                                            pDstLow1, width);
}
ZelStatus ownWTFwdColLift_D97_JPEG2K_32f_C1(const Zel32f* pSrc0, const Zel32f* pSrc1, const Zel32f* pSrc2,
                                            Zel32f* pSrcDstLow0, Zel32f* pDstLow1, Zel32f* pSrcDstHigh0,
                                            Zel32f* pSrcDstHigh1, Zel32f* pDstHigh2, int width) {
  return forwardColumnLift<Irreversible32f>(pSrc0, pSrc1, pSrc2, pSrcDstLow0, pDstLow1, pSrcDstHigh0, pSrcDstHigh1,
                                            pDstHigh2, width);
}
ZelStatus ownWTInvColLift_D97_JPEG2K_32f_C1(const Zel32f* pSrcLow0, const Zel32f* pSrcHigh0, const Zel32f* pSrcHigh1,
                                            const Zel32f* pSrc0, Zel32f* pSrcDstHigh0, Zel32f* pSrcDstLow0,
                                            Zel32f* pDstHigh1, Zel32f* pDstLow1, int width) {
  return inverseColumnLift<Irreversible32f>(pSrcLow0, pSrcHigh0, pSrcHigh1, pSrc0, pSrcDstHigh0, pSrcDstLow0, pDstHigh1,
                                            pDstLow1, width);
}

ZelStatus ownWTFwd_D97_JPEG2K_16s_C1IR(Zel16s* pSrcDst, int srcDstStep, const ZeliRect* pTileRect, Zel8u* pBuffer) {
  return forwardTileInPlace<IrreversibleTile16s>(pSrcDst, srcDstStep, pTileRect, pBuffer);
}
ZelStatus ownWTInv_D97_JPEG2K_16s_C1IR(Zel16s* pSrcDst, int srcDstStep, const ZeliRect* pTileRect, Zel8u* pBuffer) {
  return inverseTileInPlace<IrreversibleTile16s>(pSrcDst, srcDstStep, pTileRect, pBuffer);
}
ZelStatus ownWTFwd_D97_JPEG2K_16s_C1R(const Zel16s* pSrc, int srcStep, const ZeliRect* pTileRect, Zel16s* const pDst[4],
                                      const int dstStep[4], Zel8u* pBuffer) {
  return forwardTileOfBands<IrreversibleTile16s>(pSrc, srcStep, pTileRect, pDst, dstStep, pBuffer);
}
ZelStatus ownWTInv_D97_JPEG2K_16s_C1R(const Zel16s* const pSrc[4], const int srcStep[4], Zel16s* pDst, int dstStep,
                                      const ZeliRect* pTileRect, Zel8u* pBuffer) {
  return inverseTileOfBands<IrreversibleTile16s>(pSrc, srcStep, pDst, dstStep, pTileRect, pBuffer);
}
ZelStatus ownWTGetBufSize_D97_JPEG2K_16s_C1IR(const ZeliRect* pTileRect, int* pSize) {
  return lineBufferSize<Zel16s>(pTileRect, pSize, kShortest, kMargin);
}
ZelStatus ownWTGetBufSize_D97_JPEG2K_16s_C1R(const ZeliRect* pTileRect, int* pSize) {
  return tileBufferSize<Zel16s>(pTileRect, pSize, kShortest, kMargin);
}

ZelStatus ownWTFwd_D97_JPEG2K_32s_C1IR(Zel32s* pSrcDst, int srcDstStep, const ZeliRect* pTileRect, Zel8u* pBuffer) {
  return forwardTileInPlace<IrreversibleTile32s>(pSrcDst, srcDstStep, pTileRect, pBuffer);
}
ZelStatus ownWTInv_D97_JPEG2K_32s_C1IR(Zel32s* pSrcDst, int srcDstStep, const ZeliRect* pTileRect, Zel8u* pBuffer) {
  return inverseTileInPlace<IrreversibleTile32s>(pSrcDst, srcDstStep, pTileRect, pBuffer);
}
ZelStatus ownWTFwd_D97_JPEG2K_32s_C1R(const Zel32s* pSrc, int srcStep, const ZeliRect* pTileRect, Zel32s* const pDst[4],
                                      const int dstStep[4], Zel8u* pBuffer) {
  return forwardTileOfBands<IrreversibleTile32s>(pSrc, srcStep, pTileRect, pDst, dstStep, pBuffer);
}
ZelStatus ownWTInv_D97_JPEG2K_32s_C1R(const Zel32s* const pSrc[4], const int srcStep[4], Zel32s* pDst, int dstStep,
                                      const ZeliRect* pTileRect, Zel8u* pBuffer) {
  return inverseTileOfBands<IrreversibleTile32s>(pSrc, srcStep, pDst, dstStep, pTileRect, pBuffer);
}
ZelStatus ownWTGetBufSize_D97_JPEG2K_32s_C1IR(const ZeliRect* pTileRect, int* pSize) {
  return lineBufferSize<Zel32s>(pTileRect, pSize, kShortest, kMargin);
}
ZelStatus ownWTGetBufSize_D97_JPEG2K_32s_C1R(const ZeliRect* pTileRect, int* pSize) {
  return tileBufferSize<Zel32s>(pTileRect, pSize, kShortest, kMargin);
}
