// The decoder's half block of eight bytes that alpha in DXT5 and the channels of BC4 and BC5 have in common: two end
// points and a 3-bit index for each pixel into a ramp between them.
#pragma once

#include "texture/block_vectors.h"

namespace zelj {

// The values of the 16 pixels, from the half block at byte kAt of each lane.
template <int kAt>
HWY_INLINE BlockVec decodeRamp(BlockVec blocks) {
  // Eight values (first > second end point): sevenths, rounded; or six values in fifths, 0 and 255. x / 7 and x / 5 are
  // the high halves of products: the constants are too large by less than 5 / 65536, and x is below 1800.
  static constexpr LaneBytes kEnds{
      {kAt, kAt + 1, kAt, kAt + 1, kAt, kAt + 1, kAt, kAt + 1, kAt, kAt + 1, kAt, kAt + 1, kAt, kAt + 1, kAt, kAt + 1}};
  static constexpr LaneBytes kSevenths{{7, 0, 0, 7, 6, 1, 5, 2, 4, 3, 3, 4, 2, 5, 1, 6}};
  static constexpr LaneBytes kFifths{{5, 0, 0, 5, 4, 1, 3, 2, 2, 3, 1, 4, 0, 0, 0, 0}};
  static constexpr LaneWords kRoundFifths{{2, 2, 2, 2, 2, 2, 2, 2 + 5 * 255}};
  const Tag16 d;
  const Tag16s ds;
  const auto ends = asWords(pick(blocks, kEnds));
  const auto first = hn::BitCast(ds, hn::And(ends, hn::Set(d, 0xFF)));
  const auto eight = hn::Gt(first, hn::BitCast(ds, hn::ShiftRight<8>(ends)));
  const auto choose = [&](auto ifEight, auto ifSix) {
    return hn::BitCast(d, hn::IfThenElse(eight, hn::BitCast(ds, ifEight), hn::BitCast(ds, ifSix)));
  };
  const auto weights = asBytes(choose(inEachLane(kSevenths), inEachLane(kFifths)));
  const auto sums =
      hn::Add(asWords(mulAddPairs(asBytes(ends), weights)), choose(hn::Set(d, 3), inEachLane(kRoundFifths)));
  const auto ramp = narrowTwice(hn::MulHigh(sums, choose(hn::Set(d, 65536 / 7 + 1), hn::Set(d, 65536 / 5 + 1))));
  return hn::TableLookupBytes(ramp, threeBitIndices<kAt + 2>(blocks));
}

} // namespace zelj
