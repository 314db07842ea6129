// The exports of the reversible 5/3 wavelet. The three grains without extension form neighbour sums in the width of the
// samples; tiles form them exactly.
#include "jpeg2k/wavelet/reversible.h"

#include "frame/implementations.h"
#include "jpeg2k/wavelet/exports.h"

namespace zelj {
namespace {

using Filter16s = Reversible<Zel16s>;
using Filter32s = Reversible<Zel32s>;
using Tile16s = Reversible<Zel16s, ExactSums>;
using Tile32s = Reversible<Zel32s>;

// A step on a row pair: the odd row between two even ones, then the even row before it.
template <class Filter, class T>
ZelStatus forwardColumnLift(const T* pSrc0, const T* pSrc1, const T* pSrc2, T* pDstLow0, const T* pSrcHigh0,
                            T* pDstHigh1, int width) {
  if (ZelStatus bad = checkPointersLength(present(pSrc0, pSrc1, pSrc2, pDstLow0, pSrcHigh0, pDstHigh1), width)) {
    return bad;
  }
  const auto *even = samples<T>(pSrc0), *odd = samples<T>(pSrc1), *next = samples<T>(pSrc2);
  const auto* before = samples<T>(pSrcHigh0);
  auto *low = samples<T>(pDstLow0), *high = samples<T>(pDstHigh1);
  ZELJ_INDEPENDENT
  for (int x = 0; x < width; ++x) {
    const T h = Filter::Predict::apply(odd[x].v, even[x].v, next[x].v);
    low[x].v = Filter::Update::apply(even[x].v, before[x].v, h);
    high[x].v = h;
  }
  return zelStatusOk;
}

// The even row, then the odd row before it.
template <class Filter, class T>
ZelStatus inverseColumnLift(const T* pSrcLow0, const T* pSrcHigh0, const T* pSrcHigh1, const T* pSrc0, T* pDst1,
                            T* pDst2, int width) {
  if (ZelStatus bad = checkPointersLength(present(pSrcLow0, pSrcHigh0, pSrcHigh1, pSrc0, pDst1, pDst2), width)) {
    return bad;
  }
  const auto *low = samples<T>(pSrcLow0), *high = samples<T>(pSrcHigh0), *next = samples<T>(pSrcHigh1);
  const auto* before = samples<T>(pSrc0);
  auto *odd = samples<T>(pDst1), *even = samples<T>(pDst2);
  ZELJ_INDEPENDENT
  for (int x = 0; x < width; ++x) {
    const T e = Filter::Unupdate::apply(low[x].v, high[x].v, next[x].v);
    odd[x].v = Filter::Unpredict::apply(high[x].v, before[x].v, e);
    even[x].v = e;
  }
  return zelStatusOk;
}

// What the line buffer holds beside a line, and the shortest side that needs one.
constexpr int kMargin = 4, kShortest = 3;

} // namespace
} // namespace zelj

using namespace zelj;

ZelStatus ownWTFwdRow_B53_JPEG2K_16s_C1R(const Zel16s* pSrc, int srcStep, Zel16s* pDstLow, int dstLowStep,
                                         Zel16s* pDstHigh, int dstHighStep, ZeliSize dstRoiSize, int phase) {
  return forwardRowFilter<Filter16s>(pSrc, srcStep, pDstLow, dstLowStep, pDstHigh, dstHighStep, dstRoiSize, phase);
}
ZelStatus ownWTFwdRow_B53_JPEG2K_32s_C1R(const Zel32s* pSrc, int srcStep, Zel32s* pDstLow, int dstLowStep,
                                         Zel32s* pDstHigh, int dstHighStep, ZeliSize dstRoiSize, int phase) {
  return forwardRowFilter<Filter32s>(pSrc, srcStep, pDstLow, dstLowStep, pDstHigh, dstHighStep, dstRoiSize, phase);
}
ZelStatus ownWTInvRow_B53_JPEG2K_16s_C1R(const Zel16s* pSrcLow, int srcLowStep, const Zel16s* pSrcHigh, int srcHighStep,
                                         ZeliSize srcRoiSize, Zel16s* pDst, int dstStep, int phase) {
  return inverseRowFilter<Filter16s>(pSrcLow, srcLowStep, pSrcHigh, srcHighStep, srcRoiSize, pDst, dstStep, phase);
}
ZelStatus ownWTInvRow_B53_JPEG2K_32s_C1R(const Zel32s* pSrcLow, int srcLowStep, const Zel32s* pSrcHigh, int srcHighStep,
                                         ZeliSize srcRoiSize, Zel32s* pDst, int dstStep, int phase) {
  return inverseRowFilter<Filter32s>(pSrcLow, srcLowStep, pSrcHigh, srcHighStep, srcRoiSize, pDst, dstStep, phase);
}

ZelStatus ownWTFwdCol_B53_JPEG2K_16s_C1R(const Zel16s* pSrc, int srcStep, Zel16s* pDstLow, int dstLowStep,
                                         Zel16s* pDstHigh, int dstHighStep, ZeliSize dstRoiSize, int phase) {
  return forwardColumnFilter<Filter16s>(pSrc, srcStep, pDstLow, dstLowStep, pDstHigh, dstHighStep, dstRoiSize, phase);
}
ZelStatus ownWTFwdCol_B53_JPEG2K_32s_C1R(const Zel32s* pSrc, int srcStep, Zel32s* pDstLow, int dstLowStep,
                                         Zel32s* pDstHigh, int dstHighStep, ZeliSize dstRoiSize, int phase) {
  return forwardColumnFilter<Filter32s>(pSrc, srcStep, pDstLow, dstLowStep, pDstHigh, dstHighStep, dstRoiSize, phase);
}
ZelStatus ownWTInvCol_B53_JPEG2K_16s_C1R(const Zel16s* pSrcLow, int srcLowStep, const Zel16s* pSrcHigh, int srcHighStep,
                                         ZeliSize srcRoiSize, Zel16s* pDst, int dstStep, int phase) {
  return inverseColumnFilter<Filter16s>(pSrcLow, srcLowStep, pSrcHigh, srcHighStep, srcRoiSize, pDst, dstStep, phase);
}
ZelStatus ownWTInvCol_B53_JPEG2K_32s_C1R(const Zel32s* pSrcLow, int srcLowStep, const Zel32s* pSrcHigh, int srcHighStep,
                                         ZeliSize srcRoiSize, Zel32s* pDst, int dstStep, int phase) {
  return inverseColumnFilter<Filter32s>(pSrcLow, srcLowStep, pSrcHigh, srcHighStep, srcRoiSize, pDst, dstStep, phase);
}

ZelStatus ownWTFwdColLift_B53_JPEG2K_16s_C1(const Zel16s* pSrc0, const Zel16s* pSrc1, const Zel16s* pSrc2,
                                            Zel16s* pDstLow0, const Zel16s* pSrcHigh0, Zel16s* pDstHigh1, int width) {
  return forwardColumnLift<Filter16s>(pSrc0, pSrc1, pSrc2, pDstLow0, pSrcHigh0, pDstHigh1, width);
}
ZelStatus ownWTInvColLift_B53_JPEG2K_16s_C1(const Zel16s* pSrcLow0, const Zel16s* pSrcHigh0, const Zel16s* pSrcHigh1,
                                            const Zel16s* pSrc0, Zel16s* pDst1, Zel16s* pDst2, int width) {
  return inverseColumnLift<Filter16s>(pSrcLow0, pSrcHigh0, pSrcHigh1, pSrc0, pDst1, pDst2, width);
}
ZelStatus ownWTFwdColLift_B53_JPEG2K_32s_C1(const Zel32s* pSrc0, const Zel32s* pSrc1, const Zel32s* pSrc2,
                                            Zel32s* pDstLow0, const Zel32s* pSrcHigh0, Zel32s* pDstHigh1, int width) {
  return forwardColumnLift<Filter32s>(pSrc0, pSrc1, pSrc2, pDstLow0, pSrcHigh0, pDstHigh1, width);
}
ZelStatus ownWTInvColLift_B53_JPEG2K_32s_C1(const Zel32s* pSrcLow0, const Zel32s* pSrcHigh0, const Zel32s* pSrcHigh1,
                                            const Zel32s* pSrc0, Zel32s* pDst1, Zel32s* pDst2, int width) {
  return inverseColumnLift<Filter32s>(pSrcLow0, pSrcHigh0, pSrcHigh1, pSrc0, pDst1, pDst2, width);
}

ZelStatus ownWTFwd_B53_JPEG2K_16s_C1IR(Zel16s* pSrcDst, int srcDstStep, const ZeliRect* pTileRect, Zel8u* pBuffer) {
  return forwardTileInPlace<Tile16s>(pSrcDst, srcDstStep, pTileRect, pBuffer);
}
ZelStatus ownWTInv_B53_JPEG2K_16s_C1IR(Zel16s* pSrcDst, int srcDstStep, const ZeliRect* pTileRect, Zel8u* pBuffer) {
  return inverseTileInPlace<Tile16s>(pSrcDst, srcDstStep, pTileRect, pBuffer);
}
ZelStatus ownWTFwd_B53_JPEG2K_16s_C1R(const Zel16s* pSrc, int srcStep, const ZeliRect* pTileRect, Zel16s* const pDst[4],
                                      const int dstStep[4], Zel8u* pBuffer) {
  return forwardTileOfBands<Tile16s>(pSrc, srcStep, pTileRect, pDst, dstStep, pBuffer);
}
ZelStatus ownWTInv_B53_JPEG2K_16s_C1R(const Zel16s* const pSrc[4], const int srcStep[4], Zel16s* pDst, int dstStep,
                                      const ZeliRect* pTileRect, Zel8u* pBuffer) {
  return inverseTileOfBands<Tile16s>(pSrc, srcStep, pDst, dstStep, pTileRect, pBuffer);
}
ZelStatus ownWTGetBufSize_B53_JPEG2K_16s_C1IR(const ZeliRect* pTileRect, int* pSize) {
  return lineBufferSize<Zel16s>(pTileRect, pSize, kShortest, kMargin);
}
ZelStatus ownWTGetBufSize_B53_JPEG2K_16s_C1R(const ZeliRect* pTileRect, int* pSize) {
  return tileBufferSize<Zel16s>(pTileRect, pSize, kShortest, kMargin);
}

ZelStatus ownWTFwd_B53_JPEG2K_32s_C1IR(Zel32s* pSrcDst, int srcDstStep, const ZeliRect* pTileRect, Zel8u* pBuffer) {
  return forwardTileInPlace<Tile32s>(pSrcDst, srcDstStep, pTileRect, pBuffer);
}
ZelStatus ownWTInv_B53_JPEG2K_32s_C1IR(Zel32s* pSrcDst, int srcDstStep, const ZeliRect* pTileRect, Zel8u* pBuffer) {
  return inverseTileInPlace<Tile32s>(pSrcDst, srcDstStep, pTileRect, pBuffer);
}
ZelStatus ownWTFwd_B53_JPEG2K_32s_C1R(const Zel32s* pSrc, int srcStep, const ZeliRect* pTileRect, Zel32s* const pDst[4],
                                      const int dstStep[4], Zel8u* pBuffer) {
  return forwardTileOfBands<Tile32s>(pSrc, srcStep, pTileRect, pDst, dstStep, pBuffer);
}
ZelStatus ownWTInv_B53_JPEG2K_32s_C1R(const Zel32s* const pSrc[4], const int srcStep[4], Zel32s* pDst, int dstStep,
                                      const ZeliRect* pTileRect, Zel8u* pBuffer) {
  return inverseTileOfBands<Tile32s>(pSrc, srcStep, pDst, dstStep, pTileRect, pBuffer);
}
ZelStatus ownWTGetBufSize_B53_JPEG2K_32s_C1IR(const ZeliRect* pTileRect, int* pSize) {
  return lineBufferSize<Zel32s>(pTileRect, pSize, kShortest, kMargin);
}
ZelStatus ownWTGetBufSize_B53_JPEG2K_32s_C1R(const ZeliRect* pTileRect, int* pSize) {
  return tileBufferSize<Zel32s>(pTileRect, pSize, kShortest, kMargin);
}
