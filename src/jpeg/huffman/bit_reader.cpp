#include "jpeg/huffman/bit_reader.h"

namespace zelj {
namespace {

// Takes bits off the accumulator, up to 16; bits that are not there count as zeros, and validBits goes below zero.
Zel32u takeBits(ZeliDecodeHuffmanState& state, int count) {
  state.validBits -= count;
  const int left = state.validBits;
  const Zel64u bits = left >= 0 ? state.accumulator >> (left & 63) : state.accumulator << (-left & 63);
  return static_cast<Zel32u>(bits & ((1u << count) - 1));
}

ZelStatus ensureBits(const BitSource& source, int count, int atLeast) {
  if (source.state->validBits >= count) return zelStatusOk;
  if (ZelStatus bad = ownFillBitBuffer(source, source.lenient ? atLeast : count)) return bad;
  return source.lenient && source.state->validBits < atLeast ? zelStatusJpegCoefficientRange : zelStatusOk;
}

} // namespace

ZelStatus ownFillBitBuffer(const BitSource& source, int bitsNeeded) {
  ZeliDecodeHuffmanState& state = *source.state;
  Zel32s& position = *source.position;
  if (*source.marker) return bitsNeeded > state.validBits ? zelStatusJpegCoefficientRange : zelStatusOk;
  while (state.validBits < (source.wide ? 57 : 25)) {
    if (position >= source.length) return bitsNeeded > state.validBits ? zelStatusJpegBufferEnd : zelStatusOk;
    const Zel8u byte = source.bytes[position++];
    if (byte == 0xFF) {
      Zel8u next;
      do { // fill bytes
        if (position >= source.length) return zelStatusJpegBufferEnd;
        next = source.bytes[position++];
      } while (next == 0xFF && !source.wide);
      if (next) {
        *source.marker = next;
        return source.wide && bitsNeeded > state.validBits ? zelStatusJpegBufferEnd : zelStatusOk;
      }
    }
    state.accumulator = state.accumulator << 8 | byte;
    state.validBits += 8;
  }
  return zelStatusOk;
}

ZelStatus readBits(const BitSource& source, int count, Zel32u* bits) {
  if (ZelStatus bad = ensureBits(source, count, 1)) return bad;
  *bits = takeBits(*source.state, count);
  return zelStatusOk;
}

ZelStatus ownDecodeHuffSymbol(const BitSource& source, const ZeliDecodeHuffmanSpec& spec, int* symbol) {
  ZeliDecodeHuffmanState& state = *source.state;
  if (state.validBits < 8) {
    if (ZelStatus bad = ownFillBitBuffer(source, 0)) return bad;
  }
  int length = 1;
  if (state.validBits >= 8) {
    const Zel32u entry = spec.fastLookup[state.accumulator >> ((state.validBits - 8) & 63) & 255];
    if (entry) {
      state.validBits -= static_cast<int>(entry >> 16);
      *symbol = entry & 255;
      return zelStatusOk;
    }
    length = 9;
  }
  if (ZelStatus bad = ensureBits(source, length, length)) return bad;
  Zel32u code = takeBits(state, length);
  while (spec.maxCode[length] == kNoCode || code > spec.maxCode[length]) {
    Zel32u bit;
    if (ZelStatus bad = readBits(source, 1, &bit)) return bad;
    code = 2 * code + bit;
    if (++length > 16) {
      *symbol = 0;
      return zelStatusJpegCoefficientRange;
    }
  }
  // The index stays inside the list for every code that T.81 allows; the mask holds for all others.
  *symbol = spec.huffValues[(spec.valueOffset[length] + code - spec.minCode[length]) & 255];
  return zelStatusOk;
}

} // namespace zelj
