// Sequential coding of a block at a position in bits, without a state record.
#include <cstring>
#include <limits>

#include "frame/checks.h"
#include "frame/implementations.h"
#include "jpeg/huffman/block_encoder.h"

using namespace zelj;

ZelStatus ownEncodeHuffman8x8_Direct_JPEG_16s1u_C1(const Zel16s* pSrc, Zel8u* pDst, Zel32u* pDstBitsLen,
                                                   Zel16s* pLastDC, const ZeliEncodeHuffmanSpec* pDcTable,
                                                   const ZeliEncodeHuffmanSpec* pAcTable) {
  if (!present(pSrc, pDst, pDstBitsLen, pLastDC, pDcTable, pAcTable)) return zelStatusNullPointer;
  Zel16s block[64];
  std::memcpy(block, pSrc, sizeof block);
  const int difference = block[0] - *pLastDC;
  *pLastDC = block[0];

  auto position = static_cast<Zel32s>(*pDstBitsLen >> 3);
  ZeliEncodeHuffmanState state;
  state.validBits = *pDstBitsLen & 7;
  state.accumulator = 0;
  if (state.validBits) state.accumulator = static_cast<Zel64u>(pDst[position] & (0xFF00 >> state.validBits)) << 16;
  const BitSink sink{pDst, std::numeric_limits<Zel32s>::max(), &position, &state};
  writeBlock(sink, block, difference, *pDcTable, *pAcTable, true);
  if (state.validBits) pDst[position] = static_cast<Zel8u>(state.accumulator >> 16);
  *pDstBitsLen = static_cast<Zel32u>(position) * 8 + static_cast<Zel32u>(state.validBits);
  return zelStatusOk;
}
