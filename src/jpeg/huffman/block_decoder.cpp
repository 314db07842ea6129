// Sequential decoding of a block (ITU T.81 F.2.2).
#include "jpeg/huffman/block_decoder.h"

#include <cstring>

#include "frame/checks.h"
#include "frame/implementations.h"
#include "jpeg/huffman/fast_reader.h"

namespace zelj {
namespace {

void store(Zel16s* block, int position, int value) {
  const auto coefficient = static_cast<Zel16s>(value);
  std::memcpy(block + kDecoderOrder[static_cast<size_t>(position)], &coefficient, sizeof coefficient);
}

void clear(Zel16s* block) {
  const hn::CappedTag<Zel16s, 64> d;
  for (size_t i = 0; i < 64; i += hn::Lanes(d)) hn::StoreU(hn::Zero(d), d, block + i);
}

// The ordinary block in the middle of a segment. False: nothing has changed but the block's coefficients.
HWY_INLINE bool readBlockFast(const BitSource& source, const ZeliDecodeHuffmanSpec& dcTable,
                              const ZeliDecodeHuffmanSpec& acTable, Zel16s* lastDC, Zel16s* block) {
  if (!FastReader::canStart(source)) return false;
  FastReader reader(source);
  clear(block);
  // The bits held from the last call are enough for an ordinary DC term, so that it need not wait for memory.
  if (reader.bits < FastReader::kFastSymbol && !reader.refill()) return false;
  Zel32u entry = reader.lookup(dcTable);
  if (!entry) [[unlikely]] {
    if (!reader.refill()) return false;
    entry = reader.lookupLong(dcTable);
    if (!entry) return false;
  }
  const auto dc = static_cast<Zel16s>(*lastDC + reader.take(entry, entry & 15));
  store(block, 0, dc);
  if (reader.bits < 8 && !reader.refill()) return false;

  // One refill serves two symbols of the look-up table, and works while the first is looked up by the bits at hand, at
  // least 8. False: the block is full.
  int k = 1;
  const auto coefficient = [&]() __attribute__((always_inline)) {
    k += entry >> 4 & 15;
    store(block, k, reader.take(entry, entry & 15));
    return ++k < 64;
  };
  for (;;) {
    entry = reader.lookup(acTable);
    if (!reader.refill()) return false;
    if (entry & 15) [[likely]] {
      if (!coefficient()) break;
      entry = reader.lookup(acTable);
      if (entry & 15) [[likely]] {
        if (!coefficient()) break;
        continue;
      }
    }
    // A longer code, or a symbol without a coefficient.
    if (!entry) {
      entry = reader.lookupLong(acTable);
      if (!entry) return false;
    }
    if (entry & 15) {
      if (!coefficient()) break;
    } else {
      reader.take(entry, 0);
      if ((entry & 0xF0) != 0xF0) goto finished;
      k += 16;
      if (k > 63) goto finished;
    }
    if (!reader.refill()) return false;
  }
  if (k > 64) return false;
finished:
  reader.finish(source);
  source.state->lastPosition = k;
  *lastDC = dc;
  return true;
}

[[gnu::noinline]] ZelStatus decodePlain(const Zel8u* pSrc, Zel32s srcLenBytes, Zel32s* pSrcCurrPos, Zel16s* pDst,
                                        Zel16s* pLastDC, Zel32s* pMarker, const ZeliDecodeHuffmanSpec* pDcTable,
                                        const ZeliDecodeHuffmanSpec* pAcTable, ZeliDecodeHuffmanState* pState) {
  const BitSource source{pSrc, srcLenBytes, pSrcCurrPos, pMarker, pState};
  Reading reading;
  return readBlock(source, *pDcTable, *pAcTable, pLastDC, pDst, &reading);
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
  if (!pSrc) return zelStatusNullPointer;
  if (srcLenBytes < 0) return zelStatusOutOfRange;
  if (!present(pSrcCurrPos, pDst, pLastDC, pMarker, pDcTable, pAcTable, pState)) return zelStatusNullPointer;
  if (readBlockFast({pSrc, srcLenBytes, pSrcCurrPos, pMarker, pState}, *pDcTable, *pAcTable, pLastDC, pDst)) {
    return zelStatusOk;
  }
  return decodePlain(pSrc, srcLenBytes, pSrcCurrPos, pDst, pLastDC, pMarker, pDcTable, pAcTable, pState);
}
