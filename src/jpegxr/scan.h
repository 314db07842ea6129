// Scanning a 4x4 block for the encoder: which coefficients are significant, in the order of the scan, and what the
// symbols do not carry of all of them.
#pragma once

#include "jpegxr/run_level.h"
#include "simd/byte_masks.h"
#include "simd/bytes.h"
#include "simd/simd.h"

namespace zelj {

constexpr hn::FixedTag<Zel32s, 4> kFour;
using Four = hn::VFromD<hn::FixedTag<Zel32s, 4>>;

// A block by index: the numbers of the places run through its quarters.
struct IndexedBlock {
  Four quarter[4];
};

HWY_INLINE IndexedBlock loadIndexed(const Zel32s* values) {
  return {{hn::LoadU(kFour, values), hn::LoadU(kFour, values + 4), hn::LoadU(kFour, values + 8),
           hn::LoadU(kFour, values + 12)}};
}

// From rows of samples: in each quarter of a block the places are numbered by rows, away from the block's left and, in
// the lower half, bottom edge.
template <class Sample>
HWY_INLINE IndexedBlock loadBlock(const Sample* src, Zel32u srcStep) {
  const auto load = [=](Zel32u y) {
    const auto* p = reinterpret_cast<const Sample*>(reinterpret_cast<const Zel8u*>(src) + size_t{y} * srcStep);
    if constexpr (sizeof(Sample) == 4) {
      return hn::LoadU(kFour, p);
    } else {
      return hn::PromoteTo(kFour, hn::LoadU(hn::Rebind<Sample, decltype(kFour)>(), p));
    }
  };
  const auto rowA = load(0), rowB = load(1), rowC = load(2), rowD = load(3);
  return {{hn::ConcatLowerLower(kFour, rowB, rowA), hn::Shuffle2301(hn::ConcatUpperUpper(kFour, rowB, rowA)),
           hn::ConcatLowerLower(kFour, rowC, rowD), hn::Shuffle2301(hn::ConcatUpperUpper(kFour, rowC, rowD))}};
}

template <class Sample>
HWY_INLINE void storeBlock(const IndexedBlock& block, Sample* dst, Zel32u dstStep) {
  const auto store = [=](Zel32u y, Four row) {
    auto* p = reinterpret_cast<Sample*>(reinterpret_cast<Zel8u*>(dst) + size_t{y} * dstStep);
    if constexpr (sizeof(Sample) == 4) {
      hn::StoreU(row, kFour, p);
    } else {
      const hn::FixedTag<Zel16u, 4> d16;
      const hn::RebindToUnsigned<decltype(kFour)> du;
      hn::StoreU(hn::BitCast(hn::RebindToSigned<decltype(d16)>(), hn::TruncateTo(d16, hn::BitCast(du, row))),
                 hn::RebindToSigned<decltype(d16)>(), p);
    }
  };
  const auto right = hn::Shuffle2301(block.quarter[1]), lowerRight = hn::Shuffle2301(block.quarter[3]);
  store(0, hn::ConcatLowerLower(kFour, right, block.quarter[0]));
  store(1, hn::ConcatUpperUpper(kFour, right, block.quarter[0]));
  store(2, hn::ConcatUpperUpper(kFour, lowerRight, block.quarter[2]));
  store(3, hn::ConcatLowerLower(kFour, lowerRight, block.quarter[2]));
}

// Sixteen 32-bit lanes to bytes, with saturation.
HWY_INLINE auto narrow(Four a, Four b, Four c, Four d) {
  const hn::FixedTag<Zel16s, 8> d16;
  return narrowSigned(hn::ReorderDemote2To(d16, a, b), hn::ReorderDemote2To(d16, c, d));
}

// The indices of a scan's places, a byte each.
HWY_INLINE auto orderOf(const ScanEntry* scan) {
  Four group[4];
  for (int i = 0; i < 4; ++i) {
    const auto entry = [=](int k) { return hn::LoadU(kFour, reinterpret_cast<const Zel32s*>(scan + 4 * i + k)); };
    group[i] =
        hn::ConcatUpperUpper(kFour, hn::InterleaveLower(entry(2), entry(3)), hn::InterleaveLower(entry(0), entry(1)));
  }
  return narrow(group[0], group[1], group[2], group[3]);
}

// Stores what the fixed-length codes write of each place but the DC: where there is a pair, twice the low bits of the
// magnitude; elsewhere four times the magnitude, 1 more if it is not 0 and 2 more if the value is negative.
HWY_INLINE void storeResiduals(const IndexedBlock& block, Zel32u modelBits, Zel32u trim, Zel32u* to) {
  const hn::RebindToUnsigned<decltype(kFour)> du;
  const auto zero = hn::Zero(du), one = hn::Set(du, 1), two = hn::Set(du, 2);
  const auto mask = hn::Set(du, (1u << modelBits) - 1);
  const int bits = static_cast<int>(modelBits), cut = static_cast<int>(trim);
  hn::VFromD<decltype(du)> field[4];
  for (int i = 0; i < 4; ++i) {
    const auto value = block.quarter[i];
    const auto magnitude = hn::BitCast(du, hn::Abs(value)), rest = hn::ShiftRightSame(magnitude, cut);
    const auto low = hn::ShiftRightSame(hn::And(magnitude, mask), cut);
    const auto sign = hn::Or(hn::And(hn::ShiftRight<30>(hn::BitCast(du, value)), two), one);
    const auto alone = hn::IfThenZeroElse(hn::Eq(rest, zero), hn::Or(hn::ShiftLeft<2>(rest), sign));
    field[i] = hn::IfThenElse(hn::Eq(hn::ShiftRightSame(magnitude, bits), zero), alone, hn::ShiftLeft<1>(low));
  }
  hn::StoreU(hn::CombineShiftRightBytes<4>(du, field[1], field[0]), du, to + 1);
  for (int i = 1; i < 4; ++i) hn::StoreU(field[i], du, to + 4 * i);
}

// Writes the pairs of a block, returns their number, and counts their places.
HWY_INLINE Zel32u scanPairs(const IndexedBlock& block, Zel32u modelBits, ScanEntry* scan, RunLevel* pairs) {
  const hn::RebindToUnsigned<decltype(kFour)> du;
  alignas(16) Zel32s levels[16];
  Four present[4];
  for (int i = 0; i < 4; ++i) {
    const auto v = block.quarter[i], sign = hn::BroadcastSignBit(v);
    const auto shifted = hn::ShiftRightSame(hn::BitCast(du, hn::Abs(v)), static_cast<int>(modelBits));
    const auto magnitude = hn::BitCast(kFour, shifted);
    present[i] = hn::Sub(hn::Zero(kFour), magnitude); // negative, unless there is nothing
    hn::Store(hn::Sub(hn::Xor(magnitude, sign), sign), kFour, levels + 4 * i);
  }
  const hn::FixedTag<Zel8s, 16> d8;
  const auto present8 = narrow(present[0], present[1], present[2], present[3]);
  const auto inOrder = hn::TableLookupBytes(present8, orderOf(scan));
  Zel64u left = bitsOfMask(d8, hn::MaskFromVec(inOrder)) & 0xFFFE;
  Zel32u n = 0;
  for (int last = 0; left; left &= left - 1, ++n) {
    const int place = std::countr_zero(left);
    pairs[n] = {place - last - 1, levels[scan[place].index & 15]};
    last = place;
    countPlace(scan + place);
  }
  return n;
}

} // namespace zelj
