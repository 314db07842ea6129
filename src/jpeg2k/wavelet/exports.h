// What the exports of both wavelets have in common: their checks, and the calls behind them.
#pragma once

#include "frame/bulk_memory.h"
#include "frame/checks.h"
#include "jpeg2k/wavelet/filters.h"
#include "jpeg2k/wavelet/tiles.h"

namespace zelj {

inline ZelStatus checkFilter(bool allPresent, int step0, int step1, int step2, ZeliSize size) {
  if (!allPresent) return zelStatusNullPointer;
  if (step0 < 1 || step1 < 1 || step2 < 1) return zelStatusBadStep;
  return checkSize(size);
}

// The size of a tile in place is not tested.
inline ZelStatus checkTileInPlace(const void* pSrcDst, int srcDstStep, const ZeliRect* pTileRect, const void* pBuffer) {
  return checkPointersStepPointers(pSrcDst, srcDstStep, present(pTileRect, pBuffer));
}

inline ZelStatus checkTile(bool outerPresent, int step, bool bandsPresent, const int bandStep[4],
                           const ZeliRect* pTileRect) {
  if (ZelStatus bad = checkPointersStepPointers(outerPresent, step, bandsPresent)) return bad;
  if (*std::min_element(bandStep, bandStep + 4) < 1) return zelStatusBadStep;
  return checkSize({pTileRect->width, pTileRect->height});
}

template <class Filter, class Ends = PlainEnds, class T>
ZelStatus forwardRowFilter(const T* pSrc, int srcStep, T* pDstLow, int dstLowStep, T* pDstHigh, int dstHighStep,
                           ZeliSize dstRoiSize, int phase) {
  if (ZelStatus bad = checkFilter(present(pSrc, pDstLow, pDstHigh), srcStep, dstLowStep, dstHighStep, dstRoiSize)) {
    return bad;
  }
  forwardRows<Filter, Ends>(pSrc, srcStep, pDstLow, dstLowStep, pDstHigh, dstHighStep, dstRoiSize, phase);
  return zelStatusOk;
}

template <class Filter, class T>
ZelStatus inverseRowFilter(const T* pSrcLow, int srcLowStep, const T* pSrcHigh, int srcHighStep, ZeliSize srcRoiSize,
                           T* pDst, int dstStep, int phase) {
  if (ZelStatus bad = checkFilter(present(pSrcLow, pSrcHigh, pDst), srcLowStep, srcHighStep, dstStep, srcRoiSize)) {
    return bad;
  }
  inverseRows<Filter>(pSrcLow, srcLowStep, pSrcHigh, srcHighStep, srcRoiSize, pDst, dstStep, phase);
  return zelStatusOk;
}

template <class Filter, class T>
ZelStatus forwardColumnFilter(const T* pSrc, int srcStep, T* pDstLow, int dstLowStep, T* pDstHigh, int dstHighStep,
                              ZeliSize dstRoiSize, int phase) {
  if (ZelStatus bad = checkFilter(present(pSrc, pDstLow, pDstHigh), srcStep, dstLowStep, dstHighStep, dstRoiSize)) {
    return bad;
  }
  forwardColumns<Filter>(pSrc, srcStep, pDstLow, dstLowStep, pDstHigh, dstHighStep, dstRoiSize, phase);
  return zelStatusOk;
}

template <class Filter, class T>
ZelStatus inverseColumnFilter(const T* pSrcLow, int srcLowStep, const T* pSrcHigh, int srcHighStep, ZeliSize srcRoiSize,
                              T* pDst, int dstStep, int phase) {
  if (ZelStatus bad = checkFilter(present(pSrcLow, pSrcHigh, pDst), srcLowStep, srcHighStep, dstStep, srcRoiSize)) {
    return bad;
  }
  inverseColumns<Filter>(pSrcLow, srcLowStep, pSrcHigh, srcHighStep, srcRoiSize, pDst, dstStep, phase);
  return zelStatusOk;
}

template <class Filter, class T>
ZelStatus forwardTileInPlace(T* pSrcDst, int srcDstStep, const ZeliRect* pTileRect, Zel8u* pBuffer) {
  if (ZelStatus bad = checkTileInPlace(pSrcDst, srcDstStep, pTileRect, pBuffer)) return bad;
  forwardTile<Filter>(pSrcDst, srcDstStep, *pTileRect, pBuffer);
  return zelStatusOk;
}

template <class Filter, class T>
ZelStatus inverseTileInPlace(T* pSrcDst, int srcDstStep, const ZeliRect* pTileRect, Zel8u* pBuffer) {
  if (ZelStatus bad = checkTileInPlace(pSrcDst, srcDstStep, pTileRect, pBuffer)) return bad;
  inverseTile<Filter>(pSrcDst, srcDstStep, *pTileRect, pBuffer);
  return zelStatusOk;
}

// Out of place, on a copy at the start of the buffer; the scratch row lies behind it.
template <class Filter, class T>
ZelStatus forwardTileOfBands(const T* pSrc, int srcStep, const ZeliRect* pTileRect, T* const pDst[4],
                             const int dstStep[4], Zel8u* pBuffer) {
  if (ZelStatus bad = checkTile(present(pSrc, pDst, dstStep, pTileRect, pBuffer), srcStep, present(planes<4>(pDst)),
                                dstStep, pTileRect)) {
    return bad;
  }
  const TileCopy<T> copy(*pTileRect, pBuffer);
  ownCopyRows(pSrc, srcStep, copy.data, copy.step, copy.rowBytes, pTileRect->height);
  forwardTile<Filter>(copy.data, copy.step, *pTileRect, copy.behind);
  for (int band = 0; band < 4; ++band) {
    const auto part = copy.band(band);
    ownCopyRows(part.data, copy.step, pDst[band], dstStep[band], part.rowBytes, part.height);
  }
  return zelStatusOk;
}

template <class Filter, class T>
ZelStatus inverseTileOfBands(const T* const pSrc[4], const int srcStep[4], T* pDst, int dstStep,
                             const ZeliRect* pTileRect, Zel8u* pBuffer) {
  if (ZelStatus bad = checkTile(present(pSrc, pDst, srcStep, pTileRect, pBuffer), dstStep, present(planes<4>(pSrc)),
                                srcStep, pTileRect)) {
    return bad;
  }
  const TileCopy<T> copy(*pTileRect, pBuffer);
  for (int band = 0; band < 4; ++band) {
    const auto part = copy.band(band);
    ownCopyRows(pSrc[band], srcStep[band], part.data, copy.step, part.rowBytes, part.height);
  }
  inverseTile<Filter>(copy.data, copy.step, *pTileRect, copy.behind);
  ownCopyRows(copy.data, copy.step, pDst, dstStep, copy.rowBytes, pTileRect->height);
  return zelStatusOk;
}

// Bytes of the scratch row: the longer side and a margin, or none where all lines are short ones.
template <class T>
ZelStatus lineBufferSize(const ZeliRect* pTileRect, int* pSize, int shortest, int margin) {
  if (!present(pTileRect, pSize)) return zelStatusNullPointer;
  const int longer = std::max(pTileRect->width, pTileRect->height);
  *pSize = longer < shortest ? 0 : multiply(add(longer, margin), sizeof(T));
  return zelStatusOk;
}
template <class T>
ZelStatus tileBufferSize(const ZeliRect* pTileRect, int* pSize, int shortest, int margin) {
  if (ZelStatus bad = lineBufferSize<T>(pTileRect, pSize, shortest, margin)) return bad;
  *pSize = add(*pSize, multiply(copyStep<T>(pTileRect->width), pTileRect->height));
  return zelStatusOk;
}

} // namespace zelj
