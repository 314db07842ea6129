// The MQ decoder and the raw bit reader of code-block segments (ISO/IEC 15444-1 Annex C and D.6).
#pragma once

#include <algorithm>
#include <bit>
#include <cstring>
#include <type_traits>

#include "jpeg2k/tier1/mq_states.h"

namespace zelj {

// A codeword segment; all that is read beyond it is 0xFF.
struct Segment {
  const Zel8u* bytes;
  Zel64s length;

  Zel32u at(Zel64s position) const { return position < length ? bytes[position] : 0xFFu; }
};

// What a refill of the MQ decoder brings.
struct Refill {
  Zel64u bits;    // to be added to C
  Zel32u count;   // of bits
  Zel32u advance; // bytes; none: a marker
};

// BYTEIN for as many bytes as can be taken at once. C is in the form in which the more probable part of the interval
// lies at its lower end, so bytes enter inverted. Behind 0xFF a byte overlaps the bits in front of it by one, so it
// must come no sooner than when these have been shifted out: a refill ends in front of it.
[[gnu::noinline]] inline Refill refill(const Segment& segment, Zel64s position) {
  if (segment.length - position > 8 && segment.bytes[position] != 0xFF) [[likely]] {
    Zel64u word;
    std::memcpy(&word, segment.bytes + position + 1, 8);
    constexpr Zel64u kSix = ~Zel64u{0} >> 16, kOnes = 0x010101010101u, kTops = 0x808080808080u;
    const Zel64u bits = ~__builtin_bswap64(word) >> 16 & kSix;
    // A bit in each byte of zero, and perhaps in a byte above one.
    const Zel64u zeros = (bits - kOnes) & ~bits & kTops;
    if (zeros == 0) return {bits, 48, 6};
    const auto bytes = static_cast<Zel32u>(std::countl_zero(zeros)) / 8 - 1;
    return {bits & ~(kSix >> 8 * bytes), 8 * bytes, bytes};
  }
  const Zel32u next = segment.at(position + 1);
  if (segment.at(position) != 0xFF) return {Zel64u{0xFF - next} << 40, 8, 1};
  if (next < 0x90) return {static_cast<Zel64u>(Zel64s{0x7F} - next) << 41, 7, 1};
  return {0, 48, 0};
}

struct MqDecoder {
  Zel64u c;         // 16 bits to compare, then the bits that follow
  Zel64u a;         // in the upper 16 bits, too
  Zel32s available; // bits in c below the upper 16
  bool marker;      // the segment has ended before the bits did
  Zel64s position;  // of the last byte taken
  Segment segment;
  MqContexts contexts;

  void start(const Segment& newSegment) {
    segment = newSegment;
    position = 0;
    marker = false;
    c = Zel64u{segment.at(0) ^ 0xFF} << 48;
    available = 0;
    refillAndShift(7);
    a = Zel64u{0x8000} << 48;
  }

  // Refills an empty C and shifts `shift` bits, as soon as they are there.
  [[gnu::noinline]] void refillAndShift(Zel32s shift) {
    for (;;) {
      const Refill more = refill(segment, position);
      marker |= more.advance == 0;
      position += more.advance;
      c += more.bits;
      available = static_cast<Zel32s>(more.count);
      if (shift <= available) break;
      c <<= available;
      shift -= available;
    }
    c <<= shift;
    available -= shift;
  }

  // Whether a predictably terminated segment ends as its encoder left it.
  bool endsPredictably() const {
    // Where a decoder stands that takes one byte at a time.
    const Zel64s at = marker ? position : position - available / 8;
    Zel32s ct = available % 8;
    if (segment.at(at) < 0xFF && !marker) return false;
    if (ct != 0) {
      if (!marker) return false;
      if (ct == 1) return true;
    } else {
      if (!marker && segment.at(at + 1) < 0x90) return false;
      ct = 8;
    }
    return (a >> 48) - (0x8000u >> (ct - 1)) <= c >> 48;
  }
};

// A decoder at work: its registers in those of the processor, from construction to `save`. Most decisions are such
// that no branch predictor foresees them, so nothing branches but the rare refill.
struct MqRun {
  MqDecoder& home;
  Zel64u c, a;
  Zel32s available;

  [[gnu::always_inline]] explicit MqRun(MqDecoder& decoder)
      : home(decoder), c(decoder.c), a(decoder.a), available(decoder.available) {}
  [[gnu::always_inline]] void save() const {
    home.c = c;
    home.a = a;
    home.available = available;
  }

  // For a context whose decisions are foreseen mostly.
  [[gnu::always_inline]] Zel32u decodeSkewed(Zel32u context) {
    const MqState& state = home.contexts.states[context];
    const Zel64u rest = a - (Zel64u{state.qe} << 48);
    if (static_cast<Zel64s>(rest) < 0 && rest > c) [[likely]] {
      a = rest;
      return state.lps ^ 1u;
    }
    return decode(context);
  }

  [[gnu::always_inline]] Zel32u decode(Zel32u context) {
    MqState& state = home.contexts.states[context];
    const Zel64u place = state.place, less = state.lps, qe = Zel64u{state.qe} << 48, rest = a - qe;
    // All ones, or none. The smaller part of the interval belongs to the less probable symbol.
    const Zel64u lower = maskOf(rest > c), plain = lower ^ maskOf(rest < qe);
    c -= rest & ~lower;
    a = (rest & lower) | (qe & ~lower);
    state = kMqStates[place - plain + (a >> 63)];
    const auto shift = __builtin_clzll(a);
    a <<= shift;
    available -= shift;
    if (available >= 0) [[likely]] {
      c <<= shift;
    } else {
      home.c = c << (available + shift);
      home.refillAndShift(-available);
      c = home.c;
      available = home.available;
    }
    return static_cast<Zel32u>((less ^ plain) & 1);
  }
};

struct RawReader {
  Segment segment;
  Zel64s position = 0; // of the next byte
  Zel32u byte = 0;
  Zel32u left = 0; // bits of it

  Zel32u read() {
    if (left == 0) {
      left = byte == 0xFF ? 7 : 8;
      byte = segment.at(position++);
    }
    return byte >> --left & 1;
  }

  // Whether what is left is the padding of zeros and ones in turn.
  bool endsInPadding() const {
    if (position > segment.length + 1) return true;
    if (left) return (byte & ((1u << left) - 1)) == 0x55u >> (8 - left);
    return byte != 0xFF || (position < segment.length && segment.at(position) < 0x80);
  }
};

// The same for the raw reader, which has no contexts.
struct RawRun {
  RawReader& home;

  explicit RawRun(RawReader& reader) : home(reader) {}
  void save() const {}
  Zel32u decode(Zel32u) { return home.read(); }
};

template <class Coder>
using RunOf = std::conditional_t<std::is_same_v<Coder, MqDecoder>, MqRun, RawRun>;

} // namespace zelj
