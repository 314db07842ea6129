// Sequential coding of a block (ITU T.81 F.1.2).
#include "jpeg/huffman/block_encoder.h"

#include <cstring>

#include "frame/checks.h"
#include "frame/implementations.h"
#include "jpeg/zigzag.h"

namespace zelj {
namespace {

// Appends a symbol and the additional bits of a value. A lenient writer leaves codes out that the table lacks.
ZelStatus writeValue(const BitSink& sink, const ZeliEncodeHuffmanSpec& table, int run, int value, bool lenient) {
  const int category = categoryOf(value), symbol = run * 16 + category;
  // -32768 behind a run of 15 has a symbol behind the end of the table.
  const ZelStatus status = symbol < 256 ? writeSymbol(sink, table, symbol) : ZelStatus{zelStatusJpegHuffmanTable};
  if (status != zelStatusOk && !(lenient && status == zelStatusJpegHuffmanTable)) return status;
  return category == 0 ? ZelStatus{zelStatusOk} : ownWriteBits(sink, additionalBits(value), category);
}

} // namespace

ZelStatus writeBlock(const BitSink& sink, const Zel16s* block, int difference, const ZeliEncodeHuffmanSpec& dcTable,
                     const ZeliEncodeHuffmanSpec& acTable, bool lenient) {
  if (ZelStatus bad = writeValue(sink, dcTable, 0, difference, lenient)) return bad;
  int run = 0;
  for (int k = 1; k < 64; ++k) {
    const int value = block[kNaturalOfZigzag[k]];
    if (value == 0) {
      ++run;
      continue;
    }
    for (; run > 15; run -= 16) {
      if (ZelStatus bad = writeValue(sink, acTable, 15, 0, lenient)) return bad;
    }
    if (ZelStatus bad = writeValue(sink, acTable, run, value, lenient)) return bad;
    run = 0;
  }
  return run == 0 ? ZelStatus{zelStatusOk} : writeValue(sink, acTable, 0, 0, lenient);
}

} // namespace zelj

using namespace zelj;

ZelStatus ownEncodeHuffman8x8_JPEG_16s1u_C1(const Zel16s* pSrc, Zel8u* pDst, Zel32s dstLenBytes, Zel32s* pDstCurrPos,
                                            Zel16s* pLastDC, const ZeliEncodeHuffmanSpec* pDcTable,
                                            const ZeliEncodeHuffmanSpec* pAcTable, ZeliEncodeHuffmanState* pState,
                                            Zel32s bFlushState) {
  if (ZelStatus bad = checkSink(pDst, dstLenBytes, present(pDstCurrPos, pState))) return bad;
  const BitSink sink{pDst, dstLenBytes, pDstCurrPos, pState};
  if (bFlushState) return flushBits(sink);
  if (!present(pSrc, pLastDC, pDcTable, pAcTable)) return zelStatusNullPointer;
  Zel16s block[64];
  std::memcpy(block, pSrc, sizeof block);
  const int difference = block[0] - *pLastDC;
  *pLastDC = block[0];
  return writeBlock(sink, block, difference, *pDcTable, *pAcTable, false);
}
