// The MQ decoder and the raw bit reader of code-block segments (ISO/IEC 15444-1 Annex C and D.6).
#pragma once

#include <algorithm>
#include <bit>
#include <cstring>

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
  Zel32s excess;    // A less `limit`; below zero: the next decision is not the plain one
  Zel32u limit;     // the least A - Qe for which the more probable symbol comes without a shift
  Zel32s available; // bits in c below the upper 16
  Zel64s position;  // of the last byte taken
  Segment segment;
  MqState* states;
  bool marker; // the segment has ended before the bits did

  void start(const Segment& newSegment) {
    segment = newSegment;
    position = 0;
    marker = false;
    c = Zel64u{segment.at(0) ^ 0xFF} << 48;
    take(7);
    setInterval(0x8000);
  }

  [[gnu::always_inline]] Zel32u decode(Zel32u context) {
    MqState& state = states[context];
    const MqState s = state;
    excess -= static_cast<Zel32s>(qeOf(s));
    if (excess >= 0) [[likely]]
      return mpsOf(s);
    return decodeOther(state, s);
  }

 private:
  [[gnu::always_inline]] void setInterval(Zel32u a) {
    limit = std::max(static_cast<Zel32u>(c >> 48), 0x7FFFu) + 1;
    excess = static_cast<Zel32s>(a - limit);
  }

  // Refills an empty C and shifts `shift` bits, until they are there.
  void take(Zel32s shift) {
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

  [[gnu::always_inline]] Zel32u decodeOther(MqState& state, MqState s) {
    const Zel32u qe = qeOf(s), rest = static_cast<Zel32u>(excess) + limit;
    const bool lower = rest > c >> 48;
    const bool less = lower == (rest < qe); // the less probable symbol; it has the smaller part
    c -= lower ? 0 : Zel64u{rest} << 48;
    Zel32u a = lower ? rest : qe;
    state = kMqStates[less ? nextOnLps(s) : nextOnMps(s)];
    const auto shift = static_cast<Zel32s>(std::countl_zero(a)) - 16;
    if (shift <= available) [[likely]] {
      c <<= shift;
      available -= shift;
    } else {
      c <<= available;
      take(shift - available);
    }
    setInterval(a << shift);
    return mpsOf(s) ^ Zel32u { less };
  }

 public:
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
    const Zel32u a = static_cast<Zel32u>(excess) + limit;
    return a - (0x8000u >> (ct - 1)) <= c >> 48;
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

} // namespace zelj
