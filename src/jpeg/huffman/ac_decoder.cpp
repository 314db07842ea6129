// Decoding of the AC scans of the progressive mode (ITU T.81 G.2).
#include <bit>

#include "frame/checks.h"
#include "frame/implementations.h"
#include "jpeg/huffman/block_decoder.h"
#include "jpeg/huffman/mirrored_masks.h"
#include "jpeg/huffman/scans.h"
#include "jpeg/huffman/wide_reader.h"

namespace zelj {
namespace {

struct Band {
  int first, last, shift;
};

// First scans. Both procedures store what they decode at once: the accurate one stores the same again.

ZelStatus readFirstScan(const BitSource& source, const ZeliDecodeHuffmanSpec& table, Band band, Zel16s* block) {
  for (int k = band.first; k <= band.last;) {
    int symbol;
    Zel32u bits;
    if (ZelStatus bad = ownDecodeHuffSymbol(source, table, &symbol)) return bad;
    const int run = symbol >> 4, category = symbol & 15;
    if (category) {
      k += run;
      if (ZelStatus bad = readBits(source, category, &bits)) return bad;
      store(block, k++, extend(bits, category) * (1 << band.shift));
    } else if (run == 15) {
      k += 16;
    } else {
      source.state->eobRun = 1 << run;
      if (ZelStatus bad = readBits(source, run, &bits)) return bad;
      source.state->eobRun += static_cast<Zel32s>(bits) - 1;
      break;
    }
  }
  return zelStatusOk;
}

// False: but for the block nothing has changed.
HWY_INLINE bool readFirstScanFast(const BitSource& source, const ZeliDecodeHuffmanSpec& table, Band band,
                                  Zel16s* block) {
  constexpr int kSymbol = 16 + 15; // bits of a code and of what follows
  if (!WideReader::canStart(source)) return false;
  WideReader reader(source);
  int eobRun = 0;
  for (int k = band.first; k <= band.last;) {
    if (!reader.ensure(kSymbol)) return false;
    const Zel32u entry = reader.lookup(table);
    if (!entry) [[unlikely]]
      return false;
    const int run = entry >> 4 & 15, category = entry & 15;
    reader.skip(entry >> 16);
    if (category) [[likely]] {
      k += run;
      store(block, k++, reader.takeValue(category) * (1 << band.shift));
    } else if (run == 15) {
      k += 16;
    } else {
      eobRun = (1 << run) - 1 + static_cast<int>(reader.take(run));
      break;
    }
  }
  reader.finish(source);
  source.state->eobRun = eobRun;
  return true;
}

// Refinement scans.

// A coefficient whose correction bit is set moves away from zero, once.
HWY_INLINE void correct(Zel16s* coefficient, int shift, Zel64u bit) {
  const int value = load16(coefficient), sign = value >> 15;
  const int more = static_cast<int>(bit) << shift & ~value;
  store16(value + (more ^ sign) - sign, coefficient);
}

// Reads the correction bits from position *k on, over `zeros` coefficients that are zero, and stops at the next such
// or behind the band.
ZelStatus readCorrections(const BitSource& source, Band band, Zel16s* block, int zeros, int* k) {
  for (; *k <= band.last; ++*k) {
    Zel16s* coefficient = block + kDecoderTables.order[static_cast<size_t>(*k)];
    if (load16(coefficient) == 0) {
      if (zeros-- == 0) break;
      continue;
    }
    Zel32u bit;
    if (ZelStatus bad = readBits(source, 1, &bit)) return bad;
    correct(coefficient, band.shift, bit);
  }
  return zelStatusOk;
}

[[gnu::noinline]] ZelStatus readRefinementScan(const BitSource& source, const ZeliDecodeHuffmanSpec& table, Band band,
                                               Zel16s* block) {
  bool refused = false; // a refill was wanted that the marker forbade
  int k = band.first;
  Zel32s& eobRun = source.state->eobRun;
  if (eobRun == 0) {
    for (; k <= band.last; ++k) {
      refused |= *source.marker && source.state->validBits < 8;
      int symbol;
      Zel32u bits = 0;
      if (ZelStatus bad = ownDecodeHuffSymbol(source, table, &symbol)) return bad;
      const int run = symbol >> 4, category = symbol & 15;
      if (category) {
        if (ZelStatus bad = readBits(source, 1, &bits)) return bad;
      } else if (run < 15) {
        eobRun = 1 << run;
        if (ZelStatus bad = readBits(source, run, &bits)) return bad;
        eobRun += static_cast<Zel32s>(bits);
        break;
      }
      if (ZelStatus bad = readCorrections(source, band, block, run, &k)) return bad;
      if (category) store(block, k, (bits ? 1 : -1) * (1 << band.shift));
    }
  }
  if (eobRun > 0) {
    if (ZelStatus bad = readCorrections(source, band, block, 64, &k)) return bad;
    --eobRun;
  }
  return refused ? zelStatusJpegMarkerPending : zelStatusOk;
}

// Corrects the coefficients of a mask, the first by the topmost of as many bits.
HWY_INLINE void correctAll(Zel16s* block, int shift, Zel64u positions, Zel64u bits) {
#ifdef __BMI2__
  for (Zel64u set = _pdep_u64(bits, mirrored(positions)); set; set &= set - 1) {
    correct(block + kNaturalOfZigzag[63 - static_cast<size_t>(std::countr_zero(set))], shift, 1);
  }
#else
  int left = std::popcount(positions);
  for (; bits & ((Zel64u{1} << left) - 1); positions &= positions - 1) {
    correct(block + kNaturalOfZigzag[static_cast<size_t>(std::countr_zero(positions))], shift, bits >> --left & 1);
  }
#endif
}

// The same with masks of positions in place of a loop over them, and all correction bits of the block in one string.
// False: nothing has changed.
HWY_INLINE bool readRefinementScanFast(const BitSource& source, const ZeliDecodeHuffmanSpec& table, Band band,
                                       Zel16s* block) {
  if (!WideReader::canStart(source)) return false;
  WideReader reader(source);
  const Zel64u inBand = positionsOfBand(band.first, band.last), nonzero = positionsNotZero(ZigzagBytes(block)) & inBand;
  Zel64u zeros = inBand & ~nonzero, correctable = nonzero; // from the position reached on
  Zel64u corrections = 0, fresh = 0;                       // fresh: were zero
  int eobRun = source.state->eobRun;
  const auto giveUp = [&] {
    for (; fresh; fresh &= fresh - 1) store(block, std::countr_zero(fresh), 0);
    return false;
  };
  const auto takeCorrections = [&](Zel64u positions) __attribute__((always_inline)) {
    int n = std::popcount(positions);
    if (n > WideReader::kRefilled) [[unlikely]] {
      if (!reader.ensure(32)) return false;
      n -= 32;
      corrections = corrections << 32 | reader.take(32);
    }
    if (!reader.ensure(n)) return false;
    corrections = corrections << n | reader.take(n);
    return true;
  };

  if (eobRun == 0) {
    for (int k = band.first; k <= band.last; ++k) {
      if (!reader.ensure(16 + 14)) return giveUp();
      const Zel32u entry = reader.lookup(table);
      const int run = entry >> 4 & 15, category = entry & 15;
      if (!entry) [[unlikely]]
        return giveUp();
      reader.skip(entry >> 16);
      if (!category && run < 15) {
        eobRun = (1 << run) + static_cast<int>(reader.take(run));
        break;
      }
      const bool positive = category && reader.take(1);
      if (std::popcount(zeros) <= run) [[unlikely]] { // the run leads out of the band
        if (category || !takeCorrections(correctable)) return giveUp();
        break;
      }
      k = positionBehind(zeros, run);
      const Zel64u behind = ~Zel64u{1} << k;
      if (!takeCorrections(correctable & ~behind)) return giveUp();
      correctable &= behind;
      zeros &= behind;
      if (category) {
        store(block, k, positive ? 1 << band.shift : -1 * (1 << band.shift));
        fresh |= Zel64u{1} << k;
      }
    }
  }
  if (eobRun > 0) {
    if (!takeCorrections(correctable)) return giveUp();
    --eobRun;
  }
  correctAll(block, band.shift, nonzero, corrections);
  reader.finish(source);
  source.state->eobRun = eobRun;
  return true;
}

} // namespace
} // namespace zelj

using namespace zelj;

ZelStatus ownDecodeHuffman8x8_ACFirst_JPEG_1u16s_C1(const Zel8u* pSrc, Zel32s srcLenBytes, Zel32s* pSrcCurrPos,
                                                    Zel16s* pDst, Zel32s* pMarker, Zel32s Ss, Zel32s Se, Zel32s Al,
                                                    const ZeliDecodeHuffmanSpec* pAcTable,
                                                    ZeliDecodeHuffmanState* pState) {
  if (ZelStatus bad = checkSource(pSrc, srcLenBytes, present(pSrcCurrPos, pDst, pMarker))) return bad;
  if (ZelStatus bad = checkBand(Ss, Se, Al)) return bad;
  if (!present(pAcTable, pState)) return zelStatusNullPointer;
  if (pState->eobRun > 0) {
    --pState->eobRun;
    return zelStatusOk;
  }
  const BitSource source{
      .bytes = pSrc, .length = srcLenBytes, .position = pSrcCurrPos, .marker = pMarker, .state = pState, .wide = true};
  if (readFirstScanFast(source, *pAcTable, {Ss, Se, Al}, pDst)) return zelStatusOk;
  return readFirstScan(source, *pAcTable, {Ss, Se, Al}, pDst);
}

ZelStatus ownDecodeHuffman8x8_ACRefine_JPEG_1u16s_C1(const Zel8u* pSrc, Zel32s srcLenBytes, Zel32s* pSrcCurrPos,
                                                     Zel16s* pDst, Zel32s* pMarker, Zel32s Ss, Zel32s Se, Zel32s Al,
                                                     const ZeliDecodeHuffmanSpec* pAcTable,
                                                     ZeliDecodeHuffmanState* pState) {
  if (ZelStatus bad = checkSource(pSrc, srcLenBytes, present(pSrcCurrPos, pDst, pMarker))) return bad;
  if (ZelStatus bad = checkBand(Ss, Se, Al)) return bad;
  if (!present(pAcTable, pState)) return zelStatusNullPointer;
  const BitSource source{
      .bytes = pSrc, .length = srcLenBytes, .position = pSrcCurrPos, .marker = pMarker, .state = pState, .wide = true};
  if (readRefinementScanFast(source, *pAcTable, {Ss, Se, Al}, pDst)) return zelStatusOk;
  return readRefinementScan(source, *pAcTable, {Ss, Se, Al}, pDst);
}
