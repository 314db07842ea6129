// The fast paths' view of the end of a segment: a 64-bit accumulator in registers, written by whole words. Bytes of
// 0xFF are looked for on the way only, and a block that has any is written once more with stuffing. (A look at what has
// been written would wait for the stores.)
#pragma once

#include "jpeg/huffman/big_endian.h"
#include "simd/simd.h"

namespace zelj {

struct FastWriter {
  Zel64u accumulator; // right-aligned; what stands above the pending bits means nothing
  Zel64u pending;     // number of bits not written yet
  Zel8u* at;
  Zel64u found0xFF = 0; // top bits of bytes that were 0xFF

  // Up to 32 bits, if there is room for them.
  HWY_INLINE void put(Zel64u bits, Zel64u length) {
    accumulator = accumulator << length | bits;
    pending += length;
  }

  // Writes whole bytes; needs 1 to 64 pending bits, leaves up to 7, and may write 8 bytes.
  HWY_INLINE void flush() {
    const Zel64u word = accumulator << (-pending & 63);
    found0xFF |= word & ~(word + 0x0101010101010101u);
    storeBigEndian64(word, at);
    at += pending >> 3;
    pending &= 7;
  }

  // The same if so many bits could not be put, which they commonly can.
  HWY_INLINE void makeRoom(Zel64u bits) {
    if (pending > 64 - bits) [[unlikely]]
      flush();
  }

  bool any0xFF() const { return (found0xFF & 0x8080808080808080u) != 0; }
};

} // namespace zelj
