// A block to a segment, for the encoders with and without a state record.
#pragma once

#include <cstring>

#include "jpeg/huffman/bit_writer.h"

namespace zelj {

// Blocks may lie at odd addresses.
inline Zel16s loadCoefficient(const Zel16s* p) {
  Zel16s value;
  std::memcpy(&value, p, sizeof value);
  return value;
}

// Codes a block with the accurate procedures. A lenient writer leaves codes out that a table lacks.
ZelStatus writeBlock(const BitSink& sink, const Zel16s* block, int difference, const ZeliEncodeHuffmanSpec& dcTable,
                     const ZeliEncodeHuffmanSpec& acTable, bool lenient);

// More bytes than a block takes: 7 bits pending, 32 for the DC term and 63 times 31 are 250 bytes, twice that with
// stuffing, and 8 are written at once.
constexpr int kBlockBytes = 512;

// Codes a block into kBlockBytes of memory and returns the number of whole bytes, or -1 for blocks that are left to
// writeBlock(), as those that need a code that is not there. Pending bits, up to 7, are right-aligned.
int putBlockFast(const Zel16s* block, int difference, const ZeliEncodeHuffmanSpec& dcTable,
                 const ZeliEncodeHuffmanSpec& acTable, Zel32u* pendingBits, Zel32u* pending, Zel8u* to);

} // namespace zelj
