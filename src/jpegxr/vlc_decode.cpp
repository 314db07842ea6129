// Run/level symbols to coefficients (ITU-T T.832 8.7.18): 4x4 blocks of samples, and low-pass values by index.
#include <cstring>

#include "frame/implementations.h"
#include "jpegxr/bit_cells.h"
#include "jpegxr/run_level.h"

namespace zelj {
namespace {

// Runs by the next seven bits, for each number of places.
struct RunLookups {
  struct Entry {
    Zel8u run, length;
  };
  static constexpr int kClasses = 6;
  Zel8u classOf[16];
  Entry table[kClasses][128];

  constexpr RunLookups() : classOf{}, table{} {
    for (int m = 2; m <= kMaxRun; ++m) {
      const int c = m < 5 ? m - 2 : m < 7 ? 3 : m < 11 ? 4 : 5;
      classOf[m] = static_cast<Zel8u>(c);
      // The longer of two lists of codes that share a class.
      for (int run = 1; run <= m; ++run) {
        const Codeword word = kRunCodes.code[m][run];
        const int spare = 7 - word.length;
        for (int i = 0; i < 1 << spare; ++i)
          table[c][(word.code << spare) + i] = {static_cast<Zel8u>(run), word.length};
      }
    }
  }
};
constexpr RunLookups kRunLookups;

class SymbolReader : public BitReader {
 public:
  SymbolReader(BitCells cells, ZeliVLCState_JPEGXR& state) : BitReader(cells), state_(state) {}

  // A symbol of an alphabet with two discriminants.
  HWY_INLINE Zel32u takeSymbol(Zel32u slot) {
    const SymbolLookup found = lookUp(slot);
    state_.discriminant1[slot] += found.steps.high;
    return found.symbol;
  }

  // A magnitude of at least 2: 8 bits at most, unless it refills.
  HWY_INLINE Zel32u takeMagnitude(Zel32u slot) {
    const Zel32u symbol = lookUp(slot).symbol;
    if (symbol == kEscape) [[unlikely]]
      return takeEscaped();
    return 2 + kLevelBase[symbol] + take(kLevelBits[symbol]);
  }

  HWY_INLINE int takeRun(int places) {
    const auto entry = kRunLookups.table[kRunLookups.classOf[places]][bits() >> 57];
    skip(entry.length);
    return entry.run;
  }

  HWY_INLINE bool takeSign() { return take(1) != 0; }

  HWY_INLINE Zel32u takeLastButOne() {
    const Zel64u next = bits();
    if (!(next >> 63)) return take(1);
    if (!(next >> 62 & 1)) return skip(2), 2;
    return take(3) == 6 ? 1 : 3;
  }

 private:
  HWY_INLINE SymbolLookup lookUp(Zel32u slot) {
    SymbolLookup found = state_.decodeTable[slot][bits() >> 59];
    if (found.length == 0) [[unlikely]]
      found = state_.decodeTable1[slot][bits() >> 56];
    skip(found.length);
    state_.discriminant[slot] += found.steps.low;
    return found;
  }

  HWY_INLINE Zel32u takeEscaped() {
    refill();
    Zel32u length = take(4);
    if (length == 15) {
      length += take(2);
      if (length == 18) length += take(3);
    }
    refill();
    Zel32u low = length + 4, value = 0;
    if (low > 16) {
      value = take(16);
      low -= 16;
      refill();
    }
    value = value << low | take(low);
    refill();
    return 2 + (1u << (length + 4)) + value;
  }

  ZeliVLCState_JPEGXR& state_;
};

// A run has 7 bits at most: 16 bits hold a magnitude and a run, or a symbol and a sign.
//
// Calls emit(run, level) for each pair and returns their number. A damaged stream may lead out of the block, but gives
// no more pairs than fit.
template <class Emit>
HWY_INLINE Zel32u takePairs(SymbolReader& reader, BlockShape shape, Emit emit) {
  Zel32u symbol = reader.takeSymbol(shape.first), next = symbol >> 2, n = 1;
  Zel32u context = next == kAdjacent && (symbol & 1);
  const auto takeLevel = [&](bool isLarge) __attribute__((always_inline)) {
    const Zel32u sign = 0 - Zel32u{reader.takeSign()};
    reader.refill();
    const Zel32u magnitude = isLarge ? reader.takeMagnitude(shape.level + context) : 1;
    return (magnitude ^ sign) - sign;
  };
  Zel32u level = takeLevel(symbol & 2);
  int run = symbol & 1 ? 0 : reader.takeRun(shape.maxRun);
  int remaining = shape.maxRun - 1 - run;
  emit(run, level);
  reader.refill();
  for (; next != kLast; ++n) {
    run = next == kAdjacent ? 0 : remaining < 2 ? 1 : reader.takeRun(remaining);
    remaining -= run + 1;
    reader.refill();
    symbol = remaining > 0    ? reader.takeSymbol(shape.index + context)
             : remaining == 0 ? reader.takeLastButOne()
                              : reader.take(1);
    next = symbol >> 1;
    if (next != kAdjacent) context = 0;
    level = takeLevel(symbol & 1);
    emit(run, level);
  }
  return n;
}

template <class Sample>
ZelStatus decode4x4(BitCells cells, Zel32u multiplier, Sample* pDst, Zel32u dstStep, Zel32s chroma, Zel32u* pNumNonzero,
                    ZeliVLCState_JPEGXR* pState) {
  if (ZelStatus bad = checkCells(present(pDst, pNumNonzero, pState), cells, true)) return bad;
  auto* const dst = reinterpret_cast<Zel8u*>(pDst);
  std::memset(dst + sizeof(Sample), 0, 3 * sizeof(Sample));
  for (size_t y = 1; y < 4; ++y) std::memset(dst + y * dstStep, 0, 4 * sizeof(Sample));

  ScanEntry* const scan = pState->currentScan;
  SymbolReader reader(cells, *pState);
  int place = 1;
  const BlockShape shape(kMaxRun, kHighPassSlots, static_cast<Zel32u>(chroma));
  *pNumNonzero = takePairs(
      reader, shape, [&](int run, Zel32u level) __attribute__((always_inline)) {
        place = (place + run) & 15;
        ScanEntry* const entry = scan + place;
        const auto value = static_cast<Sample>(level * multiplier);
        std::memcpy(dst + size_t{entry->y} * dstStep + size_t{entry->x} * sizeof value, &value, sizeof value);
        if (place != 0) {
          countPlace(entry);
        } else {
          ++entry->count;
        }
        place = (place + 1) & 15;
      });
  reader.finish();
  return zelStatusOk;
}

ZelStatus decodeDC(int maxRun, BitCells cells, Zel32s* pDst, Zel32u chroma, Zel32u* pNumNonzero,
                   ZeliVLCState_JPEGXR* pState) {
  if (ZelStatus bad = checkCells(present(pDst, pNumNonzero, pState), cells, true)) return bad;
  ScanEntry* const scan = pState->currentScan;
  SymbolReader reader(cells, *pState);
  int place = 1;
  const BlockShape shape(maxRun, kLowPassSlots, chroma);
  *pNumNonzero = takePairs(
      reader, shape, [&](int run, Zel32u level) __attribute__((always_inline)) {
        place = (place + run) & 15;
        ScanEntry* const entry = scan + place;
        std::memcpy(pDst + entry->index, &level, sizeof level);
        if (place != 0) countPlace(entry);
        place = (place + 1) & 15;
      });
  reader.finish();
  return zelStatusOk;
}

} // namespace
} // namespace zelj

using namespace zelj;

ZelStatus ownVLCDecode4x4_JPEGXR_1u16s_C1R(Zel8u** ppBitStream, Zel32u* pBitBuf, Zel32u* pNumBits, Zel32u multiplier,
                                           Zel16s* pDst, Zel32u dstStep, Zel32s chroma, Zel32u* pNumNonzero,
                                           ZeliVLCState_JPEGXR* pState) {
  return decode4x4({ppBitStream, pBitBuf, pNumBits}, multiplier, pDst, dstStep, chroma, pNumNonzero, pState);
}

ZelStatus ownVLCDecode4x4_JPEGXR_1u32s_C1R(Zel8u** ppBitStream, Zel32u* pBitBuf, Zel32u* pNumBits, Zel32u multiplier,
                                           Zel32s* pDst, Zel32u dstStep, Zel32s chroma, Zel32u* pNumNonzero,
                                           ZeliVLCState_JPEGXR* pState) {
  return decode4x4({ppBitStream, pBitBuf, pNumBits}, multiplier, pDst, dstStep, chroma, pNumNonzero, pState);
}

ZelStatus ownVLCDecodeDC444_JPEGXR_1u32s(Zel8u** ppBitStream, Zel32u* pBitBuf, Zel32u* pNumBits, Zel32s* pDst,
                                         Zel32u chroma, Zel32u* pNumNonzero, ZeliVLCState_JPEGXR* pState) {
  return decodeDC(kMaxRun, {ppBitStream, pBitBuf, pNumBits}, pDst, chroma, pNumNonzero, pState);
}

ZelStatus ownVLCDecodeDC422_JPEGXR_1u32s(Zel8u** ppBitStream, Zel32u* pBitBuf, Zel32u* pNumBits, Zel32s* pDst,
                                         Zel32u* pNumNonzero, ZeliVLCState_JPEGXR* pState) {
  return decodeDC(kMaxRun422, {ppBitStream, pBitBuf, pNumBits}, pDst, 1, pNumNonzero, pState);
}

ZelStatus ownVLCDecodeDC420_JPEGXR_1u32s(Zel8u** ppBitStream, Zel32u* pBitBuf, Zel32u* pNumBits, Zel32s* pDst,
                                         Zel32u* pNumNonzero, ZeliVLCState_JPEGXR* pState) {
  return decodeDC(kMaxRun420, {ppBitStream, pBitBuf, pNumBits}, pDst, 1, pNumNonzero, pState);
}
