// Writing an AC scan, or a lossless row: up to 64 bits are pending, right-aligned, and whole bytes leave when the next
// code would not fit.
#pragma once

#include <cstring>

#include "jpeg/huffman/big_endian.h"
#include "jpeg/huffman/bit_writer.h"
#include "simd/simd.h"

namespace zelj {

struct WideWriter {
  Zel64u accumulator; // what stands above the pending bits means nothing
  int pending;
  Zel8u *at, *end;

  explicit WideWriter(const BitSink& sink)
      : accumulator(sink.state->accumulator),
        pending(sink.state->validBits),
        at(sink.bytes + *sink.position),
        end(sink.bytes + sink.length) {}

  void save(const BitSink& sink) const {
    sink.state->accumulator = accumulator;
    sink.state->validBits = pending;
    *sink.position = static_cast<Zel32s>(at - sink.bytes);
  }

  // Appends up to 32 bits, the others of `bits` being 0. False: the destination is full.
  HWY_INLINE bool put(Zel64u bits, int length) {
    if (pending + length > 64) [[unlikely]] {
      const Zel64u word = accumulator << (64 - pending); // at least 33 bits are pending
      const bool plain = (word & (~word - 0x0101010101010101u) & 0x8080808080808080u) == 0;
      if (plain && end - at >= kAhead) [[likely]] {
        storeBigEndian64(word, at);
        at += pending >> 3;
        pending &= 7;
      } else {
        const Written written = byBytes(word, pending, at, end); // by value, or this object stays in memory
        at = written.at;
        pending = written.pending;
        if (pending + length > 64) return false;
      }
    }
    accumulator = accumulator << length | bits;
    pending += length;
    return true;
  }

  // Writes whole bytes, for which there must be room.
  void flushBytes() {
    const Written written = byBytes(pending ? accumulator << (64 - pending) : 0, pending, at, end);
    at = written.at;
    pending = written.pending;
  }

  // Pads the last byte with ones and writes all bytes. False: the destination is full.
  bool flush() {
    const int padding = -pending & 7;
    Zel64u word = pending ? accumulator << (64 - pending) : 0;
    if (padding) word |= ((Zel64u{1} << padding) - 1) << (64 - pending - padding);
    const Written written = byBytes(word, pending + padding, at, end);
    at = written.at;
    pending = 0;
    if (written.pending == 0) return true;
    if (at < end) *at++ = 0xFF; // it is the zero behind it that has no room
    return false;
  }

 private:
  static constexpr int kAhead = 24; // bytes of room that let eight be written where fewer are due

  struct Written {
    Zel8u* at;
    int pending;
  };

  // With stuffing, as far as there is room.
  [[gnu::noinline]] static Written byBytes(Zel64u word, int pending, Zel8u* at, const Zel8u* end) {
    for (; pending >= 8; word <<= 8, pending -= 8) {
      const auto byte = static_cast<Zel8u>(word >> 56);
      if (end - at < (byte == 0xFF ? 2 : 1)) break;
      *at++ = byte;
      if (byte == 0xFF) *at++ = 0;
    }
    return {at, pending};
  }
};

} // namespace zelj
