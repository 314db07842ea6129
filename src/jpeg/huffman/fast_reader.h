// The fast paths' view of an entropy-coded segment: a 64-bit accumulator in registers, refilled by whole words between
// bytes of 0xFF. They give up at everything out of the ordinary and leave it to the accurate procedures.
#pragma once

#include <algorithm>
#include <cstdint>

#include "jpeg/huffman/big_endian.h"
#include "jpeg/huffman/bit_reader.h"
#include "jpeg/huffman/block_decoder.h"
#include "jpeg/huffman/opaque.h"
#include "simd/byte_masks.h"
#include "simd/simd.h"

namespace zelj {

// The symbol that begins the 16 bits, of a code of 9 to 16 bits, as in the look-up table: code length << 16 | symbol, 0
// for none.
[[gnu::noinline]] inline Zel32u lookupLongCode(const ZeliDecodeHuffmanSpec& spec, Zel32u next16) {
  const hn::FixedTag<Zel16u, 8> d;
  // The next 9 to 16 bits beside the largest codes of these lengths. A length without codes has kNoCode, and fits none.
  alignas(16) static constexpr Zel16u kShift[8] = {1 << 9, 1 << 10, 1 << 11, 1 << 12, 1 << 13, 1 << 14, 1 << 15, 0};
  alignas(16) static constexpr Zel16u kLast[8] = {0, 0, 0, 0, 0, 0, 0, 0xFFFF};
  const auto bits = hn::Set(d, static_cast<Zel16u>(next16));
  const auto codes = hn::Or(hn::MulHigh(bits, hn::Load(d, kShift)), hn::And(bits, hn::Load(d, kLast)));
  const auto limits = hn::Add(hn::LoadU(d, spec.maxCode + 9), hn::Set(d, 1));
  const auto first = hn::FindFirstTrue(d, hn::Ne(hn::SaturatedSub(limits, codes), hn::Zero(d)));
  if (first < 0) return 0;
  const auto length = static_cast<Zel32u>(first) + 9;
  const Zel32u index = (next16 >> (16 - length)) + spec.valueOffset[length] - spec.minCode[length];
  return length << 16 | spec.huffValues[index & 255];
}

// How far a reader may look ahead. clearUntil(at): where the next 0xFF, or memory not looked at, begins at the latest;
// anywhere in front of that, and there, eight bytes may be read.

// In a source with a length.
struct BoundedAhead {
  // Memory that must lie in front of a reader before it takes a byte, stuffed or not: 64 in which to look for the next
  // 0xFF from there on, and eight to be read wherever that is.
  static constexpr int kReach = 2 + 64 + 8;

  const Zel8u* bytes;
  Zel32s length;

  explicit BoundedAhead(const BitSource& source) : bytes(source.bytes), length(source.length) {}
  static bool canStart(const BitSource& source) { return Zel64s{source.length} - *source.position >= kReach; }
  bool inReach(const Zel8u* at) const { return bytes + length - at >= kReach; }
  HWY_INLINE const Zel8u* clearUntil(const Zel8u* at) const { return at + findByte64(0xFF, at); }
};

// In a source that a marker ends, somewhere: there is memory to the end of the line of 16 bytes that holds the marker,
// hence all of a line if there is no 0xFF in those before it.
struct UnboundedAhead {
  static constexpr int kLine = 16, kLines = 3;

  explicit UnboundedAhead(const BitSource&) {}
  static bool canStart(const BitSource&) { return true; }
  static bool inReach(const Zel8u*) { return true; }
  HWY_INLINE const Zel8u* clearUntil(const Zel8u* at) const {
    const hn::FixedTag<Zel8u, kLine> d;
    const auto within = reinterpret_cast<uintptr_t>(at) % kLine;
    const Zel8u* line = at - within;
    Zel64u unread = ~Zel64u{0} << within;
    for (int i = 0; i < kLines; ++i, line += kLine) {
      const Zel64u found = bitsOfMask(d, hn::Eq(hn::Load(d, line), hn::Set(d, 0xFF))) & unread;
      if (found) [[unlikely]]
        return line + std::min(std::countr_zero(found), kLine - 8);
      unread = ~Zel64u{0};
    }
    return line; // and the one that begins here may be read
  }
};

// A code with its length, 0 for none.
struct Code {
  Zel64u symbol, length;
  Zel64u category() const { return symbol & 15; }
};

template <class Ahead>
struct FastReader {
  // What refill() makes available at least, what a look-up takes, and what a symbol found by it needs at most with its
  // additional bits.
  static constexpr int kRefilled = 56, kLookup = 8, kFastSymbol = kLookup + 15;

  Zel64u accumulator;    // left-aligned
  Zel64s bits;           // unread bits in it, up to 63
  bool stuffed;          // whether bytes of 0xFF were among those read
  const Zel8u* at;       // the next byte
  const Zel8u* next0xFF; // or where memory begins that was not looked at

  // No marker has been met, and no more than 31 bits are held.
  static bool canStart(const BitSource& source) {
    return (*source.marker | (source.state->validBits & ~31)) == 0 && Ahead::canStart(source);
  }

  // To be called with the place of the source, and what clearUntil() says of it.
  HWY_INLINE FastReader(const BitSource& source, const Zel8u* from, const Zel8u* clearUntil)
      : bits(static_cast<Zel32u>(source.state->validBits)), stuffed(false), at(from), next0xFF(clearUntil) {
    accumulator = source.state->accumulator << 1 << (63 - bits); // no single shift moves 0 bits to the top
  }

  HWY_INLINE bool refill(const BitSource& source) {
    const Zel8u* const next = at + ((63 - bits) >> 3);
    if (next > next0xFF) [[unlikely]] {
      // By value, or the compiler keeps this object in memory.
      const Refilled across = across0xFF(accumulator, bits, at, Ahead(source));
      accumulator = across.accumulator;
      bits = across.bits;
      stuffed = true;
      at = across.at;
      next0xFF = across.next0xFF;
      return bits >= kRefilled;
    }
    // The bits of a byte that does not fit entirely are in place already when the next refill brings them again.
    accumulator |= loadBigEndian64(at) >> bits;
    at = next;
    bits |= kRefilled;
    return true;
  }

  // Symbol and length are loaded each by itself, the length at once to where the accumulator's shift waits for it. (An
  // index of its own for each, or an address for both would be computed in front of them.)
  HWY_INLINE Code lookup(const ZeliDecodeHuffmanSpec& spec) const {
    constexpr bool kLittle = std::endian::native == std::endian::little;
    const auto* const entries = reinterpret_cast<const Zel8u*>(spec.fastLookup);
    const Zel64u i = accumulator >> 56, j = opaque(i);
    return {opaque<Zel64u>(entries[4 * i + (kLittle ? 0 : 3)]), entries[4 * j + (kLittle ? 2 : 1)]};
  }
  HWY_INLINE Code lookupLong(const ZeliDecodeHuffmanSpec& spec) const {
    const Zel32u entry = lookupLongCode(spec, static_cast<Zel32u>(accumulator >> 48));
    return {entry & 255, entry >> 16};
  }

  // Takes a code and its additional bits, 1 to 15, and returns the value that these stand for.
  HWY_INLINE int take(Code code, const DecoderTables& tables) {
    const Zel64u rest = takeCode(code);
    return valueOf(rest, rest >> (-code.category() & 63), tables.offsets[code.category()]);
  }

  // The same for 0 to 15 bits.
  HWY_INLINE int takeAny(Code code, const DecoderTables& tables) {
    const Zel64u rest = takeCode(code);
    return valueOf(rest, rest >> 1 >> (63 - code.category()), tables.offsets[code.category()]);
  }

  // Takes a code and its additional bits; these are the first bits of the result.
  HWY_INLINE Zel64u takeCode(Code code) {
    const Zel64u rest = accumulator << code.length;
    accumulator = rest << code.category();
    bits -= static_cast<Zel64s>(code.length);
    bits -= static_cast<Zel64s>(code.category());
    return rest;
  }

  // Hands whole bytes back, so that 24 to 31 bits stay if there are as many, and writes position and accumulator. (The
  // call began with no more bits than that: what it hands back it has taken.)
  HWY_INLINE void finish(const BitSource& source) {
    const Zel64s back = std::max<Zel64s>((bits >> 3) - 3, 0), left = bits - 8 * back;
    source.state->accumulator = accumulator >> (-left & 63);
    source.state->validBits = static_cast<Zel32s>(left);
    at = stuffed ? backOver0xFF(at, back, source.bytes + *source.position) : at - back;
    *source.position = static_cast<Zel32s>(at - source.bytes);
  }

 private:
  // Negative values begin with a 0, and all ones are taken off the magnitude then. (Without a branch: signs cannot be
  // predicted.)
  HWY_INLINE static int valueOf(Zel64u rest, Zel64u magnitude, Zel32s offset) {
    const auto positive = static_cast<Zel32s>(static_cast<Zel64s>(rest) >> 63);
    return static_cast<Zel32s>(magnitude) + (offset & ~positive);
  }

  struct Refilled {
    Zel64u accumulator;
    Zel64s bits;
    const Zel8u *at, *next0xFF;
  };

  // Refills byte by byte, over stuffed bytes too; stays short at a marker and at the end.
  [[gnu::noinline, gnu::cold]] static Refilled across0xFF(Zel64u accumulator, Zel64s bits, const Zel8u* at,
                                                          Ahead ahead) {
    for (; bits < kRefilled && ahead.inReach(at); bits += 8) {
      const Zel8u byte = *at++;
      if (byte == 0xFF && *at++ != 0) break;
      accumulator |= Zel64u{byte} << (56 - bits);
    }
    return {accumulator, bits, at, bits >= kRefilled ? ahead.clearUntil(at) : at};
  }

  // A zero that the call began with is data: what stands in front of it may be anything.
  [[gnu::noinline, gnu::cold]] static const Zel8u* backOver0xFF(const Zel8u* at, Zel64s count, const Zel8u* begin) {
    for (; count > 0; --count) at -= at - begin >= 2 && at[-1] == 0 && at[-2] == 0xFF ? 2 : 1;
    return at;
  }
};

} // namespace zelj
