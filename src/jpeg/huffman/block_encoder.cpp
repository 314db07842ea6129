// Sequential coding of a block (ITU T.81 F.1.2), with a state record and at a position in bits.

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <limits>

#include "frame/checks.h"
#include "frame/implementations.h"
#include "jpeg/huffman/bit_writer.h"
#include "jpeg/huffman/coefficients.h"
#include "jpeg/huffman/fast_writer.h"

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

// Codes a block with the accurate procedures.
ZelStatus writeBlock(const BitSink& sink, const Zel16s* block, int difference, const ZeliEncodeHuffmanSpec& dcTable,
                     const ZeliEncodeHuffmanSpec& acTable, bool lenient) {
  if (ZelStatus bad = writeValue(sink, dcTable, 0, difference, lenient)) return bad;
  int run = 0;
  for (size_t k = 1; k < 64; ++k) {
    const int value = loadZigzag(block, static_cast<int>(k));
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

// What a coefficient adds to the code of its symbol, by its low byte. For those that may have been limited to a byte
// the length is one that nothing has. Bits are doubled and categories one more, since FastWriter takes codes doubled.
struct Additional {
  struct {
    Zel32u bits, length;
  } of[256];
  Zel8u category[256];
};
constexpr Zel32u kTooLarge = 256;
constexpr Additional kAdditional = [] {
  Additional additional{};
  for (int value = -128; value <= 127; ++value) {
    const auto byte = static_cast<Zel8u>(value);
    const auto category = static_cast<Zel32u>(value == -128 ? 7 : categoryOf(value));
    additional.category[byte] = static_cast<Zel8u>(category + 1);
    additional.of[byte] = {2 * (additionalBits(value) & ((1u << category) - 1)),
                           category + 1 + (value == -128 || value == 127 ? kTooLarge : 0)};
  }
  return additional;
}();

// Stores a block in zig-zag order, limited to bytes, and returns a bit for each zero, that at position k in bit k. A
// function of its own, since functions with long vectors align their stack.
[[gnu::noinline]] Zel64u storeZigzag(const Zel16s* block, Zel8u (&bytes)[64]) {
  constexpr ZigzagBytes::Tag d;
  const hn::RebindToUnsigned<decltype(d)> du;
  const ZigzagBytes values(block);
  Zel64u zeros = 0;
  for (size_t i = 0; i < ZigzagBytes::kVectors; ++i) {
    const size_t at = i * ZigzagBytes::kLanes;
    hn::StoreU(hn::BitCast(du, values.v[i]), du, bytes + at);
    zeros |= bitsOfMask(d, hn::Eq(values.v[i], hn::Zero(d))) << at;
  }
  return zeros;
}

// `zeros` has a bit for each position without a coefficient, k in bit k, and position 0 counts as one with; returns
// those with. Each run of 16 zeros in front of a coefficient makes one in its last place: a zero behind a run of 15,
// which has the code of a long run.
HWY_INLINE Zel64u positionsToCode(Zel64u zeros) {
  Zel64u positions = ~zeros, runs = zeros; // where at least 1, 2, 4, 8, 16 zeros begin
  for (int length = 1; length < 16; length *= 2) runs &= std::rotr(runs, length);
  while (positions > (runs ^ (runs - 1))) [[unlikely]] {
      const int end = std::countr_zero(runs) + 15;
      positions |= Zel64u{1} << end;
      runs &= ~Zel64u{1} << end;
    }
  return positions;
}

// The code of a symbol and the additional bits behind it, as FastWriter takes them. A length from kTooLarge up: the
// symbol has no code. (Its entry, 0, is less than a code of one bit.)
struct Code {
  Zel64u doubled;
  Zel32u length;
};
HWY_INLINE Code codeOf(Zel32s value, const Zel32u* codesOfRun) {
  // Twice the additional bits and twice the magnitude, but for the last bit of either; `category` is one more.
  const Zel32s sign = opaque(value >> 31), below = 2 * value + sign;
  const auto category = opaque<ptrdiff_t>(std::bit_width(static_cast<Zel32u>(below ^ sign) | 1));
  const Zel32u entry = codesOfRun[category - 1] - 0x10000;
  const Zel32u bits = static_cast<Zel32u>(below) & ((1u << category) - 1) & ~1u;
  return {Zel64u{entry & 0xFFFF} << category | bits, (entry >> 16) + static_cast<Zel32u>(category)};
}

// The same for the AC coefficient at the first of those positions, `last` being 16 times the position before.
[[gnu::noinline]] Code codeOfLarge(const Zel16s* block, Zel64u positions, const ZeliEncodeHuffmanSpec& table,
                                   ptrdiff_t last) {
  const int k = std::countr_zero(positions), value = loadZigzag(block, k);
  const ptrdiff_t symbol = 16 * k - 16 - last;
  // The only value of category 16, behind a run of 15, would have a symbol behind the end of the table.
  return value == -32768 ? Code{0, kTooLarge} : codeOf(value, table.entries + symbol);
}

// Codes the coefficients at those positions but the first; false: a symbol has no code. (`opaque`, and the order of the
// sum, keep the compiler from copying registers.)
HWY_INLINE bool putCoefficients(const Zel16s* block, const Zel8u (&bytes)[64], Zel64u positions,
                                const ZeliEncodeHuffmanSpec& table, FastWriter& writer) {
  ptrdiff_t last = 0;
  const auto put = [&]() __attribute__((always_inline)) {
    const ptrdiff_t k = std::countr_zero(positions);
    const Zel8u byte = bytes[k];
    const ptrdiff_t place = 16 * k, category = opaque(ptrdiff_t{kAdditional.category[byte]});
    const Zel32u entry = table.entries[(place + category - 17) - last] - 0x10000;
    Zel64u code = (entry & 0xFFFF) << category | kAdditional.of[byte].bits;
    const Zel32u length = (entry >> 16) + kAdditional.of[byte].length;
    if (!writer.take(length)) [[unlikely]] {
      if (length < kTooLarge) {
        writer.makeRoom(length);
      } else {
        writer.untake(length);
        const Code large = codeOfLarge(block, positions, table, last);
        if (large.length >= kTooLarge) return false;
        code = large.doubled;
        if (!writer.take(large.length)) writer.makeRoom(large.length);
      }
    }
    last = place;
    writer.append(code);
    return true;
  };
  // Symbols commonly have far fewer bits than they can: a flush for every five is enough, almost always.
  for (;;) {
    HWY_UNROLL(5)
    for (int i = 0; i < 5; ++i) {
      positions &= positions - 1;
      if (!positions) return true;
      if (!put()) return false;
    }
    writer.flush();
  }
}

// Codes a block without stuffing. False: a code is missing.
HWY_INLINE bool putBlock(const Zel16s* block, int difference, const ZeliEncodeHuffmanSpec& dcTable,
                         const ZeliEncodeHuffmanSpec& acTable, FastWriter& writer) {
  Zel8u bytes[64];
  const Zel64u zeros = storeZigzag(block, bytes) & ~Zel64u{1};
  const Code dc = codeOf(difference, dcTable.entries);
  if (!writer.take(dc.length)) [[unlikely]]
    return false;
  writer.append(dc.doubled);
  if (!putCoefficients(block, bytes, positionsToCode(zeros), acTable, writer)) [[unlikely]]
    return false;
  if (zeros >> 63) [[likely]] { // it ends in zeros
    const Zel32u entry = acTable.entries[0], length = entry >> 16;
    if (!length) [[unlikely]]
      return false;
    if (!writer.take(length)) [[unlikely]]
      writer.makeRoom(length);
    writer.append(2 * Zel64u{entry & 0xFFFF});
  }
  return true;
}

// Puts a zero behind each 0xFF, in place, and returns the new end.
[[gnu::noinline, gnu::cold]] Zel8u* stuff(Zel8u* begin, Zel8u* end) {
  Zel8u* to = end + std::count(begin, end, 0xFF);
  Zel8u* const stuffed = to;
  while (end < to) {
    const Zel8u byte = *--end;
    if (byte == 0xFF) *--to = 0;
    *--to = byte;
  }
  return stuffed;
}

// More bytes than a block takes: 7 bits pending, 32 for the DC term and 63 times 31 are 250 bytes, twice that with
// stuffing, and 8 are written at once.
constexpr int kBlockBytes = 512;

// Codes a block by way of memory of its own, and returns the number of whole bytes, or -1 where a code is missing or
// `room` is short.
[[gnu::noinline]] int putBlockWithin(Zel64s room, const Zel16s* block, int difference,
                                     const ZeliEncodeHuffmanSpec& dcTable, const ZeliEncodeHuffmanSpec& acTable,
                                     Pending& pending, Zel8u* to) {
  Zel8u bytes[kBlockBytes];
  FastWriter writer(pending, bytes);
  if (!putBlock(block, difference, dcTable, acTable, writer)) return -1;
  const Pending after = writer.finish();
  const ptrdiff_t length = (writer.any0xFF() ? stuff(bytes, writer.at) : writer.at) - bytes;
  if (length > room) return -1;
  std::memcpy(to, bytes, static_cast<size_t>(length));
  pending = after;
  return static_cast<int>(length);
}

// Codes a block whatever the room and the state.
[[gnu::noinline]] ZelStatus encodeDifference(const Zel16s* pSrc, int difference, const ZeliEncodeHuffmanSpec& dcTable,
                                             const ZeliEncodeHuffmanSpec& acTable, BitSink sink) {
  if (static_cast<Zel32u>(sink.state->validBits) < 8) {
    Pending pending(*sink.state);
    const int length = putBlockWithin(Zel64s{sink.length} - *sink.position, pSrc, difference, dcTable, acTable, pending,
                                      sink.bytes + *sink.position);
    if (length >= 0) {
      pending.save(*sink.state);
      *sink.position += length;
      return zelStatusOk;
    }
  }
  return writeBlock(sink, pSrc, difference, dcTable, acTable, false);
}

// Any call at all.
[[gnu::noinline]] ZelStatus encode(const Zel16s* pSrc, Zel8u* pDst, Zel32s dstLenBytes, Zel32s* pDstCurrPos,
                                   Zel16s* pLastDC, const ZeliEncodeHuffmanSpec* pDcTable,
                                   const ZeliEncodeHuffmanSpec* pAcTable, ZeliEncodeHuffmanState* pState,
                                   Zel32s bFlushState) {
  if (ZelStatus bad = checkSink(pDst, dstLenBytes, present(pDstCurrPos, pState))) return bad;
  const BitSink sink{pDst, dstLenBytes, pDstCurrPos, pState};
  if (bFlushState) return flushBits(sink);
  if (!present(pSrc, pLastDC, pDcTable, pAcTable)) return zelStatusNullPointer;
  const Zel16s dc = load16(pSrc);
  const int difference = dc - *pLastDC;
  *pLastDC = dc;
  return encodeDifference(pSrc, difference, *pDcTable, *pAcTable, sink);
}

} // namespace
} // namespace zelj

using namespace zelj;

ZelStatus ownEncodeHuffman8x8_JPEG_16s1u_C1(const Zel16s* pSrc, Zel8u* pDst, Zel32s dstLenBytes, Zel32s* pDstCurrPos,
                                            Zel16s* pLastDC, const ZeliEncodeHuffmanSpec* pDcTable,
                                            const ZeliEncodeHuffmanSpec* pAcTable, ZeliEncodeHuffmanState* pState,
                                            Zel32s bFlushState) {
  const auto usable = [](bool b) __attribute__((always_inline)) {
    return __builtin_expect(b, true);
  };
  if (!(usable(pSrc) && usable(pDst) && usable(pDstCurrPos) && usable(pLastDC) && usable(pDcTable) &&
        usable(pAcTable) && usable(pState) && usable(!bFlushState) &&
        usable(Zel64s{dstLenBytes} - static_cast<Zel32u>(*pDstCurrPos) >= kBlockBytes) &&
        usable(static_cast<Zel32u>(pState->validBits) < 8))) {
    return encode(pSrc, pDst, dstLenBytes, pDstCurrPos, pLastDC, pDcTable, pAcTable, pState, bFlushState);
  }
  const Zel16s dc = load16(pSrc);
  const int difference = dc - *pLastDC;
  *pLastDC = dc;
  FastWriter writer(Pending(*pState), pDst + static_cast<Zel32u>(*pDstCurrPos));
  if (!putBlock(pSrc, difference, *pDcTable, *pAcTable, writer)) [[unlikely]] // nothing has changed but bytes
    return encodeDifference(pSrc, difference, *pDcTable, *pAcTable, {pDst, dstLenBytes, pDstCurrPos, pState});
  writer.finish().save(*pState);
  if (writer.any0xFF()) [[unlikely]]
    writer.at = stuff(pDst + *pDstCurrPos, writer.at);
  *pDstCurrPos = static_cast<Zel32s>(writer.at - pDst);
  return zelStatusOk;
}

ZelStatus ownEncodeHuffman8x8_Direct_JPEG_16s1u_C1(const Zel16s* pSrc, Zel8u* pDst, Zel32u* pDstBitsLen,
                                                   Zel16s* pLastDC, const ZeliEncodeHuffmanSpec* pDcTable,
                                                   const ZeliEncodeHuffmanSpec* pAcTable) {
  if (!present(pSrc, pDst, pDstBitsLen, pLastDC, pDcTable, pAcTable)) return zelStatusNullPointer;
  const Zel16s dc = load16(pSrc);
  const int difference = dc - *pLastDC;
  *pLastDC = dc;

  auto position = static_cast<Zel32s>(*pDstBitsLen >> 3);
  const auto count = static_cast<Zel32s>(*pDstBitsLen & 7);
  Pending pending(count ? static_cast<Zel64u>(pDst[position] & (0xFF00 >> count)) << 16 : 0, count);
  const auto noLimit = std::numeric_limits<Zel32s>::max();
  const int length = putBlockWithin(noLimit, pSrc, difference, *pDcTable, *pAcTable, pending, pDst + position);
  if (length >= 0) {
    position += length;
  } else {
    ZeliEncodeHuffmanState state;
    pending.save(state);
    writeBlock({pDst, noLimit, &position, &state}, pSrc, difference, *pDcTable, *pAcTable, true);
    pending = Pending(state);
  }
  if (pending.validBits) pDst[position] = static_cast<Zel8u>(pending.accumulator >> 16);
  *pDstBitsLen = static_cast<Zel32u>(position) * 8 + static_cast<Zel32u>(pending.validBits);
  return zelStatusOk;
}
