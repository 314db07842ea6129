// Sequential decoding of a block without a state record: the caller holds the accumulator.
#include <algorithm>
#include <limits>

#include "frame/checks.h"
#include "frame/implementations.h"
#include "jpeg/huffman/fast_block_decoder.h"

namespace zelj {
namespace {

// By the accurate procedures, up to the marker.
[[gnu::noinline]] ZelStatus decodePlain(const Zel8u* pSrc, Zel32s* pSrcBitsLen, Zel16s* pDst, Zel16s* pLastDC,
                                        Zel32s* pMarker, Zel32u* pPrefetchedBits, Zel32s* pNumValidPrefetchedBits,
                                        const ZeliDecodeHuffmanSpec* pDcTable, const ZeliDecodeHuffmanSpec* pAcTable) {
  Zel32s position = *pSrcBitsLen >> 3;
  ZeliDecodeHuffmanState state{};
  state.accumulator = *pPrefetchedBits;
  state.validBits = *pNumValidPrefetchedBits;
  const BitSource source{pSrc, std::numeric_limits<Zel32s>::max(), &position, pMarker, &state, true};
  Reading reading;
  ZelStatus status = readBlock(source, *pDcTable, *pAcTable, pLastDC, pDst, &reading);
  // What fails with -63 fails for want of bits in front of the marker, unless there was no code.
  if (status == zelStatusJpegCoefficientRange && reading != Reading::badCode) {
    if (reading == Reading::dcSymbol) return zelStatusOk;
    status = reading == Reading::acSymbol ? zelStatusOk : zelStatusJpegBufferEnd;
    if (reading == Reading::acSymbol) state.validBits = 0;
  }
  *pPrefetchedBits = static_cast<Zel32u>(state.accumulator);
  *pNumValidPrefetchedBits = std::max(state.validBits, 0);
  *pSrcBitsLen = position * 8;
  return status;
}

} // namespace
} // namespace zelj

using namespace zelj;

ZelStatus ownDecodeHuffman8x8_Direct_JPEG_1u16s_C1(const Zel8u* pSrc, Zel32s* pSrcBitsLen, Zel16s* pDst,
                                                   Zel16s* pLastDC, Zel32s* pMarker, Zel32u* pPrefetchedBits,
                                                   Zel32s* pNumValidPrefetchedBits,
                                                   const ZeliDecodeHuffmanSpec* pDcTable,
                                                   const ZeliDecodeHuffmanSpec* pAcTable) {
  if (!present(pSrc, pSrcBitsLen)) return zelStatusNullPointer;
  if (*pSrcBitsLen < 0) return zelStatusOutOfRange;
  if (!present(pDst, pLastDC, pMarker, pPrefetchedBits, pNumValidPrefetchedBits)) return zelStatusNullPointer;
  if (*pNumValidPrefetchedBits < 0) return zelStatusOutOfRange;
  if (!present(pDcTable, pAcTable)) return zelStatusNullPointer;

  Zel32s position = *pSrcBitsLen >> 3;
  ZeliDecodeHuffmanState state{};
  state.accumulator = *pPrefetchedBits;
  state.validBits = *pNumValidPrefetchedBits;
  const BitSource source{pSrc, std::numeric_limits<Zel32s>::max(), &position, pMarker, &state};
  if (readBlockFast<UnboundedAhead>(source, *pDcTable, *pAcTable, pLastDC, pDst)) {
    *pPrefetchedBits = static_cast<Zel32u>(state.accumulator);
    *pNumValidPrefetchedBits = state.validBits;
    *pSrcBitsLen = position * 8;
    return zelStatusOk;
  }
  return decodePlain(pSrc, pSrcBitsLen, pDst, pLastDC, pMarker, pPrefetchedBits, pNumValidPrefetchedBits, pDcTable,
                     pAcTable);
}
