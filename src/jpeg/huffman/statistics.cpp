// How often each symbol would occur: the coders' walks without their codes.
#include "frame/checks.h"
#include "frame/implementations.h"
#include "jpeg/huffman/ac_walk.h"

namespace zelj {
namespace {

struct Count {
  static constexpr bool kWritten = false;

  Zel32u* statistics;

  HWY_INLINE ZelStatus symbol(int symbol, Zel32u, int) {
    ++statistics[symbol];
    return zelStatusOk;
  }
  HWY_INLINE ZelStatus corrections(Zel64u, int) { return zelStatusOk; }
};

template <class Walk>
HWY_INLINE ZelStatus countBand(const Zel16s* pSrc, Zel32u* pAcStatistics, Zel32s Ss, Zel32s Se, Zel32s Al,
                               ZeliEncodeHuffmanState* pState, Zel32s bFlushState, Walk walk) {
  if (!present(pAcStatistics, pState)) return zelStatusNullPointer;
  Count count{pAcStatistics};
  if (bFlushState) {
    const ZelStatus status = putEobRun(*pState, count);
    std::memset(pState, 0, sizeof *pState);
    return status;
  }
  if (!pSrc) return zelStatusNullPointer;
  if (ZelStatus bad = checkBand(Ss, Se, Al)) return bad;
  return walk(*pState, count);
}

} // namespace
} // namespace zelj

using namespace zelj;

ZelStatus ownGetHuffmanStatistics8x8_JPEG_16s_C1(const Zel16s* pSrc, Zel32u* pDcStatistics, Zel32u* pAcStatistics,
                                                 Zel16s* pLastDC) {
  constexpr int kMaxDcCategory = 15, kMaxAcCategory = 14;
  if (!present(pSrc, pDcStatistics, pAcStatistics, pLastDC)) return zelStatusNullPointer;
  const int dcCategory = categoryOf(shiftedDifference(pSrc, 0, pLastDC));
  if (dcCategory > kMaxDcCategory) return zelStatusJpegCoefficientRange;
  ++pDcStatistics[dcCategory];
  const ShiftedBlock shifted(pSrc, 0);
  int end;
  const ZelStatus status = walkBand(
      shifted, pSrc, 0, 1, shifted.nonzero & positionsOfBand(1, 63), &end,
      [=]() __attribute__((always_inline)) {
        ++pAcStatistics[0xF0];
        return ZelStatus{zelStatusOk};
      },
      [=](int run, int value) __attribute__((always_inline)) {
        const int category = categoryOf(value);
        if (category > kMaxAcCategory) return ZelStatus{zelStatusJpegCoefficientRange};
        ++pAcStatistics[run * 16 + category];
        return ZelStatus{zelStatusOk};
      });
  if (!status && end < 64) ++pAcStatistics[0];
  return status;
}

ZelStatus ownGetHuffmanStatisticsOne_JPEG_16s_C1(const Zel16s* pSrc, Zel32u* pStatistics) {
  if (!present(pSrc, pStatistics)) return zelStatusNullPointer;
  ++pStatistics[categoryOf(load16(pSrc))]; // 0 to 16
  return zelStatusOk;
}

ZelStatus ownGetHuffmanStatistics8x8_DCFirst_JPEG_16s_C1(const Zel16s* pSrc, Zel32u* pDcStatistics, Zel16s* pLastDC,
                                                         Zel32s Al) {
  if (!present(pSrc, pDcStatistics, pLastDC)) return zelStatusNullPointer;
  if (ZelStatus bad = checkShift(Al)) return bad;
  const int category = categoryOf(shiftedDifference(pSrc, Al, pLastDC));
  if (category > kMaxProgressiveCategory) return zelStatusJpegCoefficientRange;
  ++pDcStatistics[category];
  return zelStatusOk;
}

ZelStatus ownGetHuffmanStatistics8x8_ACFirst_JPEG_16s_C1(const Zel16s* pSrc, Zel32u* pAcStatistics, Zel32s Ss,
                                                         Zel32s Se, Zel32s Al, ZeliEncodeHuffmanState* pState,
                                                         Zel32s bFlushState) {
  return countBand(
      pSrc, pAcStatistics, Ss, Se, Al, pState, bFlushState,
      [=](ZeliEncodeHuffmanState& state, Count& count) { return walkFirstScan(pSrc, Ss, Se, Al, state, count); });
}

ZelStatus ownGetHuffmanStatistics8x8_ACRefine_JPEG_16s_C1(const Zel16s* pSrc, Zel32u* pAcStatistics, Zel32s Ss,
                                                          Zel32s Se, Zel32s Al, ZeliEncodeHuffmanState* pState,
                                                          Zel32s bFlushState) {
  return countBand(
      pSrc, pAcStatistics, Ss, Se, Al, pState, bFlushState,
      [=](ZeliEncodeHuffmanState& state, Count& count) { return walkRefinementScan(pSrc, Ss, Se, Al, state, count); });
}
