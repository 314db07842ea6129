// The fast paths' view of the segment of an AC scan, or of a lossless row: up to 63 bits in registers, refilled by
// eight bytes without an 0xFF among them, else byte by byte. They give up at everything out of the ordinary and leave
// it to the accurate procedures.
#pragma once

#include "jpeg/huffman/big_endian.h"
#include "jpeg/huffman/bit_reader.h"
#include "jpeg/huffman/fast_reader.h"

namespace zelj {

struct WideReader {
  // What refill() makes available at least, and the bytes that it wants ahead: the accurate procedure, which may hold
  // more bits, must not see the end of the source first.
  static constexpr int kRefilled = 56, kAhead = 24;

  Zel64u accumulator; // left-aligned
  Zel32s bits;        // unread bits in it, up to 63; the top of the next byte may stand behind them
  const Zel8u *at, *end;

  static bool canStart(const BitSource& source) {
    return *source.marker == 0 && static_cast<Zel32u>(source.state->validBits) <= 63;
  }

  HWY_INLINE explicit WideReader(const BitSource& source)
      : accumulator(source.state->accumulator << 1 << (63 - source.state->validBits)), // no shift moves by 64
        bits(source.state->validBits),
        at(source.bytes + *source.position),
        end(source.bytes + source.length) {}

  // At least `count` bits, up to kRefilled; false: they are not there, or there is a marker or the end.
  HWY_INLINE bool ensure(int count) { return bits >= count || refill(); }

  HWY_INLINE bool refill() {
    if (end - at >= kAhead) [[likely]] {
      const Zel64u word = loadBigEndian64(at);
      if (!has0xFF(word)) [[likely]] {
        accumulator |= word >> bits;
        at += (63 - bits) >> 3;
        bits |= kRefilled;
        return true;
      }
    }
    const Refilled refilled = byBytes(accumulator, bits, at, end); // by value, or this object stays in memory
    accumulator = refilled.accumulator;
    bits = refilled.bits;
    at = refilled.at;
    return bits >= kRefilled;
  }

  // The next symbol as in the look-up table: code length << 16 | symbol, 0 for none.
  HWY_INLINE Zel32u lookup(const ZeliDecodeHuffmanSpec& spec) const {
    const Zel32u entry = spec.fastLookup[accumulator >> 56];
    return entry ? entry : lookupLongCode(spec, static_cast<Zel32u>(accumulator >> 48));
  }

  HWY_INLINE void skip(Zel32u count) {
    accumulator <<= count;
    bits -= static_cast<Zel32s>(count);
  }
  // Up to 63 bits.
  HWY_INLINE Zel64u take(int count) {
    const Zel64u taken = accumulator >> 1 >> (63 - count);
    skip(static_cast<Zel32u>(count));
    return taken;
  }
  // The value of `category` additional bits, 0 to 15.
  HWY_INLINE int takeValue(int category) {
    // Negative values begin with a 0: their ones' complement is the magnitude.
    const auto negative = static_cast<Zel64u>(~(static_cast<Zel64s>(accumulator) >> 63));
    const Zel64u magnitude = (accumulator ^ negative) >> 1 >> (63 - category);
    skip(static_cast<Zel32u>(category));
    return static_cast<int>((magnitude ^ negative) - negative);
  }

  // Hands whole bytes back so that at most 32 bits stay, for what reads no AC scan; never what stood in front of the
  // call.
  void handBack(const BitSource& source) {
    const Zel8u* begin = source.bytes + *source.position;
    for (; bits > 32; bits -= 8) at -= at - begin >= 2 && at[-1] == 0 && at[-2] == 0xFF ? 2 : 1;
  }

  // Writes position and accumulator.
  HWY_INLINE void finish(const BitSource& source) const {
    source.state->accumulator = accumulator >> 1 >> (63 - bits);
    source.state->validBits = bits;
    *source.position = static_cast<Zel32s>(at - source.bytes);
  }

 private:
  struct Refilled {
    Zel64u accumulator;
    const Zel8u* at;
    Zel32s bits;
  };

  static bool has0xFF(Zel64u word) { return (word & (~word - 0x0101010101010101u) & 0x8080808080808080u) != 0; }

  // Over stuffed bytes too; stays short at a marker and near the end.
  [[gnu::noinline]] static Refilled byBytes(Zel64u accumulator, Zel32s bits, const Zel8u* at, const Zel8u* end) {
    for (; bits < kRefilled && end - at >= kAhead; bits += 8) {
      const Zel8u byte = *at;
      if (byte == 0xFF && at[1] != 0) break;
      at += byte == 0xFF ? 2 : 1;
      accumulator |= Zel64u{byte} << (56 - bits);
    }
    return {accumulator, at, bits};
  }
};

} // namespace zelj
