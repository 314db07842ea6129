// The AC scans of the progressive mode (ITU T.81 G.1.2.2 and G.1.2.3) as a walk over a block's band. The encoders and
// the statistics take it with an Out of their own:
//   ZelStatus symbol(int symbol, Zel32u bits, int count)  a symbol and up to 14 bits behind it
//   ZelStatus corrections(Zel64u bits, int count)         up to 63 bits
//   kWritten                                              whether bits count, or symbols alone
#pragma once

#include <array>
#include <bit>
#include <cstring>

#include "jpeg/huffman/bit_writer.h"
#include "jpeg/huffman/mirrored_masks.h"
#include "jpeg/huffman/records.h"
#include "jpeg/huffman/scans.h"

namespace zelj {

constexpr int kMaxEobRun = 0x7FFF;
// When more correction bits are pending at the end of a block, they are written: the next block may add 63.
constexpr int kMaxCorrections = 937;

// The shifted coefficients of a block, rounded towards zero.
struct ShiftedBlock {
  alignas(64) Zel8s value[64]; // in zig-zag order, limited to a byte
  Zel64u nonzero;

  HWY_INLINE ShiftedBlock(const Zel16s* block, int Al) {
    const ZigzagBytes bytes = Al == 0 ? ZigzagBytes(block) : zigzagBytesOf(block, [=](auto d, auto v) {
      const auto roundUp = hn::Set(d, static_cast<Zel16s>((1 << Al) - 1));
      return hn::ShiftRightSame(hn::Add(v, hn::And(hn::ShiftRight<15>(v), roundUp)), Al);
    });
    constexpr ZigzagBytes::Tag d;
    for (size_t i = 0; i < ZigzagBytes::kVectors; ++i) hn::Store(bytes.v[i], d, value + i * ZigzagBytes::kLanes);
    nonzero = positionsNotZero(bytes);
  }
};

inline int shiftTowardsZero(int value, int Al) {
  return value < 0 ? -(-value >> Al) : value >> Al;
}

// Calls coefficient(run, value) for each coefficient of a band that is not zero, behind zeroRun() for every 16 zeros in
// front of it, and returns the first status that is not 0. *end becomes the position behind the last of them.
template <class ZeroRun, class Coefficient>
HWY_INLINE ZelStatus walkBand(const ShiftedBlock& shifted, const Zel16s* block, int Al, int first, Zel64u nonzero,
                              int* end, ZeroRun zeroRun, Coefficient coefficient) {
  for (*end = first; nonzero; nonzero &= nonzero - 1) {
    const int k = std::countr_zero(nonzero);
    int run = k - *end;
    for (; run > 15; run -= 16) {
      if (ZelStatus bad = zeroRun()) return bad;
    }
    int value = shifted.value[k];
    if (value + 126 < 0 || value > 126) [[unlikely]] // perhaps limited
      value = shiftTowardsZero(loadZigzag(block, k), Al);
    if (ZelStatus bad = coefficient(run, value)) return bad;
    *end = k + 1;
  }
  return zelStatusOk;
}

template <class Out>
ZelStatus putEobRun(ZeliEncodeHuffmanState& state, Out& out) {
  Zel32s& run = state.eobRun;
  if (run <= 0) return zelStatusOk;
  if (run > kMaxEobRun) { // the walks never let it come so far
    if (ZelStatus bad = out.symbol(0xE0, run & 0x3FFF, 14)) return bad;
    run -= kMaxEobRun;
  }
  const int bits = static_cast<int>(std::bit_width(static_cast<Zel32u>(run))) - 1;
  if (bits > 14) return zelStatusJpegCoefficientRange;
  if (ZelStatus bad = out.symbol(bits * 16, static_cast<Zel32u>(run) & ((1u << bits) - 1), bits)) return bad;
  run = 0;
  return zelStatusOk;
}

// The correction bits that wait for the end of their run of blocks.
template <class Out>
ZelStatus putPendingCorrections(ZeliEncodeHuffmanState& state, Out& out) {
  const int count = state.correctionCount;
  state.correctionCount = 0;
  if constexpr (Out::kWritten) {
    for (int i = 0; i < count; i += 8) {
      Zel64u bytes;
      std::memcpy(&bytes, state.correctionBits + i, sizeof bytes); // there are 1024
      if constexpr (std::endian::native == std::endian::big) bytes = __builtin_bswap64(bytes);
      // Byte i's lowest bit comes to bit 63 - i; no two products meet.
      const Zel64u bits = (bytes & 0x0101010101010101u) * 0x8040201008040201u >> 56;
      const int n = count - i < 8 ? count - i : 8;
      if (ZelStatus bad = out.corrections(bits >> (8 - n), n)) return bad;
    }
  }
  return zelStatusOk;
}

template <class Out>
HWY_INLINE ZelStatus putPending(ZeliEncodeHuffmanState& state, Out& out) {
  if (state.eobRun <= 0) [[likely]]
    return zelStatusOk; // and no corrections
  if (ZelStatus bad = putEobRun(state, out)) return bad;
  return putPendingCorrections(state, out);
}

template <class Out>
HWY_INLINE ZelStatus walkFirstScan(const Zel16s* block, int Ss, int Se, int Al, ZeliEncodeHuffmanState& state,
                                   Out& out) {
  const ShiftedBlock shifted(block, Al);
  const Zel64u nonzero = shifted.nonzero & positionsOfBand(Ss, Se);
  if (nonzero) {
    if (ZelStatus bad = putEobRun(state, out)) return bad;
    int end;
    const ZelStatus status = walkBand(
        shifted, block, Al, Ss, nonzero, &end, [&]() __attribute__((always_inline)) { return out.symbol(0xF0, 0, 0); },
        [&](int run, int value) __attribute__((always_inline)) {
          const int category = categoryOf(value);
          if (category > kMaxProgressiveCategory) return ZelStatus{zelStatusJpegCoefficientRange};
          return out.symbol(run * 16 + category, additionalBits(value) & ((1u << category) - 1), category);
        });
    if (status) return status;
    if (end > Se) return zelStatusOk;
  }
  if (++state.eobRun == kMaxEobRun) return putEobRun(state, out);
  return zelStatusOk;
}

// What a refinement scan must know of each coefficient: mirrored masks.
struct RefinedBlock {
  Zel64u low;      // lowest bit
  Zel64u fresh;    // magnitude of 1: becomes significant in this scan
  Zel64u nonzero;  // 1 and more
  Zel64u negative; // sign

  HWY_INLINE RefinedBlock(const Zel16s* block, int Al, Zel64u band) {
    const ZigzagBytes bytes = zigzagBytesOf(block, [=](auto d, auto v) {
      const hn::RebindToUnsigned<decltype(d)> du;
      const auto magnitude = hn::ShiftRightSame(hn::BitCast(du, hn::Abs(v)), Al);
      const auto one = hn::Set(du, 1);
      const auto lowest = hn::And(magnitude, one), above = hn::AndNot(one, magnitude);
      const auto more = hn::AndNot(hn::VecFromMask(du, hn::Eq(above, hn::Zero(du))), hn::Set(du, 2));
      const auto sign = hn::And(hn::ShiftRight<15>(v), hn::Set(d, -128));
      return hn::Or(sign, hn::BitCast(d, hn::Or(lowest, more)));
    });
    ZigzagBytes lowest = bytes, more = bytes;
    constexpr ZigzagBytes::Tag d;
    const hn::Repartition<Zel16s, decltype(d)> d16;
    for (size_t i = 0; i < ZigzagBytes::kVectors; ++i) {
      lowest.v[i] = hn::BitCast(d, hn::ShiftLeft<7>(hn::BitCast(d16, bytes.v[i])));
      more.v[i] = hn::BitCast(d, hn::ShiftLeft<6>(hn::BitCast(d16, bytes.v[i])));
    }
    const Zel64u lows = positionsWithTopBit(lowest) & band, mores = positionsWithTopBit(more) & band;
    nonzero = mirrored(lows | mores);
    low = mirrored(lows);
    fresh = low & ~mirrored(mores);
    negative = mirrored(positionsWithTopBit(bytes));
  }
};

template <class Out>
HWY_INLINE ZelStatus walkRefinementScan(const Zel16s* block, int Ss, int Se, int Al, ZeliEncodeHuffmanState& state,
                                        Out& out) {
  const RefinedBlock refined(block, Al, positionsOfBand(Ss, Se));
  Zel64u corrections = 0; // of this block, behind the last symbol
  int count = 0, k = Ss;
  const auto correct = [&](Zel64u positions) __attribute__((always_inline)) {
    const int n = std::popcount(positions);
    corrections = corrections << n | gatherBits(refined.low, positions);
    count += n;
  };
  const auto put = [&](int symbol, Zel32u bits, int n) __attribute__((always_inline)) {
    if (ZelStatus bad = putPending(state, out)) return bad;
    if (ZelStatus bad = out.symbol(symbol, bits, n)) return bad;
    const ZelStatus status = out.corrections(corrections, count);
    corrections = 0;
    count = 0;
    return status;
  };

  for (Zel64u left = refined.fresh; left;) {
    const int at = std::countl_zero(left);
    left &= fromPosition(at + 1);
    Zel64u before = refined.nonzero & fromPosition(k) & ~fromPosition(at);
    int run = at - k - std::popcount(before);
    if (run > 15) [[unlikely]] {
      // Every 16 zeros are coded in front of the next coefficient that is not zero, with the corrections up to there.
      for (run = 0; run >= 0;) {
        const int next = before ? std::countl_zero(before) : at;
        run += next - k;
        for (; run > 15; run -= 16) {
          if (ZelStatus bad = put(0xF0, 0, 0)) return bad;
        }
        if (next == at) break;
        correct(Zel64u{1} << (63 - next));
        before &= fromPosition(next + 1);
        k = next + 1;
      }
    } else {
      correct(before);
    }
    if (ZelStatus bad = put(run * 16 + 1, ~(refined.negative >> (63 - at)) & 1, 1)) return bad;
    k = at + 1;
  }
  correct(refined.nonzero & fromPosition(k));
  if (k > Se) return zelStatusOk; // neither zeros nor corrections are left
  if constexpr (Out::kWritten) {
    Zel8u* pending = state.correctionBits + state.correctionCount;
    for (int i = 0; i < count; ++i) pending[i] = static_cast<Zel8u>(corrections >> (count - 1 - i) & 1);
  }
  ++state.eobRun;
  state.correctionCount += count;
  if (state.correctionCount > kMaxCorrections || state.eobRun == kMaxEobRun) return putPending(state, out);
  return zelStatusOk;
}

} // namespace zelj
