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

// The additional bits of a coefficient of -127..127, by its low byte.
constexpr auto kBitsOfByte = [] {
  std::array<Zel32u, 256> bits{};
  for (int value = -127; value <= 127; ++value) {
    bits[static_cast<Zel8u>(value)] = additionalBits(value) & ((1u << categoryOf(value)) - 1);
  }
  return bits;
}();

// The coefficients of a block for the loop that codes them: category and additional bits of the one at a zig-zag
// position. Small ones lie in -126..126.
struct SmallCoefficients {
  static constexpr Zel64u kMaxCategory = 7;

  struct {
    Zel8u bytes[64], categories[64];
  } zigzag;
  HWY_INLINE Zel64u category(size_t k) const { return zigzag.categories[k]; }
  HWY_INLINE Zel32u bits(size_t k) const { return kBitsOfByte[zigzag.bytes[k]]; }
};
struct AnyCoefficients {
  static constexpr Zel64u kMaxCategory = 16;

  const SmallCoefficients& small; // the bytes of others are -128, -127 or 127
  const Zel16s* block;
  HWY_INLINE bool isLarge(size_t k) const { return static_cast<Zel8u>(small.zigzag.bytes[k] - 127) <= 2; }
  HWY_INLINE int value(size_t k) const { return loadZigzag(block, static_cast<int>(k)); }
  HWY_INLINE Zel64u category(size_t k) const {
    if (isLarge(k)) [[unlikely]]
      return static_cast<Zel64u>(categoryOf(value(k)));
    return small.category(k);
  }
  HWY_INLINE Zel32u bits(size_t k) const {
    if (isLarge(k)) [[unlikely]]
      return additionalBits(value(k)) & ((1u << category(k)) - 1);
    return small.bits(k);
  }
};

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

// Codes the coefficients at those positions but the first; false: a symbol has no code. Leaves up to 64 bits pending.
template <class Coefficients>
HWY_INLINE bool putCoefficients(const Coefficients& coefficients, Zel64u positions, const ZeliEncodeHuffmanSpec& table,
                                FastWriter& writer) {
  constexpr Zel64u kLongest = 16 + std::min<Zel64u>(Coefficients::kMaxCategory, 15);
  size_t last = 0;
  if constexpr (7 + 32 + kLongest > 64) writer.makeRoom(kLongest);
  const auto put = [&]() __attribute__((always_inline)) {
    const auto k = static_cast<size_t>(std::countr_zero(positions));
    const Zel64u category = coefficients.category(k);
    // The only value of category 16, behind a run of 15, would have a symbol behind the end of the table.
    if (Coefficients::kMaxCategory > 15 && category > 15) [[unlikely]]
      return false;
    const Zel64u entry = table.entries[16 * (k - last) + category - 16];
    const Zel32u code = static_cast<Zel32u>(entry & 0xFFFF) << category | coefficients.bits(k);
    last = k;
    const Zel64u length = entry >> 16;
    if (!length) [[unlikely]]
      return false;
    writer.put(code, length + category);
    return true;
  };
  const auto more = [&]() __attribute__((always_inline)) {
    return (positions &= positions - 1) != 0;
  };

  // Symbols commonly have far fewer bits than they can: a flush for every three is enough if a look at the pending bits
  // guards the second and the third. 7 bits are left of the last block at most, and the DC term adds 32.
  for (;;) {
    if (!more()) return true;
    if (!put()) return false;
    if (!more()) return true;
    writer.makeRoom(kLongest);
    if (!put()) return false;
    if (!more()) return true;
    writer.makeRoom(kLongest);
    if (!put()) return false;
    writer.flush();
  }
}

// A table of 16 bytes, repeated to fill a vector.
struct ForEachBlock {
  alignas(64) Zel8u lane[ZigzagBytes::kLanes];
  constexpr explicit ForEachBlock(const std::array<Zel8u, 16>& table) : lane{} {
    for (size_t i = 0; i < ZigzagBytes::kLanes; ++i) lane[i] = table[i % 16];
  }
};

// A bit for each AC coefficient of a block that is zero, and some other bits if any is not small.
struct ZigzagMasks {
  Zel64u zeros, large;
};

// Stores the AC coefficients of a block as bytes in zig-zag order. A function of its own, since functions with long
// vectors align their stack.
[[gnu::noinline]] ZigzagMasks storeZigzag(const Zel16s* block, SmallCoefficients& coefficients) {
  static constexpr ForEachBlock kLowNibble{{0, 1, 2, 2, 3, 3, 3, 3, 4, 4, 4, 4, 4, 4, 4, 4}};
  static constexpr ForEachBlock kHighNibble{{0, 5, 6, 6, 7, 7, 7, 7}};
  alignas(64) static constexpr struct AllButFirst {
    Zel8s lane[ZigzagBytes::kLanes];
    constexpr AllButFirst() : lane{} {
      for (size_t i = 1; i < ZigzagBytes::kLanes; ++i) lane[i] = -1;
    }
  } kAllButFirst;
  constexpr ZigzagBytes::Tag d;
  const hn::RebindToUnsigned<decltype(d)> du;
  const hn::Repartition<Zel16u, decltype(d)> d16;
  ZigzagBytes values(block);
  values.v[0] = hn::And(values.v[0], hn::Load(d, kAllButFirst.lane));
  auto largest = hn::BitCast(du, hn::Abs(values.v[0]));
  Zel64u zeros = 0;
  for (size_t i = 0; i < ZigzagBytes::kVectors; ++i) {
    const size_t at = i * ZigzagBytes::kLanes;
    const auto magnitude = hn::BitCast(du, hn::Abs(values.v[i]));
    const auto high = hn::And(hn::BitCast(du, hn::ShiftRight<4>(hn::BitCast(d16, magnitude))), hn::Set(du, 15));
    const auto category = hn::Max(hn::TableLookupBytes(hn::Load(du, kLowNibble.lane), magnitude),
                                  hn::TableLookupBytes(hn::Load(du, kHighNibble.lane), high));
    hn::StoreU(category, du, coefficients.zigzag.categories + at);
    hn::StoreU(hn::BitCast(du, values.v[i]), du, coefficients.zigzag.bytes + at);
    zeros |= bitsOfMask(d, hn::Eq(values.v[i], hn::Zero(d))) << at;
    if (i > 0) largest = hn::Max(largest, magnitude);
  }
  const auto beyond = hn::Sub(hn::BitCast(d, largest), hn::Set(d, -1)); // from 127 on negative
  return {zeros - 1, bitsOfMask(d, hn::MaskFromVec(beyond))};           // the DC term counted as zero
}

// Codes the DC term of a block; false: it has no code.
HWY_INLINE bool putDc(Zel32s difference, const ZeliEncodeHuffmanSpec& table, FastWriter& writer) {
  const Zel32s sign = difference >> 31, below = difference + sign;
  const auto category = static_cast<Zel32u>(std::bit_width(2 * static_cast<Zel32u>(below ^ sign) + 1) - 1);
  const Zel64u entry = table.entries[category];
  const Zel32u bits = static_cast<Zel32u>(below) & ((1u << category) - 1);
  writer.put((entry & 0xFFFF) << category | bits, (entry >> 16) + category);
  return entry != 0;
}

// Ends a block, with a code if it ends in zeros. Leaves up to 7 bits pending.
HWY_INLINE void putEnd(Zel64u zeros, const ZeliEncodeHuffmanSpec& table, FastWriter& writer) {
  writer.makeRoom(16);
  if (zeros >> 63) writer.put(table.entries[0] & 0xFFFF, table.entries[0] >> 16);
  writer.flush();
}

// Puts a zero behind each 0xFF, in place, and returns the new length.
[[gnu::noinline, gnu::cold]] int stuff(Zel8u* bytes, int length) {
  const int stuffed = length + static_cast<int>(std::count(bytes, bytes + length, 0xFF));
  for (int from = length, to = stuffed; from < to;) {
    const Zel8u byte = bytes[--from];
    if (byte == 0xFF) bytes[--to] = 0;
    bytes[--to] = byte;
  }
  return stuffed;
}

// More bytes than a block takes: 7 bits pending, 32 for the DC term and 63 times 31 are 250 bytes, twice that with
// stuffing, and 8 are written at once.
constexpr int kBlockBytes = 512;

// What stands behind the last whole byte: up to 7 bits, right-aligned.
struct Pending {
  Zel64u bits, count;

  HWY_INLINE explicit Pending(const ZeliEncodeHuffmanState& state)
      : bits(static_cast<Zel32u>(state.accumulator) >> ((24 - state.validBits) & 31)),
        count(static_cast<Zel32u>(state.validBits)) {}
  HWY_INLINE explicit Pending(const FastWriter& writer)
      : bits(writer.accumulator & ((1u << writer.pending) - 1)), count(writer.pending) {}
  Pending(Zel64u pendingBits, Zel64u pendingCount) : bits(pendingBits), count(pendingCount) {}

  HWY_INLINE void save(ZeliEncodeHuffmanState& state) const {
    state.accumulator = bits << (24 - count);
    state.validBits = static_cast<Zel32s>(count);
  }
};

// Codes a block by way of memory of its own, and returns the number of whole bytes, or -1 where a code is missing or
// `room` is short.
[[gnu::noinline]] int putBlock(const Zel16s* block, int difference, const ZeliEncodeHuffmanSpec& dcTable,
                               const ZeliEncodeHuffmanSpec& acTable, Pending& pending, Zel64s room, Zel8u* to) {
  SmallCoefficients coefficients;
  Zel8u bytes[kBlockBytes];
  const ZigzagMasks zigzag = storeZigzag(block, coefficients);
  const Zel64u positions = positionsToCode(zigzag.zeros);
  FastWriter writer{pending.bits, pending.count, bytes};
  if (!acTable.entries[0] || !putDc(difference, dcTable, writer)) return -1;
  if (!(zigzag.large ? putCoefficients(AnyCoefficients{coefficients, block}, positions, acTable, writer)
                     : putCoefficients(coefficients, positions, acTable, writer))) {
    return -1;
  }
  putEnd(zigzag.zeros, acTable, writer);
  pending = Pending(writer);
  auto length = static_cast<int>(writer.at - bytes);
  if (writer.any0xFF()) length = stuff(bytes, length);
  if (length > room) return -1;
  std::memcpy(to, bytes, static_cast<size_t>(length));
  return length;
}

// The common block: small coefficients, codes for all, and room for any block. False: nothing has changed but bytes
// behind the position.
HWY_INLINE bool encodeFast(const Zel16s* pSrc, Zel8u* pDst, Zel32s* pDstCurrPos, Zel16s* pLastDC,
                           const ZeliEncodeHuffmanSpec& dcTable, const ZeliEncodeHuffmanSpec& acTable,
                           ZeliEncodeHuffmanState& state) {
  SmallCoefficients coefficients;
  const ZigzagMasks zigzag = storeZigzag(pSrc, coefficients);
  if (zigzag.large || !acTable.entries[0]) [[unlikely]]
    return false;
  const Zel16s dc = load16(pSrc);
  const Pending before(state);
  Zel8u* const to = pDst + *pDstCurrPos;
  FastWriter writer{before.bits, before.count, to};
  if (!putDc(dc - *pLastDC, dcTable, writer)) [[unlikely]]
    return false;
  if (!putCoefficients(coefficients, positionsToCode(zigzag.zeros), acTable, writer)) [[unlikely]]
    return false;
  *pLastDC = dc;
  putEnd(zigzag.zeros, acTable, writer);
  Pending(writer).save(state);
  auto length = static_cast<int>(writer.at - to);
  if (writer.any0xFF()) [[unlikely]]
    length = stuff(to, length);
  *pDstCurrPos += length;
  return true;
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
  if (static_cast<Zel32u>(pState->validBits) < 8) {
    Pending pending(*pState);
    const int length = putBlock(pSrc, difference, *pDcTable, *pAcTable, pending, Zel64s{dstLenBytes} - *pDstCurrPos,
                                pDst + *pDstCurrPos);
    if (length >= 0) {
      pending.save(*pState);
      *pDstCurrPos += length;
      return zelStatusOk;
    }
  }
  return writeBlock(sink, pSrc, difference, *pDcTable, *pAcTable, false);
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
  if (usable(pSrc) && usable(pDst) && usable(pDstCurrPos) && usable(pLastDC) && usable(pDcTable) && usable(pAcTable) &&
      usable(pState) && usable(!bFlushState) && usable(dstLenBytes > 0) &&
      usable(Zel64s{dstLenBytes} - *pDstCurrPos >= kBlockBytes) && usable(static_cast<Zel32u>(pState->validBits) < 8) &&
      encodeFast(pSrc, pDst, pDstCurrPos, pLastDC, *pDcTable, *pAcTable, *pState)) {
    return zelStatusOk;
  }
  return encode(pSrc, pDst, dstLenBytes, pDstCurrPos, pLastDC, pDcTable, pAcTable, pState, bFlushState);
}

ZelStatus ownEncodeHuffman8x8_Direct_JPEG_16s1u_C1(const Zel16s* pSrc, Zel8u* pDst, Zel32u* pDstBitsLen,
                                                   Zel16s* pLastDC, const ZeliEncodeHuffmanSpec* pDcTable,
                                                   const ZeliEncodeHuffmanSpec* pAcTable) {
  if (!present(pSrc, pDst, pDstBitsLen, pLastDC, pDcTable, pAcTable)) return zelStatusNullPointer;
  const Zel16s dc = load16(pSrc);
  const int difference = dc - *pLastDC;
  *pLastDC = dc;

  auto position = static_cast<Zel32s>(*pDstBitsLen >> 3);
  Pending pending(0, *pDstBitsLen & 7);
  if (pending.count) pending.bits = static_cast<Zel64u>(pDst[position] >> (8 - pending.count));
  const auto noLimit = std::numeric_limits<Zel32s>::max();
  const int length = putBlock(pSrc, difference, *pDcTable, *pAcTable, pending, noLimit, pDst + position);
  if (length >= 0) {
    position += length;
  } else {
    ZeliEncodeHuffmanState state;
    pending.save(state);
    writeBlock({pDst, noLimit, &position, &state}, pSrc, difference, *pDcTable, *pAcTable, true);
    pending = Pending(state);
  }
  if (pending.count) pDst[position] = static_cast<Zel8u>(pending.bits << (8 - pending.count));
  *pDstBitsLen = static_cast<Zel32u>(position) * 8 + static_cast<Zel32u>(pending.count);
  return zelStatusOk;
}
