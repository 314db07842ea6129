// Sequential decoding of a block (ITU T.81 F.2.2).
#include "jpeg/huffman/block_decoder.h"

#include <cstring>

#include "frame/checks.h"
#include "frame/implementations.h"
#include "jpeg/huffman/fast_block_decoder.h"

namespace zelj {
namespace {

// Any call at all.
[[gnu::noinline]] ZelStatus decode(const Zel8u* pSrc, Zel32s srcLenBytes, Zel32s* pSrcCurrPos, Zel16s* pDst,
                                   Zel16s* pLastDC, Zel32s* pMarker, const ZeliDecodeHuffmanSpec* pDcTable,
                                   const ZeliDecodeHuffmanSpec* pAcTable, ZeliDecodeHuffmanState* pState) {
  if (!pSrc) return zelStatusNullPointer;
  if (srcLenBytes < 0) return zelStatusOutOfRange;
  if (!present(pSrcCurrPos, pDst, pLastDC, pMarker, pDcTable, pAcTable, pState)) return zelStatusNullPointer;
  Reading reading;
  return readBlock({pSrc, srcLenBytes, pSrcCurrPos, pMarker, pState}, *pDcTable, *pAcTable, pLastDC, pDst, &reading);
}

} // namespace

ZelStatus readBlock(const BitSource& source, const ZeliDecodeHuffmanSpec& dcTable, const ZeliDecodeHuffmanSpec& acTable,
                    Zel16s* lastDC, Zel16s* block, Reading* reading) {
  std::memset(block, 0, 64 * sizeof *block);
  Zel32s& k = source.state->lastPosition;
  k = 0;
  int symbol = -1;
  Zel32u bits;
  *reading = Reading::dcSymbol;
  if (ZelStatus bad = ownDecodeHuffSymbol(source, dcTable, &symbol)) {
    if (symbol == 0) *reading = Reading::badCode;
    return bad;
  }
  if (symbol) {
    const int category = symbol & 15;
    *reading = Reading::dcBits;
    if (ZelStatus bad = readBits(source, category, &bits)) return bad;
    *lastDC = static_cast<Zel16s>(*lastDC + extend(bits, category));
  }
  store(block, 0, *lastDC);
  for (k = 1; k < 64;) {
    *reading = Reading::acSymbol;
    symbol = -1;
    if (ZelStatus bad = ownDecodeHuffSymbol(source, acTable, &symbol)) {
      if (symbol == 0) *reading = Reading::badCode;
      return bad;
    }
    const int run = symbol >> 4, category = symbol & 15;
    if (category == 0) {
      if (run < 15) return zelStatusOk;
      k += 16;
      continue;
    }
    k += run;
    *reading = Reading::acBits;
    if (ZelStatus bad = readBits(source, category, &bits)) return bad;
    if (k > kLastPosition) return zelStatusJpegRunOverflow;
    store(block, k++, extend(bits, category));
  }
  return zelStatusOk;
}

} // namespace zelj

using namespace zelj;

ZelStatus ownDecodeHuffman8x8_JPEG_1u16s_C1(const Zel8u* pSrc, Zel32s srcLenBytes, Zel32s* pSrcCurrPos, Zel16s* pDst,
                                            Zel16s* pLastDC, Zel32s* pMarker, const ZeliDecodeHuffmanSpec* pDcTable,
                                            const ZeliDecodeHuffmanSpec* pAcTable, ZeliDecodeHuffmanState* pState) {
  if (present(pSrc, pSrcCurrPos, pDst, pLastDC, pMarker, pDcTable, pAcTable, pState)) [[likely]] {
    const BitSource source{pSrc, srcLenBytes, pSrcCurrPos, pMarker, pState};
    if (readBlockFast<BoundedAhead>(source, *pDcTable, *pAcTable, pLastDC, pDst)) [[likely]]
      return zelStatusOk;
  }
  return decode(pSrc, srcLenBytes, pSrcCurrPos, pDst, pLastDC, pMarker, pDcTable, pAcTable, pState);
}
