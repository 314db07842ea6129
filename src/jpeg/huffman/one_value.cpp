// Coding of one difference by itself, the step of the lossless process.
#include "jpeg/huffman/one_value.h"

#include "frame/checks.h"
#include "frame/implementations.h"
#include "jpeg/huffman/bit_reader.h"
#include "jpeg/huffman/bit_writer.h"

namespace zelj {

ZelStatus encodeOneValue(const BitSink& sink, const ZeliEncodeHuffmanSpec& table, int value) {
  const int category = categoryOf(value);
  if (ZelStatus bad = writeSymbol(sink, table, category)) return bad;
  if (category == 0 || category == 16) return zelStatusOk;
  return ownWriteBits(sink, additionalBits(value), category);
}

ZelStatus decodeOneValue(const BitSource& source, const ZeliDecodeHuffmanSpec& table, int* value) {
  int category;
  Zel32u bits = 0;
  if (ZelStatus bad = ownDecodeHuffSymbol(source, table, &category)) return bad;
  if (category >= 16) {
    *value = -32768;
    return zelStatusOk;
  }
  if (category > 0) {
    if (ZelStatus bad = readBits(source, category, &bits)) return bad;
  }
  *value = extend(bits, category);
  return zelStatusOk;
}

} // namespace zelj

using namespace zelj;

ZelStatus ownEncodeHuffmanOne_JPEG_16s1u_C1(const Zel16s* pSrc, Zel8u* pDst, Zel32s dstLenBytes, Zel32s* pDstCurrPos,
                                            const ZeliEncodeHuffmanSpec* pTable, ZeliEncodeHuffmanState* pState,
                                            Zel32s bFlushState) {
  if (ZelStatus bad = checkSink(pDst, dstLenBytes, present(pDstCurrPos, pState))) return bad;
  const BitSink sink{pDst, dstLenBytes, pDstCurrPos, pState};
  if (bFlushState) return flushBits(sink);
  if (!present(pSrc, pTable)) return zelStatusNullPointer;
  return encodeOneValue(sink, *pTable, *pSrc);
}

ZelStatus ownDecodeHuffmanOne_JPEG_1u16s_C1(const Zel8u* pSrc, Zel32s srcLenBytes, Zel32s* pSrcCurrPos, Zel16s* pDst,
                                            Zel32s* pMarker, const ZeliDecodeHuffmanSpec* pTable,
                                            ZeliDecodeHuffmanState* pState) {
  if (!pSrc) return zelStatusNullPointer;
  if (srcLenBytes < 1) return zelStatusBadSize;
  if (!present(pSrcCurrPos, pDst, pMarker, pTable, pState)) return zelStatusNullPointer;
  int value;
  if (ZelStatus bad = decodeOneValue({pSrc, srcLenBytes, pSrcCurrPos, pMarker, pState}, *pTable, &value)) return bad;
  *pDst = static_cast<Zel16s>(value);
  return zelStatusOk;
}
