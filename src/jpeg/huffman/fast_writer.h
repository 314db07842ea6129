// The fast paths' view of the end of a segment: a 64-bit accumulator in registers, written by whole words. Bytes of
// 0xFF are looked for on the way only, and a block that has any is written once more with stuffing. (A look at what has
// been written would wait for the stores.) Codes come doubled, so that the room left may be counted from -1 and one
// sign tells whether a code fits.
#pragma once

#include "jpeg/huffman/big_endian.h"
#include "jpeg/huffman/opaque.h"
#include "jpeg/huffman/records.h"
#include "simd/simd.h"

namespace zelj {

// What stands behind the last whole byte, in narrow form.
struct Pending {
  Zel64u accumulator;
  Zel32s validBits;

  HWY_INLINE Pending(Zel64u bits, Zel32s count) : accumulator(bits), validBits(count) {}
  HWY_INLINE explicit Pending(const ZeliEncodeHuffmanState& state) : Pending(state.accumulator, state.validBits) {}
  HWY_INLINE void save(ZeliEncodeHuffmanState& state) const {
    state.accumulator = accumulator;
    state.validBits = validBits;
  }
};

struct FastWriter {
  Zel64u accumulator; // left-aligned, zeros behind the pending bits
  Zel32s room;        // number of bits that it has room for less 1, from 0
  Zel8u* at;
  Zel64u found0xFF = 0; // top bits of bytes that were 0xFF

  HWY_INLINE FastWriter(const Pending& pending, Zel8u* to)
      : accumulator(pending.accumulator << 40), room(63 - pending.validBits), at(to) {}

  // A code is taken in two steps: its length, for which there may not be room, and its bits, doubled.
  HWY_INLINE bool take(Zel32u length) { return (room -= static_cast<Zel32s>(length)) >= 0; }
  HWY_INLINE void append(Zel64u doubled) { accumulator |= doubled << room; }

  // Between the two steps, if there was no room.
  HWY_INLINE void makeRoom(Zel32u length) {
    untake(length);
    flush();
    take(length);
  }
  HWY_INLINE void untake(Zel32u length) { room = opaque(room) + static_cast<Zel32s>(length); }

  // Writes whole bytes and leaves up to 7 bits; may write 8 bytes.
  HWY_INLINE void flush() {
    store(accumulator);
    const Zel32u whole = static_cast<Zel32u>(~room) & 56;
    accumulator <<= whole;
    room += static_cast<Zel32s>(whole);
    at += whole >> 3;
  }

  // Writes whole bytes, and returns the bits behind them; may write 8 bytes.
  HWY_INLINE Pending finish() {
    store(accumulator);
    const Zel32u pending = static_cast<Zel32u>(~room), whole = pending & 56;
    at += whole >> 3;
    return {accumulator << whole >> 40, static_cast<Zel32s>(pending & 7)};
  }

  HWY_INLINE bool any0xFF() const { return (found0xFF & 0x8080808080808080u) != 0; }

 private:
  HWY_INLINE void store(Zel64u word) {
    found0xFF |= word & ~(word + 0x0101010101010101u);
    storeBigEndian64(word, at);
  }
};

} // namespace zelj
