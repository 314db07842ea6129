// Blocks in vectors: each 128-bit lane of a byte vector holds one block's palette, one value for each of its 16 pixels,
// or one of its rows of four RGBA pixels.
#pragma once

#include "simd/blocks.h"
#include "simd/bytes.h"
#include "simd/dwords.h"
#include "simd/simd.h"

namespace zelj {

using BlockTag = hn::ScalableTag<Zel8u>;
using BlockVec = hn::Vec<BlockTag>;
using Tag16 = hn::ScalableTag<Zel16u>;
using Tag16s = hn::ScalableTag<Zel16s>;
using Tag32 = hn::ScalableTag<Zel32u>;
using Tag64 = hn::ScalableTag<Zel64u>;
inline constexpr int kLanes128 = static_cast<int>(kBlocks<BlockTag>);

// Views of the same bits.
template <class V>
HWY_INLINE BlockVec asBytes(V v) {
  return hn::BitCast(BlockTag(), v);
}
template <class V>
HWY_INLINE hn::Vec<Tag16> asWords(V v) {
  return hn::BitCast(Tag16(), v);
}
template <class V>
HWY_INLINE hn::Vec<Tag32> asDwords(V v) {
  return hn::BitCast(Tag32(), v);
}
template <class V>
HWY_INLINE hn::Vec<Tag64> asQwords(V v) {
  return hn::BitCast(Tag64(), v);
}

// The same 16 bytes, eight words or four dwords in each lane.
struct alignas(16) LaneBytes {
  Zel8u value[16];
};
struct alignas(16) LaneWords {
  Zel16u value[8];
};
struct alignas(16) LaneDwords {
  Zel32u value[4];
};
HWY_INLINE BlockVec inEachLane(const LaneBytes& lane) {
  return hn::LoadDup128(BlockTag(), lane.value);
}
HWY_INLINE hn::Vec<Tag16> inEachLane(const LaneWords& lane) {
  return hn::LoadDup128(Tag16(), lane.value);
}

HWY_INLINE hn::Vec<Tag32> inEachLane(const LaneDwords& lane) {
  return hn::LoadDup128(Tag32(), lane.value);
}

// Bytes picked within each lane; 0x80 gives 0.
inline constexpr Zel8u kNone = 0x80;
template <class V>
HWY_INLINE BlockVec pick(V v, const LaneBytes& from) {
  return hn::TableLookupBytesOr0(asBytes(v), inEachLane(from));
}
// One byte of each lane in all of its bytes, and in all of its words.
template <class V>
HWY_INLINE BlockVec byteInLane(V v, int i) {
  return hn::TableLookupBytes(asBytes(v), hn::Set(BlockTag(), static_cast<Zel8u>(i)));
}
template <class V>
HWY_INLINE hn::Vec<Tag16> byteInWords(V v, int i) {
  return asWords(hn::TableLookupBytesOr0(asBytes(v), asBytes(hn::Set(Tag16(), static_cast<Zel16u>(0x8000 | i)))));
}

// The halves of each lane exchanged.
template <class V>
HWY_INLINE V exchangedHalves(V v) {
  return hn::BitCast(hn::DFromV<V>(), hn::Shuffle1032(asDwords(v)));
}

// Neighbouring bytes with weights become words, words become dwords: small fields move together.
template <int kFirst, int kSecond, class V>
HWY_INLINE hn::Vec<Tag16> joinBytes(V v) {
  return asWords(mulAddPairs(asBytes(v), setPairs<kFirst, kSecond>(BlockTag())));
}
template <int kFirst, int kSecond, class V>
HWY_INLINE hn::Vec<Tag32> joinWords(V v) {
  const Tag16s d;
  const hn::RepartitionToWide<Tag16s> d32;
  hn::Vec<decltype(d32)> none = hn::Zero(d32);
  const auto weights = hn::BitCast(d, hn::Set(Tag32(), (Zel32u{kSecond} << 16) | Zel32u{kFirst}));
  return asDwords(hn::ReorderWidenMulAccumulate(d32, hn::BitCast(d, v), weights, hn::Zero(d32), none));
}

// Eight words of each lane, at most 255, as bytes in both halves of the lane.
HWY_INLINE BlockVec narrowTwice(hn::Vec<Tag16> v) {
  const auto s = hn::BitCast(Tag16s(), v);
  return narrowUnsigned(s, s);
}

// Sixteen 3-bit indices, from 48 bits at byte kAt of each 128-bit lane, in the bytes of the lane.
template <int kAt, class V>
HWY_INLINE V threeBitIndices(V v) {
  // Word i: the bytes that hold the indices of pixels 2i and 2i + 1, shifted down by the high half of a product.
  static constexpr LaneBytes kFrom{{kNone, kAt, kAt, kAt + 1, kAt + 1, kAt + 2, kAt + 2, kAt + 3, kAt + 2, kAt + 3,
                                    kAt + 3, kAt + 4, kAt + 4, kAt + 5, kAt + 5, kNone}};
  static constexpr LaneWords kShift{{1 << 8, 1 << 10, 1 << 12, 1 << 14, 1 << 8, 1 << 10, 1 << 12, 1 << 14}};
  const hn::DFromV<V> d;
  const hn::Repartition<Zel16u, hn::DFromV<V>> d16;
  const auto words = hn::BitCast(d16, hn::TableLookupBytesOr0(v, hn::LoadDup128(d, kFrom.value)));
  const auto pairs = hn::MulHigh(words, hn::LoadDup128(d16, kShift.value));
  const auto first = hn::And(pairs, hn::Set(d16, 0x0007)),
             second = hn::And(hn::ShiftLeft<5>(pairs), hn::Set(d16, 0x0700));
  return hn::BitCast(d, hn::Or(first, second));
}

// Four vectors' lanes as matrices: dword i of vector j becomes dword j of vector i.
HWY_INLINE void transposeDwords(BlockVec (&v)[4]) {
  const Tag32 d;
  const auto a = hn::InterleaveLower(d, asDwords(v[0]), asDwords(v[1]));
  const auto b = hn::InterleaveUpper(d, asDwords(v[0]), asDwords(v[1]));
  const auto e = hn::InterleaveLower(d, asDwords(v[2]), asDwords(v[3]));
  const auto f = hn::InterleaveUpper(d, asDwords(v[2]), asDwords(v[3]));
  const Tag64 q;
  v[0] = asBytes(hn::InterleaveLower(q, asQwords(a), asQwords(e)));
  v[1] = asBytes(hn::InterleaveUpper(q, asQwords(a), asQwords(e)));
  v[2] = asBytes(hn::InterleaveLower(q, asQwords(b), asQwords(f)));
  v[3] = asBytes(hn::InterleaveUpper(q, asQwords(b), asQwords(f)));
}

// Eight contiguous bytes for each lane: in its lower half, and from there.
HWY_INLINE BlockVec loadLowerHalves(const Zel8u* p) {
  if constexpr (kLanes128 == 1) {
    return hn::ZeroExtendVector(BlockTag(), hn::LoadU(hn::Half<BlockTag>(), p));
  } else {
    alignas(64) static constexpr Zel64u kFrom[] = {0, 0, 1, 1, 2, 2, 3, 3};
    const auto v = asQwords(hn::ZeroExtendVector(BlockTag(), hn::LoadU(hn::Half<BlockTag>(), p)));
    return asBytes(hn::TableLookupLanes(v, hn::SetTableIndices(Tag64(), kFrom)));
  }
}
HWY_INLINE void storeLowerHalves(BlockVec v, Zel8u* p) {
  const hn::Half<BlockTag> half;
  if constexpr (kLanes128 > 1) {
    alignas(64) static constexpr Zel64u kFrom[] = {0, 2, 4 % (2 * kLanes128), 6 % (2 * kLanes128), 0, 0, 0, 0};
    v = asBytes(hn::TableLookupLanes(asQwords(v), hn::SetTableIndices(Tag64(), kFrom)));
  }
  hn::StoreU(hn::LowerHalf(half, v), half, p);
}

} // namespace zelj
