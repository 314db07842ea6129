// The DC scans of the progressive mode (ITU T.81 G.1.2.1): the terms' upper bits, by difference, then one bit a scan.
#include <bit>
#include <cstring>

#include "frame/checks.h"
#include "frame/implementations.h"
#include "jpeg/huffman/bit_reader.h"
#include "jpeg/huffman/bit_writer.h"
#include "jpeg/huffman/coefficients.h"
#include "jpeg/huffman/scans.h"

namespace zelj {
namespace {

// Refills an accumulator of less than 25 bits in the middle of a segment, as ownFillBitBuffer would. Otherwise nothing
// is done, and left to that.
HWY_INLINE void refillFast(const BitSource& source) {
  constexpr int kMiddle = 24; // bytes left
  ZeliDecodeHuffmanState& state = *source.state;
  if (*source.marker || Zel64s{source.length} - *source.position < kMiddle || state.validBits < 0) return;
  Zel32u word;
  std::memcpy(&word, source.bytes + *source.position, sizeof word);
  if (word & (~word - 0x01010101u) & 0x80808080u) return; // an 0xFF among them
  if constexpr (std::endian::native == std::endian::little) word = __builtin_bswap32(word);
  const int bits = (32 - state.validBits) & ~7; // 8 to 32
  state.accumulator = state.accumulator << bits | word >> (32 - bits);
  state.validBits += bits;
  *source.position += bits >> 3;
}

ZelStatus readDifference(const BitSource& source, const ZeliDecodeHuffmanSpec& table, int* difference) {
  ZeliDecodeHuffmanState& state = *source.state;
  if (state.validBits < 8) refillFast(source);
  const Zel32u entry = state.validBits < 8 ? 0 : table.fastLookup[state.accumulator >> (state.validBits - 8) & 255];
  int symbol;
  if (entry) [[likely]] {
    symbol = entry & 255;
    state.validBits -= static_cast<int>(entry >> 16);
  } else if (ZelStatus bad = ownDecodeHuffSymbol(source, table, &symbol)) {
    return bad;
  }
  const int category = symbol & 15;
  Zel32u bits = 0;
  if (state.validBits < category) refillFast(source);
  if (state.validBits >= category) [[likely]] {
    state.validBits -= category;
    bits = static_cast<Zel32u>(state.accumulator >> state.validBits) & ((1u << category) - 1);
  } else if (ZelStatus bad = readBits(source, category, &bits)) {
    return bad;
  }
  *difference = extend(bits, category);
  return zelStatusOk;
}

} // namespace
} // namespace zelj

using namespace zelj;

ZelStatus ownEncodeHuffman8x8_DCFirst_JPEG_16s1u_C1(const Zel16s* pSrc, Zel8u* pDst, Zel32s dstLenBytes,
                                                    Zel32s* pDstCurrPos, Zel16s* pLastDC, Zel32s Al,
                                                    const ZeliEncodeHuffmanSpec* pDcTable,
                                                    ZeliEncodeHuffmanState* pState, Zel32s bFlushState) {
  if (ZelStatus bad = checkSink(pDst, dstLenBytes, present(pDstCurrPos, pState))) return bad;
  const BitSink sink{pDst, dstLenBytes, pDstCurrPos, pState};
  if (bFlushState) return flushBits(sink);
  if (!present(pSrc, pLastDC)) return zelStatusNullPointer;
  if (ZelStatus bad = checkShift(Al)) return bad;
  if (!pDcTable) return zelStatusNullPointer;
  const int difference = shiftedDifference(pSrc, Al, pLastDC), category = categoryOf(difference);
  if (category > kMaxProgressiveCategory) return zelStatusJpegCoefficientRange;
  if (ZelStatus bad = writeSymbol(sink, *pDcTable, category)) return bad;
  return category == 0 ? ZelStatus{zelStatusOk} : ownWriteBits(sink, additionalBits(difference), category);
}

ZelStatus ownEncodeHuffman8x8_DCRefine_JPEG_16s1u_C1(const Zel16s* pSrc, Zel8u* pDst, Zel32s dstLenBytes,
                                                     Zel32s* pDstCurrPos, Zel32s Al, ZeliEncodeHuffmanState* pState,
                                                     Zel32s bFlushState) {
  if (ZelStatus bad = checkSink(pDst, dstLenBytes, present(pDstCurrPos, pState))) return bad;
  const BitSink sink{pDst, dstLenBytes, pDstCurrPos, pState};
  if (bFlushState) return flushBits(sink);
  if (!pSrc) return zelStatusNullPointer;
  if (ZelStatus bad = checkShift(Al)) return bad;
  const Zel32u bit = load16(pSrc) >> Al & 1;
  if (static_cast<Zel32u>(pState->validBits) >= 7) return ownWriteBits(sink, bit, 1); // the byte is full
  pState->accumulator |= Zel64u{bit} << (23 - pState->validBits++);
  return zelStatusOk;
}

ZelStatus ownDecodeHuffman8x8_DCFirst_JPEG_1u16s_C1(const Zel8u* pSrc, Zel32s srcLenBytes, Zel32s* pSrcCurrPos,
                                                    Zel16s* pDst, Zel16s* pLastDC, Zel32s* pMarker, Zel32s Al,
                                                    const ZeliDecodeHuffmanSpec* pDcTable,
                                                    ZeliDecodeHuffmanState* pState) {
  if (ZelStatus bad = checkSource(pSrc, srcLenBytes, present(pSrcCurrPos, pDst, pLastDC, pMarker))) return bad;
  if (ZelStatus bad = checkShift(Al)) return bad;
  if (!present(pDcTable, pState)) return zelStatusNullPointer;
  int difference;
  if (ZelStatus bad = readDifference({pSrc, srcLenBytes, pSrcCurrPos, pMarker, pState}, *pDcTable, &difference)) {
    return bad;
  }
  *pLastDC = static_cast<Zel16s>(*pLastDC + difference);
  store16(*pLastDC * (1 << Al), pDst);
  return zelStatusOk;
}

ZelStatus ownDecodeHuffman8x8_DCRefine_JPEG_1u16s_C1(const Zel8u* pSrc, Zel32s srcLenBytes, Zel32s* pSrcCurrPos,
                                                     Zel16s* pDst, Zel32s* pMarker, Zel32s Al,
                                                     ZeliDecodeHuffmanState* pState) {
  if (ZelStatus bad = checkSource(pSrc, srcLenBytes, present(pSrcCurrPos, pDst, pMarker))) return bad;
  if (ZelStatus bad = checkShift(Al)) return bad;
  if (!pState) return zelStatusNullPointer;
  const BitSource source{pSrc, srcLenBytes, pSrcCurrPos, pMarker, pState};
  Zel32u bit;
  if (pState->validBits < 1) refillFast(source);
  if (pState->validBits > 0) [[likely]] {
    bit = pState->accumulator >> --pState->validBits & 1;
  } else if (ZelStatus bad = readBits(source, 1, &bit)) {
    return bad;
  }
  if (bit) store16(load16(pDst) | 1 << Al, pDst);
  return zelStatusOk;
}
