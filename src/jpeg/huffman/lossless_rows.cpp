// Rows of differences of the lossless process to and from a segment, sample by sample of up to four planes.
#include <algorithm>
#include <utility>

#include "frame/checks.h"
#include "frame/implementations.h"
#include "jpeg/huffman/coefficients.h"
#include "jpeg/huffman/one_value.h"
#include "jpeg/huffman/wide_reader.h"
#include "jpeg/huffman/wide_writer.h"

namespace zelj {
namespace {

constexpr int kMaxPlanes = 4;

bool presentPlanes(const void* const* planes, const void* const* tables, int count) {
  for (int c = 0; c < count; ++c) {
    if (!planes[c] || !tables[c]) return false;
  }
  return true;
}

// Codes columns while there is room for them and every difference has a code. Returns how many.
template <int kPlanes>
int encodeColumns(const BitSink& sink, const Zel16s* const* planes, int width,
                  const ZeliEncodeHuffmanSpec* const* tables) {
  constexpr int kRoom = 8 + 24 + 2 * 8 * kMaxPlanes; // of what is pending, and 31 bits a sample, all with stuffing
  ZeliEncodeHuffmanState& state = *sink.state;
  if (static_cast<Zel32u>(state.validBits) > 7) return 0;
  WideWriter writer(sink);
  writer.accumulator >>= (24 - state.validBits) & 31;
  const Zel16s* rows[kPlanes];
  const Zel32u* entries[kPlanes];
  for (int c = 0; c < kPlanes; ++c) {
    rows[c] = planes[c];
    entries[c] = tables[c]->entries;
  }
  int x = 0;
  for (; x < width && writer.end - writer.at >= kRoom; ++x) {
    Zel64u bits[kPlanes];
    int lengths[kPlanes];
    bool coded = true;
    for (int c = 0; c < kPlanes; ++c) {
      const int value = load16(rows[c] + x), category = categoryOf(value);
      const int additional = category & 15; // none for -32768
      const Zel32u entry = entries[c][category];
      coded &= entry != 0;
      bits[c] = Zel64u{entry & 0xFFFF} << additional | (additionalBits(value) & ((1u << additional) - 1));
      lengths[c] = static_cast<int>(entry >> 16) + additional;
    }
    if (!coded) [[unlikely]]
      break;
    for (int c = 0; c < kPlanes; ++c) writer.put(bits[c], lengths[c]);
  }
  writer.flushBytes();
  state.accumulator = (writer.accumulator & ((Zel64u{1} << writer.pending) - 1)) << (24 - writer.pending);
  state.validBits = writer.pending;
  *sink.position = static_cast<Zel32s>(writer.at - sink.bytes);
  return x;
}

// By the next 8 bits: how many bits a sample takes that has its code there, with the additional ones; 0: it has a
// longer code, or none, or stands for -32768.
struct SampleLengths {
  Zel8u lengths[256];

  void set(const ZeliDecodeHuffmanSpec& spec) {
    for (int i = 0; i < 256; ++i) { // compilers make vectors of it
      const Zel32u entry = spec.fastLookup[i];
      const Zel32u length = (entry >> 16) + (entry & 15);
      lengths[i] = static_cast<Zel8u>((entry & 0xF0) == 0 ? length : 0);
    }
  }
};

// Decodes columns in the middle of a segment. Returns how many. From one sample to the next there are but a look at the
// length and a shift; the value is worked out beside them.
template <int kPlanes>
int decodeColumns(const BitSource& source, Zel16s* const* planes, int width,
                  const ZeliDecodeHuffmanSpec* const* tables) {
  if (!WideReader::canStart(source) || source.state->validBits > 32) return 0;
  WideReader reader(source);
  Zel16s* rows[kPlanes];
  const ZeliDecodeHuffmanSpec* specs[kPlanes];
  const Zel8u* lengths[kPlanes];
  SampleLengths memory[kPlanes];
  for (int c = 0; c < kPlanes; ++c) {
    rows[c] = planes[c];
    specs[c] = tables[c];
    const bool same = c > 0 && specs[c] == specs[c - 1];
    if (!same) memory[c].set(*specs[c]);
    lengths[c] = same ? lengths[c - 1] : memory[c].lengths;
  }
  // False: it is left to the accurate procedure.
  const auto sample = [&](int c, int x) __attribute__((always_inline)) {
    const Zel64u top = reader.accumulator >> 56;
    const Zel32u length = lengths[c][top];
    Zel32u entry = specs[c]->fastLookup[top];
    if (length) [[likely]] {
      WideReader behindCode = reader;
      behindCode.skip(entry >> 16);
      store16(behindCode.takeValue(entry & 15), rows[c] + x);
      reader.skip(length);
      return true;
    }
    entry = reader.lookup(*specs[c]);
    if (!entry) return false;
    reader.skip(entry >> 16);
    store16(entry & 0xF0 ? -32768 : reader.takeValue(entry & 15), rows[c] + x);
    return true;
  };
  constexpr int kSample = 16 + 15; // bits
  int x = 0;
  for (; x < width; ++x) {
    const WideReader before = reader;
    bool done = reader.refill();
    for (int c = 0; c < kPlanes && done; ++c) done = (c == 0 || reader.ensure(kSample)) && sample(c, x);
    if (!done) [[unlikely]] {
      reader = before;
      break;
    }
  }
  reader.handBack(source);
  reader.finish(source);
  return x;
}

using EncodeColumns = int(const BitSink&, const Zel16s* const*, int, const ZeliEncodeHuffmanSpec* const*);
using DecodeColumns = int(const BitSource&, Zel16s* const*, int, const ZeliDecodeHuffmanSpec* const*);
constexpr EncodeColumns* kEncodeColumns[kMaxPlanes] = {encodeColumns<1>, encodeColumns<2>, encodeColumns<3>,
                                                       encodeColumns<4>};
constexpr DecodeColumns* kDecodeColumns[kMaxPlanes] = {decodeColumns<1>, decodeColumns<2>, decodeColumns<3>,
                                                       decodeColumns<4>};

// By the accurate procedure, from column x on.
ZelStatus decodeFrom(const BitSource& source, int x, Zel16s* const* planes, int count, int width,
                     const ZeliDecodeHuffmanSpec* const* tables) {
  for (; x < width; ++x) {
    for (int c = 0; c < count; ++c) {
      int value;
      if (ZelStatus bad = decodeOneValue(source, *tables[c], &value)) return bad;
      store16(value, planes[c] + x);
    }
  }
  return zelStatusOk;
}

} // namespace
} // namespace zelj

using namespace zelj;

ZelStatus ownEncodeHuffmanRow_JPEG_16s1u_P4C1(const Zel16s* pSrc[4], Zel32s width, Zel32s planes, Zel8u* pDst,
                                              Zel32s dstLenBytes, Zel32s* pDstCurrPos,
                                              const ZeliEncodeHuffmanSpec* pTable[4], ZeliEncodeHuffmanState* pState,
                                              Zel32s bFlushState) {
  if (ZelStatus bad = checkSink(pDst, dstLenBytes, present(pDstCurrPos, pState))) return bad;
  const BitSink sink{pDst, dstLenBytes, pDstCurrPos, pState};
  if (bFlushState) return flushBits(sink);
  if (!pSrc) return zelStatusNullPointer;
  if (width < 1 || planes < 1) return zelStatusBadSize;
  if (!pTable) return zelStatusNullPointer;
  const int count = std::min(planes, kMaxPlanes);
  if (!presentPlanes(reinterpret_cast<const void* const*>(pSrc), reinterpret_cast<const void* const*>(pTable), count)) {
    return zelStatusNullPointer;
  }
  for (int x = kEncodeColumns[count - 1](sink, pSrc, width, pTable); x < width; ++x) {
    for (int c = 0; c < count; ++c) {
      if (ZelStatus bad = encodeOneValue(sink, *pTable[c], load16(pSrc[c] + x))) return bad;
    }
  }
  return zelStatusOk;
}

ZelStatus ownDecodeHuffmanRow_JPEG_1u16s_C1P4(const Zel8u* pSrc, Zel32s srcLenBytes, Zel32s* pSrcCurrPos,
                                              Zel16s* pDst[4], Zel32s width, Zel32s planes, Zel32s* pMarker,
                                              const ZeliDecodeHuffmanSpec* pTable[4], ZeliDecodeHuffmanState* pState) {
  if (!pSrc) return zelStatusNullPointer;
  if (srcLenBytes < 1) return zelStatusBadSize;
  if (!present(pSrcCurrPos, pDst)) return zelStatusNullPointer;
  if (width < 1 || planes < 1) return zelStatusBadSize;
  if (!present(pMarker, pTable, pState)) return zelStatusNullPointer;
  const int count = std::min(planes, kMaxPlanes);
  if (!presentPlanes(reinterpret_cast<const void* const*>(pDst), reinterpret_cast<const void* const*>(pTable), count)) {
    return zelStatusNullPointer;
  }
  const BitSource source{pSrc, srcLenBytes, pSrcCurrPos, pMarker, pState};
  const ZeliDecodeHuffmanState state = *pState;
  const Zel32s position = *pSrcCurrPos;
  const int x = kDecodeColumns[count - 1](source, pDst, width, pTable);
  const ZelStatus status = decodeFrom(source, x, pDst, count, width, pTable);
  if (status == zelStatusOk || x == 0) return status;
  // A failure leaves position and accumulator as the accurate procedure alone would.
  *pState = state;
  *pSrcCurrPos = position;
  *pMarker = 0;
  return decodeFrom(source, 0, pDst, count, width, pTable);
}
