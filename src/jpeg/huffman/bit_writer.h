// Writing an entropy-coded segment code by code: the accurate procedures, which settle every case at the end of the
// destination and at symbols without a code. Fast paths of the encoders leave those cases to them.
#pragma once

#include <bit>

#include "jpeg/huffman/records.h"

namespace zelj {

// Where an encoder writes: the caller's destination and cell, and its state record in narrow form.
struct BitSink {
  Zel8u* bytes;
  Zel32s length;
  Zel32s* position;
  ZeliEncodeHuffmanState* state;
};

// Appends the low `length` bits of a code, up to 16, and writes whole bytes. Status -64: the length is 0, the symbol
// has no code; -62: the destination is full (the state is then as before).
ZelStatus ownWriteBits(const BitSink& sink, Zel32u code, int length);

// Destination pointer, its length, the other pointers that a flush needs: the checks in front of the flush.
inline ZelStatus checkSink(const void* pDst, Zel32s dstLenBytes, bool restPresent) {
  if (!pDst) return zelStatusNullPointer;
  if (dstLenBytes < 1) return zelStatusBadSize;
  return restPresent ? zelStatusOk : zelStatusNullPointer;
}

// Pads a partial byte with ones, and makes the state new.
ZelStatus flushBits(const BitSink& sink);

// The number of bits of the magnitude of a difference or coefficient, 0 to 16 (T.81 Tables F.1 and F.2).
constexpr int categoryOf(int value) {
  // The doubling spares a test for zero.
  return static_cast<int>(std::bit_width(2 * static_cast<Zel32u>(value < 0 ? -value : value) + 1)) - 1;
}

// The additional bits of a value; only the low `category` bits of the result count.
constexpr Zel32u additionalBits(int value) {
  return static_cast<Zel32u>(value + (value >> 31));
}

// Appends the code of a symbol.
inline ZelStatus writeSymbol(const BitSink& sink, const ZeliEncodeHuffmanSpec& table, int symbol) {
  const Zel32u entry = table.entries[symbol];
  return ownWriteBits(sink, entry & 0xFFFF, static_cast<int>(entry >> 16));
}

} // namespace zelj
