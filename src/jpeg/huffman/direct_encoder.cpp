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
  const Zel16s dc = loadCoefficient(pSrc);
  const int difference = dc - *pLastDC;
  *pLastDC = dc;

  auto position = static_cast<Zel32s>(*pDstBitsLen >> 3);
  Zel32u pending = *pDstBitsLen & 7;
  Zel32u bits = pending ? pDst[position] >> (8 - pending) : 0;
  // Nothing tells how much room there is, so that no byte too many may be written.
  Zel8u bytes[kBlockBytes];
  if (const int length = putBlockFast(pSrc, difference, *pDcTable, *pAcTable, &bits, &pending, bytes); length >= 0) {
    std::memcpy(pDst + position, bytes, static_cast<size_t>(length));
    position += length;
  } else {
    Zel16s block[64];
    std::memcpy(block, pSrc, sizeof block);
    ZeliEncodeHuffmanState state;
    state.accumulator = bits << (24 - pending);
    state.validBits = static_cast<Zel32s>(pending);
    writeBlock({pDst, std::numeric_limits<Zel32s>::max(), &position, &state}, block, difference, *pDcTable, *pAcTable,
               true);
    pending = static_cast<Zel32u>(state.validBits);
    bits = static_cast<Zel32u>(state.accumulator >> (24 - pending));
  }
  if (pending) pDst[position] = static_cast<Zel8u>(bits << (8 - pending));
  *pDstBitsLen = static_cast<Zel32u>(position) * 8 + pending;
  return zelStatusOk;
}
