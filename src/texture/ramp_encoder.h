// The encoder's side of the half block that alpha in DXT5 and the channels of BC4 and BC5 have in common.
#pragma once

#include "texture/block_vectors.h"

namespace zelj {

// The half block, in the lower half of each lane, of the lane's 16 values between end points first >= second, each of
// which stands in all words of its lane.
HWY_INLINE BlockVec encodeRamp(BlockVec values, hn::Vec<Tag16> first, hn::Vec<Tag16> second) {
  // The thresholds t[0] <= .. <= t[6], `range * i / 7` above the lowest of them, which is `range / 14` above the second
  // end point: a value belongs to the first step of the ramp whose threshold it does not exceed. Quotients are the high
  // halves of products with constants too large by less than 5 / 65536, of numbers below 1800.
  static constexpr LaneWords kSteps{{0, 1, 2, 3, 4, 5, 6, 6}};
  const BlockTag d;
  const Tag16 d16;
  const hn::RebindToSigned<BlockTag> ds;
  const auto range = hn::Sub(first, second);
  const auto lowest = hn::Add(second, hn::MulHigh(range, hn::Set(d16, 65536 / 14 + 1)));
  const auto sevenths = hn::MulHigh(hn::Mul(range, inEachLane(kSteps)), hn::Set(d16, 65536 / 7 + 1));
  // Signed from here on, since that is how processors compare bytes.
  const auto sign = hn::Set(d, 0x80);
  const auto thresholds = hn::Xor(narrowTwice(hn::Add(lowest, sevenths)), sign);
  const auto value = hn::BitCast(ds, hn::Xor(values, sign));
  const auto above = [&](BlockVec threshold) {
    return hn::BitCast(d, hn::VecFromMask(ds, hn::Gt(value, hn::BitCast(ds, threshold))));
  };
  // How many thresholds a value exceeds, by bisection.
  const auto four = hn::And(above(byteInLane(thresholds, 3)), hn::Set(d, 4));
  const auto two = hn::And(above(hn::TableLookupBytes(thresholds, hn::Or(four, hn::Set(d, 1)))), hn::Set(d, 2));
  const auto most = hn::Or(four, two);
  const auto exceeded = hn::Sub(most, above(hn::TableLookupBytes(thresholds, most)));
  // None is the second end point, index 1; all is the first, index 0; between them indices fall from 7 to 2.
  static constexpr LaneBytes kIndices{{1, 7, 6, 5, 4, 3, 2, 0}};
  const auto indices = hn::TableLookupBytes(inEachLane(kIndices), exceeded);

  const auto fours = asQwords(joinWords<1, 64>(joinBytes<1, 8>(indices))); // 12 bits in each dword
  const auto eights = hn::Or(fours, hn::ShiftRight<20>(fours));            // 24 bits in each half
  static constexpr LaneBytes kPlaces{
      {kNone, kNone, 0, 1, 2, 8, 9, 10, kNone, kNone, kNone, kNone, kNone, kNone, kNone, kNone}};
  static constexpr LaneWords kEnds{{0xFFFF}};
  const auto ends = hn::And(hn::Or(first, hn::ShiftLeft<8>(second)), inEachLane(kEnds));
  return hn::Or(pick(eights, kPlaces), asBytes(ends));
}

// The ends lie a sixteenth of the range inside the extremes.
struct Ends {
  BlockVec high, low;
};
HWY_INLINE Ends inset(BlockVec highest, BlockVec lowest) {
  const auto range = asWords(hn::Sub(highest, lowest));
  const auto sixteenth = asBytes(hn::And(hn::ShiftRight<4>(range), hn::Set(Tag16(), 0x0F0F)));
  return {hn::Sub(highest, sixteenth), hn::Add(lowest, sixteenth)};
}

} // namespace zelj
