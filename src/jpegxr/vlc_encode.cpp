// Coefficients to run/level symbols (ITU-T T.832 8.7.18): 4x4 blocks of samples with their scan, and pairs that are
// there already.
#include <bit>

#include "frame/implementations.h"
#include "jpegxr/bit_cells.h"
#include "jpegxr/scan.h"

namespace zelj {
namespace {

class SymbolWriter : public BitWriter {
 public:
  SymbolWriter(BitCells cells, ZeliVLCState_JPEGXR& state) : BitWriter(cells), state_(state) {}

  // A symbol of an alphabet with two discriminants, and a sign bit: 9 bits at most.
  HWY_INLINE void putSigned(Zel32u slot, Zel32u symbol, bool isNegative) {
    const SymbolCode code = state_.codeTable[slot][symbol];
    state_.discriminant[slot] += code.steps.low;
    state_.discriminant1[slot] += code.steps.high;
    putSigned(code.word, isNegative);
  }
  HWY_INLINE void putSigned(Codeword word, bool isNegative) {
    put(Zel64u{word.code} << 1 | Zel64u{isNegative}, word.length + 1u);
  }

  // A magnitude of at least 2: 8 bits at most, unless it flushes.
  HWY_INLINE void putMagnitude(Zel32u slot, Zel32u magnitude) {
    const Zel32u excess = magnitude - 2;
    const bool isEscaped = excess >= kFirstEscaped;
    // 0, 1, 2..3, 4..7, 8..11, 12..15.
    const auto width = static_cast<Zel32u>(std::bit_width(excess));
    const Zel32u symbol = isEscaped ? kEscape : width + (excess >= 12);
    const SymbolCode code = state_.codeTable[slot][symbol];
    state_.discriminant[slot] += code.steps.low;
    const Zel32u bits = kLevelBits[symbol];
    put(Zel64u{code.word.code} << bits | (excess & ((1u << bits) - 1)), code.word.length + bits);
    if (isEscaped) [[unlikely]]
      putEscaped(excess);
  }

  HWY_INLINE void putRun(int places, int run) {
    const Codeword word = kRunCodes.code[places][run & 15];
    put(word.code, word.length);
  }

 private:
  // The length of what follows in a code of 4, 6 or 9 bits, and the bits behind the highest one.
  [[gnu::noinline]] static Zel32u lengthCode(Zel32u length, Zel32u& code) {
    if (length < 15) return code = length, 4;
    if (length < 18) return code = 15 << 2 | (length - 15), 6;
    return code = 15 << 5 | 3 << 3 | ((length - 18) & 7), 9;
  }
  HWY_INLINE void putEscaped(Zel32u excess) {
    const auto length = static_cast<Zel32u>(std::bit_width(excess >> 5));
    Zel32u code;
    const Zel32u codeLength = lengthCode(length, code);
    flush();
    put(code, codeLength);
    flush();
    put(excess & ((1u << (length + 4)) - 1), length + 4);
    flush();
  }

  ZeliVLCState_JPEGXR& state_;
};

// A run has 7 bits at most, so that 24 bits are put between two flushes.
static_assert(7 + 9 + 8 <= BitWriter::kRoom);

HWY_INLINE void putPairs(SymbolWriter& writer, const RunLevel* pairs, Zel32u count, BlockShape shape) {
  const RunLevel* const last = pairs + count - 1;
  const auto nextOf = [=](const RunLevel* pair) -> Zel32u {
    return pair == last ? kLast : pair[1].run == 0 ? kAdjacent : kBehindRun;
  };
  const auto magnitudeOf = [](Zel32s level) {
    return level < 0 ? 0 - static_cast<Zel32u>(level) : static_cast<Zel32u>(level);
  };
  int run = pairs->run, remaining = shape.maxRun - 1 - run;
  Zel32u next = nextOf(pairs), magnitude = magnitudeOf(pairs->level);
  const bool isFirst = run == 0;
  Zel32u context = next == kAdjacent && isFirst;
  writer.putSigned(shape.first, Zel32u{isFirst} + 2 * Zel32u{magnitude > 1} + 4 * next, pairs->level < 0);
  if (magnitude > 1) writer.putMagnitude(shape.level + context, magnitude);
  if (run > 0) writer.putRun(shape.maxRun, run);
  writer.flush();
  while (pairs != last) {
    ++pairs;
    run = pairs->run;
    if (run > 0 && remaining >= 2) writer.putRun(remaining, run);
    remaining -= run + 1;
    next = nextOf(pairs);
    magnitude = magnitudeOf(pairs->level);
    const Zel32u symbol = Zel32u{magnitude > 1} + 2 * next;
    const bool isNegative = pairs->level < 0;
    if (remaining > 0) {
      writer.putSigned(shape.index + context, symbol, isNegative);
    } else if (remaining == 0) {
      writer.putSigned(kLastButOne[symbol & 3], isNegative);
    } else {
      writer.putSigned(Codeword{static_cast<Zel8u>(symbol & 1), 1}, isNegative);
    }
    if (next != kAdjacent) context = 0;
    if (magnitude > 1) writer.putMagnitude(shape.level + context, magnitude);
    writer.flush();
  }
}

ZelStatus encodePairs(const RunLevel* pairs, Zel32u count, BitCells cells, ZeliVLCState_JPEGXR& state,
                      BlockShape shape) {
  SymbolWriter writer(cells, state);
  if (count > 0) putPairs(writer, pairs, count, shape);
  writer.finish();
  return zelStatusOk;
}

ZelStatus encodeBlock(const IndexedBlock& block, Zel32u chroma, Zel32u modelBits, BitCells cells, Zel32u* pNumNonzero,
                      ZeliVLCState_JPEGXR& state) {
  RunLevel pairs[15];
  *pNumNonzero = scanPairs(block, modelBits, state.currentScan, pairs);
  return encodePairs(pairs, *pNumNonzero, cells, state, BlockShape(kMaxRun, kHighPassSlots, chroma));
}

template <class Sample>
ZelStatus encode4x4(const Sample* pSrc, Zel32u srcStep, Zel32u chroma, Zel32u modelBits, BitCells cells,
                    Zel32u* pNumNonzero, ZeliVLCState_JPEGXR* pState) {
  if (ZelStatus bad = checkCells(present(pSrc, pNumNonzero, pState), cells, modelBits <= 15)) return bad;
  return encodeBlock(loadBlock(pSrc, srcStep), chroma, modelBits, cells, pNumNonzero, *pState);
}

template <class Sample>
ZelStatus encode4x4Flex(const Sample* pSrc, Zel32u srcStep, Zel32u chroma, Zel32u modelBits, Zel32u trim,
                        Zel32u* pResidual, BitCells cells, Zel32u* pNumNonzero, ZeliVLCState_JPEGXR* pState) {
  const bool inRange = modelBits <= 15 && trim <= 15;
  if (ZelStatus bad = checkCells(present(pSrc, pResidual, pNumNonzero, pState), cells, inRange)) return bad;
  const IndexedBlock block = loadBlock(pSrc, srcStep);
  storeResiduals(block, modelBits, trim, pResidual);
  return encodeBlock(block, chroma, modelBits, cells, pNumNonzero, *pState);
}

// Low-pass pairs; there are at most two more of them than the longest run has places.
ZelStatus encodeDC(int maxRun, const Zel32s* pRunLevel, Zel32u count, bool inRange, Zel32u chroma, BitCells cells,
                   ZeliVLCState_JPEGXR* pState) {
  if (ZelStatus bad = checkCells(present(pRunLevel, pState), cells, inRange)) return bad;
  return encodePairs(reinterpret_cast<const RunLevel*>(pRunLevel), count, cells, *pState,
                     BlockShape(maxRun, kLowPassSlots, chroma));
}

} // namespace
} // namespace zelj

using namespace zelj;

ZelStatus ownVLCEncode4x4_JPEGXR_16s1u_C1R(const Zel16s* pSrc, Zel32u srcStep, Zel32u chroma, Zel32u modelBits,
                                           Zel8u** ppBitStream, Zel32u* pBitBuf, Zel32u* pNumBits, Zel32u* pNumNonzero,
                                           ZeliVLCState_JPEGXR* pState) {
  return encode4x4(pSrc, srcStep, chroma, modelBits, {ppBitStream, pBitBuf, pNumBits}, pNumNonzero, pState);
}

ZelStatus ownVLCEncode4x4_JPEGXR_32s1u_C1R(const Zel32s* pSrc, Zel32u srcStep, Zel32u chroma, Zel32u modelBits,
                                           Zel8u** ppBitStream, Zel32u* pBitBuf, Zel32u* pNumBits, Zel32u* pNumNonzero,
                                           ZeliVLCState_JPEGXR* pState) {
  return encode4x4(pSrc, srcStep, chroma, modelBits, {ppBitStream, pBitBuf, pNumBits}, pNumNonzero, pState);
}

ZelStatus ownVLCEncode4x4Flex_JPEGXR_16s1u_C1R(const Zel16s* pSrc, Zel32u srcStep, Zel32u chroma, Zel32u modelBits,
                                               Zel32u trim, Zel32u* pResidual, Zel8u** ppBitStream, Zel32u* pBitBuf,
                                               Zel32u* pNumBits, Zel32u* pNumNonzero, ZeliVLCState_JPEGXR* pState) {
  return encode4x4Flex(pSrc, srcStep, chroma, modelBits, trim, pResidual, {ppBitStream, pBitBuf, pNumBits}, pNumNonzero,
                       pState);
}

ZelStatus ownVLCEncode4x4Flex_JPEGXR_32s1u_C1R(const Zel32s* pSrc, Zel32u srcStep, Zel32u chroma, Zel32u modelBits,
                                               Zel32u trim, Zel32u* pResidual, Zel8u** ppBitStream, Zel32u* pBitBuf,
                                               Zel32u* pNumBits, Zel32u* pNumNonzero, ZeliVLCState_JPEGXR* pState) {
  return encode4x4Flex(pSrc, srcStep, chroma, modelBits, trim, pResidual, {ppBitStream, pBitBuf, pNumBits}, pNumNonzero,
                       pState);
}

ZelStatus ownVLCEncodeDC444_JPEGXR_32s1u(const Zel32s* pRunLevel, Zel32s count, Zel32u chroma, Zel8u** ppBitStream,
                                         Zel32u* pBitBuf, Zel32u* pNumBits, ZeliVLCState_JPEGXR* pState) {
  const auto pairs = static_cast<Zel32u>(count < 0 ? 0 : count);
  return encodeDC(kMaxRun, pRunLevel, pairs, count <= 16, chroma, {ppBitStream, pBitBuf, pNumBits}, pState);
}

ZelStatus ownVLCEncodeDC422_JPEGXR_32s1u(const Zel32s* pRunLevel, Zel32u count, Zel8u** ppBitStream, Zel32u* pBitBuf,
                                         Zel32u* pNumBits, ZeliVLCState_JPEGXR* pState) {
  return encodeDC(kMaxRun422, pRunLevel, count, count <= 14, 1, {ppBitStream, pBitBuf, pNumBits}, pState);
}

ZelStatus ownVLCEncodeDC420_JPEGXR_32s1u(const Zel32s* pRunLevel, Zel32u count, Zel8u** ppBitStream, Zel32u* pBitBuf,
                                         Zel32u* pNumBits, ZeliVLCState_JPEGXR* pState) {
  return encodeDC(kMaxRun420, pRunLevel, count, count <= 6, 1, {ppBitStream, pBitBuf, pNumBits}, pState);
}

ZelStatus ownVLCScan4x4DC_JPEGXR_32s(const Zel32s* pSrc, Zel32u modelBits, Zel32u* pResidual, Zel32s* pRunLevel,
                                     Zel32u* pNumNonzero, ZeliVLCState_JPEGXR* pState) {
  if (!present(pSrc, pResidual, pRunLevel, pNumNonzero, pState)) return zelStatusNullPointer;
  if (modelBits > 15) return zelStatusBadArgument;
  const IndexedBlock block = loadIndexed(pSrc);
  if (modelBits > 0) storeResiduals(block, modelBits, 0, pResidual);
  pState->currentScan = pState->scanTable2;
  *pNumNonzero = scanPairs(block, modelBits, pState->scanTable2, reinterpret_cast<RunLevel*>(pRunLevel));
  return zelStatusOk;
}
