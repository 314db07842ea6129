// Sequential coding of a block (ITU T.81 F.1.2).
#include "jpeg/huffman/block_encoder.h"

#include <algorithm>
#include <bit>
#include <cstring>

#include "frame/checks.h"
#include "frame/implementations.h"
#include "jpeg/huffman/fast_writer.h"
#include "jpeg/huffman/zigzag_bytes.h"
#include "jpeg/zigzag.h"
#include "simd/byte_masks.h"
#include "simd/simd.h"

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

// The magnitude categories and additional bits of the AC coefficients of a block in zig-zag order. For coefficients
// beyond -126..126 only the mask is right.
struct Coefficients {
  alignas(64) Zel8u category[64];
  alignas(64) Zel8u bits[64];
  Zel64u nonzero; // a bit for each position
  bool large;     // whether there are any beyond -126..126

  HWY_INLINE explicit Coefficients(const Zel16s* block) {
    alignas(16) static constexpr Zel8u kLowNibble[16] = {0, 1, 2, 2, 3, 3, 3, 3, 4, 4, 4, 4, 4, 4, 4, 4};
    alignas(16) static constexpr Zel8u kHighNibble[16] = {0, 5, 6, 6, 7, 7, 7, 7};
    alignas(16) static constexpr Zel8u kBitMask[16] = {0, 1, 3, 7, 15, 31, 63, 127};
    constexpr ZigzagBytes::Tag d;
    const hn::RebindToUnsigned<decltype(d)> du;
    const hn::Repartition<Zel16u, decltype(d)> d16;
    const auto lowNibble = hn::LoadDup128(du, kLowNibble), highNibble = hn::LoadDup128(du, kHighNibble);
    const auto bitMask = hn::LoadDup128(du, kBitMask), low4 = hn::Set(du, 15);
    ZigzagBytes values(block);
    alignas(64) static constexpr struct AllButFirst {
      Zel8s lane[ZigzagBytes::kLanes];
      constexpr AllButFirst() : lane{} {
        for (size_t i = 1; i < ZigzagBytes::kLanes; ++i) lane[i] = -1;
      }
    } kAllButFirst;
    values.v[0] = hn::And(values.v[0], hn::Load(d, kAllButFirst.lane)); // the DC term goes its own way
    auto top = hn::Zero(du);
    nonzero = 0;
    for (size_t i = 0; i < ZigzagBytes::kVectors; ++i) {
      const size_t at = i * ZigzagBytes::kLanes;
      const auto v = values.v[i];
      const auto magnitude = hn::BitCast(du, hn::Abs(v));
      const auto low = hn::And(magnitude, low4);
      const auto high = hn::And(hn::BitCast(du, hn::ShiftRight<4>(hn::BitCast(d16, magnitude))), low4);
      const auto categories = hn::Max(hn::TableLookupBytes(lowNibble, low), hn::TableLookupBytes(highNibble, high));
      const auto below = hn::BitCast(du, hn::Add(v, hn::VecFromMask(d, hn::Lt(v, hn::Zero(d)))));
      hn::Store(categories, du, category + at);
      hn::Store(hn::And(below, hn::TableLookupBytes(bitMask, categories)), du, bits + at);
      nonzero |= bitsOfMask(d, hn::Ne(v, hn::Zero(d))) << at;
      top = hn::Or(top, hn::Add(magnitude, hn::Set(du, 1)));
    }
    large = bitsOfMask(d, hn::Lt(hn::BitCast(d, top), hn::Zero(d))) != 0;
  }
};

// Codes a block whose symbols all have codes; false: they have not. Needs kBlockBytes of room.
template <bool kLarge>
HWY_INLINE bool putBlock(const Coefficients& coefficients, const Zel16s* block, int difference,
                         const ZeliEncodeHuffmanSpec& dcTable, const ZeliEncodeHuffmanSpec& acTable,
                         FastWriter& writer) {
  const auto put = [&](Zel32u entry, Zel64u bits, Zel64u category) __attribute__((always_inline)) {
    writer.put(Zel64u{entry & 0xFFFF} << category | bits, (entry >> 16) + category);
    return entry != 0;
  };
  const auto bitsOf = [](int value, Zel64u category) { return additionalBits(value) & ((1u << category) - 1); };
  Zel64u left = coefficients.nonzero;
  Zel64u last16 = 0; // 16 times the last position
  const auto coefficient = [&]() __attribute__((always_inline)) {
    const auto k = static_cast<Zel64u>(std::countr_zero(left));
    left &= left - 1;
    int value = 0;
    Zel64u category = coefficients.category[k];
    if constexpr (kLarge) {
      value = loadCoefficient(block + kNaturalOfZigzag[k]);
      category = static_cast<Zel64u>(categoryOf(value));
      if (category == 16) return false;
    }
    // 16 * run + category
    Zel64u symbol = 16 * k + category - last16 - 16;
    last16 = 16 * k;
    for (; symbol > 255; symbol -= 256) [[unlikely]] {
        writer.flush();
        if (!put(acTable.entries[0xF0], 0, 0)) return false;
        writer.flush();
      }
    if constexpr (kLarge) writer.flush();
    return put(acTable.entries[symbol], kLarge ? bitsOf(value, category) : coefficients.bits[k], category);
  };

  // At most 7 bits are left of the last block. The DC term adds 32 at most, a coefficient that is not large 16 + 7, the
  // end of the block 16: a flush for every two coefficients is enough.
  const auto category = static_cast<Zel64u>(categoryOf(difference));
  if (!put(dcTable.entries[category], bitsOf(difference, category), category)) return false;
  while (left) {
    if (!coefficient()) return false;
    writer.flush();
    if (!left) break;
    if (!coefficient()) return false;
  }
  if (!(coefficients.nonzero >> 63) && !put(acTable.entries[0], 0, 0)) return false;
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

// The ordinary block with enough room. False: nothing has changed but bytes behind the position, by no means any behind
// the end or where there are less than kBlockBytes.
HWY_INLINE bool encodeFast(const BitSink& sink, const Zel16s* block, int difference,
                           const ZeliEncodeHuffmanSpec& dcTable, const ZeliEncodeHuffmanSpec& acTable) {
  auto pending = static_cast<Zel32u>(sink.state->validBits);
  if (pending > 7) return false;
  auto bits = static_cast<Zel32u>(sink.state->accumulator) >> (24 - pending);
  const Zel64s room = Zel64s{sink.length} - *sink.position;
  Zel8u* const end = sink.bytes + *sink.position;
  int length;
  if (room >= kBlockBytes) {
    length = putBlockFast(block, difference, dcTable, acTable, &bits, &pending, end);
    if (length < 0) return false;
  } else {
    Zel8u bytes[kBlockBytes];
    length = putBlockFast(block, difference, dcTable, acTable, &bits, &pending, bytes);
    if (length < 0 || length > room) return false;
    std::memcpy(end, bytes, static_cast<size_t>(length));
  }
  *sink.position += length;
  sink.state->accumulator = bits << (24 - pending);
  sink.state->validBits = static_cast<Zel32s>(pending);
  return true;
}

} // namespace

ZelStatus writeBlock(const BitSink& sink, const Zel16s* block, int difference, const ZeliEncodeHuffmanSpec& dcTable,
                     const ZeliEncodeHuffmanSpec& acTable, bool lenient) {
  if (ZelStatus bad = writeValue(sink, dcTable, 0, difference, lenient)) return bad;
  int run = 0;
  for (int k = 1; k < 64; ++k) {
    const int value = block[kNaturalOfZigzag[k]];
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

int putBlockFast(const Zel16s* block, int difference, const ZeliEncodeHuffmanSpec& dcTable,
                 const ZeliEncodeHuffmanSpec& acTable, Zel32u* pendingBits, Zel32u* pending, Zel8u* to) {
  const Coefficients coefficients(block);
  FastWriter writer{*pendingBits, *pending, to};
  const bool done = coefficients.large ? putBlock<true>(coefficients, block, difference, dcTable, acTable, writer)
                                       : putBlock<false>(coefficients, block, difference, dcTable, acTable, writer);
  if (!done) return -1;
  *pending = static_cast<Zel32u>(writer.pending);
  *pendingBits = static_cast<Zel32u>(writer.accumulator) & ((1u << writer.pending) - 1);
  const auto length = static_cast<int>(writer.at - to);
  return writer.any0xFF() ? stuff(to, length) : length;
}

} // namespace zelj

using namespace zelj;

ZelStatus ownEncodeHuffman8x8_JPEG_16s1u_C1(const Zel16s* pSrc, Zel8u* pDst, Zel32s dstLenBytes, Zel32s* pDstCurrPos,
                                            Zel16s* pLastDC, const ZeliEncodeHuffmanSpec* pDcTable,
                                            const ZeliEncodeHuffmanSpec* pAcTable, ZeliEncodeHuffmanState* pState,
                                            Zel32s bFlushState) {
  if (ZelStatus bad = checkSink(pDst, dstLenBytes, present(pDstCurrPos, pState))) return bad;
  const BitSink sink{pDst, dstLenBytes, pDstCurrPos, pState};
  if (bFlushState) return flushBits(sink);
  if (!present(pSrc, pLastDC, pDcTable, pAcTable)) return zelStatusNullPointer;
  const Zel16s dc = loadCoefficient(pSrc);
  const int difference = dc - *pLastDC;
  *pLastDC = dc;
  if (encodeFast(sink, pSrc, difference, *pDcTable, *pAcTable)) return zelStatusOk;
  Zel16s block[64];
  std::memcpy(block, pSrc, sizeof block);
  return writeBlock(sink, block, difference, *pDcTable, *pAcTable, false);
}
