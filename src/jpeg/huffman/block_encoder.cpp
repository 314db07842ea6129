// Sequential coding of a block (ITU T.81 F.1.2), with a state record and at a position in bits.

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <limits>

#include "frame/checks.h"
#include "frame/implementations.h"
#include "jpeg/huffman/bit_writer.h"
#include "jpeg/huffman/fast_writer.h"
#include "jpeg/huffman/zigzag_bytes.h"
#include "jpeg/zigzag.h"
#include "simd/byte_masks.h"
#include "simd/simd.h"

namespace zelj {
namespace {

// Blocks may lie at odd addresses.
Zel16s loadCoefficient(const Zel16s* p) {
  Zel16s value;
  std::memcpy(&value, p, sizeof value);
  return value;
}

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
    const int value = loadCoefficient(block + kNaturalOfZigzag[k]);
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

// A table of 16 bytes, repeated to fill a vector.
struct ForEachBlock {
  alignas(64) Zel8u lane[ZigzagBytes::kLanes];
  constexpr explicit ForEachBlock(const std::array<Zel8u, 16>& table) : lane{} {
    for (size_t i = 0; i < ZigzagBytes::kLanes; ++i) lane[i] = table[i % 16];
  }
};

// The magnitude categories and additional bits of the AC coefficients of a block in zig-zag order. Coefficients beyond
// -126..126 have a category of 255.
constexpr Zel8u kMaxCategory = 7;
struct Coefficients {
  alignas(64) Zel8u category[64];
  alignas(64) Zel8u bits[64];
};

// Returns a bit for each position that is not zero. A function of its own, for the compiler is short of registers for
// both this and the loop behind it.
[[gnu::noinline]] Zel64u split(const Zel16s* block, Coefficients& coefficients) {
  static constexpr ForEachBlock kLowNibble{{0, 1, 2, 2, 3, 3, 3, 3, 4, 4, 4, 4, 4, 4, 4, 4}};
  static constexpr ForEachBlock kHighNibble{{0, 5, 6, 6, 7, 7, 7, 7}};
  static constexpr ForEachBlock kBitMask{{0, 1, 3, 7, 15, 31, 63, 127}};
  constexpr ZigzagBytes::Tag d;
  const hn::RebindToUnsigned<decltype(d)> du;
  const hn::Repartition<Zel16u, decltype(d)> d16;
  const auto lowNibble = hn::Load(du, kLowNibble.lane), highNibble = hn::Load(du, kHighNibble.lane);
  const auto bitMask = hn::Load(du, kBitMask.lane), low4 = hn::Set(du, 15), one = hn::Set(du, 1);
  ZigzagBytes values(block);
  alignas(64) static constexpr struct AllButFirst {
    Zel8s lane[ZigzagBytes::kLanes];
    constexpr AllButFirst() : lane{} {
      for (size_t i = 1; i < ZigzagBytes::kLanes; ++i) lane[i] = -1;
    }
  } kAllButFirst;
  values.v[0] = hn::And(values.v[0], hn::Load(d, kAllButFirst.lane)); // the DC term goes its own way
  Zel64u zeros = 0;
  for (size_t i = 0; i < ZigzagBytes::kVectors; ++i) {
    const size_t at = i * ZigzagBytes::kLanes;
    const auto v = values.v[i];
    const auto magnitude = hn::BitCast(du, hn::Abs(v));
    const auto low = hn::And(magnitude, low4);
    const auto high = hn::And(hn::BitCast(du, hn::ShiftRight<4>(hn::BitCast(d16, magnitude))), low4);
    const auto categories = hn::Max(hn::TableLookupBytes(lowNibble, low), hn::TableLookupBytes(highNibble, high));
    const auto below = hn::BitCast(du, hn::Add(v, hn::VecFromMask(d, hn::Lt(v, hn::Zero(d)))));
    const auto large =
        hn::BitCast(du, hn::VecFromMask(d, hn::Lt(hn::BitCast(d, hn::Add(magnitude, one)), hn::Zero(d))));
    hn::Store(hn::Or(categories, large), du, coefficients.category + at);
    hn::Store(hn::And(below, hn::TableLookupBytes(bitMask, categories)), du, coefficients.bits + at);
    zeros |= bitsOfMask(d, hn::Eq(v, hn::Zero(d))) << at;
  }
  return ~zeros;
}

// Codes a block; false: a symbol has no code. Needs kBlockBytes of room.
HWY_INLINE bool putSymbols(const Zel16s* block, int difference, const ZeliEncodeHuffmanSpec& dcTable,
                           const ZeliEncodeHuffmanSpec& acTable, FastWriter& writer) {
  Coefficients coefficients;
  const Zel64u nonzero = split(block, coefficients);
  Zel64u left = nonzero, last = 0;
  const auto put = [&](Zel32u entry, Zel64u bits, Zel64u category) __attribute__((always_inline)) {
    writer.put(Zel64u{entry & 0xFFFF} << category | bits, (entry >> 16) + category);
    return entry != 0;
  };
  const auto putValue = [&](const Zel32u* entries, int value) __attribute__((always_inline)) {
    const auto category = static_cast<Zel64u>(categoryOf(value));
    return put(entries[category], additionalBits(value) & ((1u << category) - 1), category);
  };
  // False, and nothing is done: a run of 16 and more, a large coefficient, or one without a code.
  const auto putOrdinary = [&]() __attribute__((always_inline)) {
    const auto k = static_cast<Zel64u>(std::countr_zero(left));
    const Zel64u category = coefficients.category[k];
    const Zel64u above = 16 * (k - last) + category; // the symbol, and 16
    if (above > 16 * 16 + kMaxCategory) [[unlikely]]
      return false;
    const Zel32u entry = acTable.entries[above - 16];
    if (!entry) [[unlikely]]
      return false;
    put(entry, coefficients.bits[k], category);
    left &= left - 1;
    last = k;
    return true;
  };

  // An ordinary coefficient takes 16 + 7 bits at most, and commonly much less: a flush for every three is enough if a
  // look at the pending bits guards the second and the third. 7 bits are left of the last block at most, and the DC
  // term adds 32.
  constexpr Zel64u kFull = 64 - 16 - kMaxCategory;
  if (!putValue(dcTable.entries, difference)) return false;
  for (;;) {
    while (left) {
      if (!putOrdinary()) break;
      if (writer.pending > kFull) [[unlikely]]
        writer.flush();
      if (!left || !putOrdinary()) break;
      if (writer.pending > kFull) [[unlikely]]
        writer.flush();
      if (!left || !putOrdinary()) break;
      writer.flush();
    }
    if (writer.pending > kFull) [[unlikely]]
      writer.flush();
    if (!left) break;
    const auto k = static_cast<size_t>(std::countr_zero(left));
    size_t run = k - last - 1;
    for (; run > 15; run -= 16) {
      writer.flush();
      if (!put(acTable.entries[0xF0], 0, 0)) return false;
    }
    writer.flush();
    const int value = loadCoefficient(block + kNaturalOfZigzag[k]);
    if (value == -32768 || !putValue(acTable.entries + 16 * run, value)) return false;
    left &= left - 1;
    last = k;
  }
  if (!(nonzero >> 63) && !put(acTable.entries[0], 0, 0)) return false;
  writer.flush();
  return true;
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
  Zel32u bits, count;

  explicit Pending(const ZeliEncodeHuffmanState& state)
      : bits(static_cast<Zel32u>(state.accumulator) >> ((24 - state.validBits) & 31)),
        count(static_cast<Zel32u>(state.validBits)) {}
  Pending(Zel32u pendingBits, Zel32u pendingCount) : bits(pendingBits), count(pendingCount) {}

  void save(ZeliEncodeHuffmanState& state) const {
    state.accumulator = bits << (24 - count);
    state.validBits = static_cast<Zel32s>(count);
  }
};

// Codes a block into kBlockBytes of memory and returns the number of whole bytes, or -1 where a code is missing.
HWY_INLINE int putBlock(const Zel16s* block, int difference, const ZeliEncodeHuffmanSpec& dcTable,
                        const ZeliEncodeHuffmanSpec& acTable, Pending& pending, Zel8u* to) {
  FastWriter writer{pending.bits, pending.count, to};
  if (!putSymbols(block, difference, dcTable, acTable, writer)) return -1;
  pending.count = static_cast<Zel32u>(writer.pending);
  pending.bits = static_cast<Zel32u>(writer.accumulator) & ((1u << pending.count) - 1);
  const auto length = static_cast<int>(writer.at - to);
  return writer.any0xFF() ? stuff(to, length) : length;
}

// The same where there may be less memory: not a byte is written behind the last. Returns -1 also if `room` is short.
[[gnu::noinline]] int putBlockInto(Zel64s room, const Zel16s* block, int difference,
                                   const ZeliEncodeHuffmanSpec& dcTable, const ZeliEncodeHuffmanSpec& acTable,
                                   Pending& pending, Zel8u* to) {
  Zel8u bytes[kBlockBytes];
  const int length = putBlock(block, difference, dcTable, acTable, pending, bytes);
  if (length > room) return -1;
  if (length > 0) std::memcpy(to, bytes, static_cast<size_t>(length));
  return length;
}

// Where room may be short or a code missing.
[[gnu::noinline]] ZelStatus encodeCarefully(const BitSink& sink, const Zel16s* block, int difference,
                                            const ZeliEncodeHuffmanSpec& dcTable,
                                            const ZeliEncodeHuffmanSpec& acTable) {
  if (static_cast<Zel32u>(sink.state->validBits) < 8) {
    Pending pending(*sink.state);
    const int length = putBlockInto(Zel64s{sink.length} - *sink.position, block, difference, dcTable, acTable, pending,
                                    sink.bytes + *sink.position);
    if (length >= 0) {
      pending.save(*sink.state);
      *sink.position += length;
      return zelStatusOk;
    }
  }
  return writeBlock(sink, block, difference, dcTable, acTable, false);
}

} // namespace
} // namespace zelj

using namespace zelj;

ZelStatus ownEncodeHuffman8x8_JPEG_16s1u_C1(const Zel16s* pSrc, Zel8u* pDst, Zel32s dstLenBytes, Zel32s* pDstCurrPos,
                                            Zel16s* pLastDC, const ZeliEncodeHuffmanSpec* pDcTable,
                                            const ZeliEncodeHuffmanSpec* pAcTable, ZeliEncodeHuffmanState* pState,
                                            Zel32s bFlushState) {
  if (ZelStatus bad = checkSink(pDst, dstLenBytes, present(pDstCurrPos, pState))) return bad;
  if (bFlushState) return flushBits({pDst, dstLenBytes, pDstCurrPos, pState});
  if (!present(pSrc, pLastDC, pDcTable, pAcTable)) return zelStatusNullPointer;
  const Zel16s dc = loadCoefficient(pSrc);
  const int difference = dc - *pLastDC;
  *pLastDC = dc;
  const Zel32s position = *pDstCurrPos;
  if (Zel64s{dstLenBytes} - position >= kBlockBytes && static_cast<Zel32u>(pState->validBits) < 8) [[likely]] {
    Pending pending(*pState);
    const int length = putBlock(pSrc, difference, *pDcTable, *pAcTable, pending, pDst + position);
    if (length >= 0) [[likely]] {
      pending.save(*pState);
      *pDstCurrPos = position + length;
      return zelStatusOk;
    }
  }
  return encodeCarefully({pDst, dstLenBytes, pDstCurrPos, pState}, pSrc, difference, *pDcTable, *pAcTable);
}

ZelStatus ownEncodeHuffman8x8_Direct_JPEG_16s1u_C1(const Zel16s* pSrc, Zel8u* pDst, Zel32u* pDstBitsLen,
                                                   Zel16s* pLastDC, const ZeliEncodeHuffmanSpec* pDcTable,
                                                   const ZeliEncodeHuffmanSpec* pAcTable) {
  if (!present(pSrc, pDst, pDstBitsLen, pLastDC, pDcTable, pAcTable)) return zelStatusNullPointer;
  const Zel16s dc = loadCoefficient(pSrc);
  const int difference = dc - *pLastDC;
  *pLastDC = dc;

  auto position = static_cast<Zel32s>(*pDstBitsLen >> 3);
  Pending pending(0, *pDstBitsLen & 7);
  if (pending.count) pending.bits = pDst[position] >> (8 - pending.count);
  const auto noLimit = std::numeric_limits<Zel32s>::max();
  const int length = putBlockInto(noLimit, pSrc, difference, *pDcTable, *pAcTable, pending, pDst + position);
  if (length >= 0) {
    position += length;
  } else {
    ZeliEncodeHuffmanState state;
    pending.save(state);
    writeBlock({pDst, noLimit, &position, &state}, pSrc, difference, *pDcTable, *pAcTable, true);
    pending = Pending(state);
  }
  if (pending.count) pDst[position] = static_cast<Zel8u>(pending.bits << (8 - pending.count));
  *pDstBitsLen = static_cast<Zel32u>(position) * 8 + pending.count;
  return zelStatusOk;
}
