// Reading an entropy-coded segment bit by bit: the accurate procedures, which settle every case at the end of the
// source, at markers and at bad codes. Fast paths of the decoders leave those cases to them.
#pragma once

#include "jpeg/huffman/records.h"

namespace zelj {

// Where a decoder reads: the caller's source and cells, and its state record.
struct BitSource {
  const Zel8u* bytes;
  Zel32s length;
  Zel32s* position;
  Zel32s* marker;
  ZeliDecodeHuffmanState* state;
  bool lenient = false; // at a marker additional bits may fall short, if not altogether; codes never
  bool wide = false;    // AC scans
};

// Refills the accumulator byte by byte, to between 25 and 32 bits unless the source or a marker ends it. Status -62:
// the source has ended (within FF in any case, else if more bits are needed than there are); -63: a marker was met in
// an earlier call and more bits are needed. The call that meets a marker succeeds.
//
// In AC scans it refills to between 57 and 64 bits, takes FF FF for a marker too, and the call that meets a marker
// answers -62 where it leaves bits missing.
ZelStatus ownFillBitBuffer(const BitSource& source, int bitsNeeded);

// Decodes a symbol: -62 and -63 as above; -63 also where no code fits, and then the symbol is set to 0.
ZelStatus ownDecodeHuffSymbol(const BitSource& source, const ZeliDecodeHuffmanSpec& spec, int* symbol);

// Reads `count` bits, 0 to 16; those that a marker found on the way withholds are zeros.
ZelStatus readBits(const BitSource& source, int count, Zel32u* bits);

// A magnitude of `category` bits, 0 to 15, as the difference or coefficient that it stands for (T.81 Figure F.12).
inline int extend(Zel32u bits, int category) {
  const auto value = static_cast<int>(bits);
  return value >= (1 << category) / 2 ? value : value - (1 << category) + 1;
}

} // namespace zelj
