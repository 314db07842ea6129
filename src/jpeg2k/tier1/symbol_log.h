// Writing the decisions of a chunk to the encoder's log, a byte for each. Decisions come as bit slices: word k holds
// bit k of the decisions of all 64 samples.
#pragma once

#include <array>
#include <bit>
#include <cstring>

#include "jpeg2k/tier1/mq_states.h"
#include "simd/simd.h"

namespace zelj {

constexpr Zel8u symbolOf(Zel32u context, Zel32u bit) {
  return static_cast<Zel8u>(context << 1 | bit);
}

using ByteTag = hn::CappedTag<Zel8u, 32>;

// The bytes of 64 decisions, each `base` and its bits.
template <size_t kSlices>
HWY_INLINE void spread(const std::array<Zel64u, kSlices>& slices, Zel8u base, Zel8u* bytes) {
  constexpr ByteTag d;
  for (size_t at = 0; at < 64; at += hn::MaxLanes(d)) {
    auto v = hn::Set(d, base);
    for (size_t k = 0; k < kSlices; ++k) {
      const Zel64u bits = slices[k] >> at;
      Zel8u maskBytes[8];
      std::memcpy(maskBytes, &bits, 8);
      v = hn::Or(v, hn::IfThenElseZero(hn::LoadMaskBits(d, maskBytes), hn::Set(d, static_cast<Zel8u>(1 << k))));
    }
    hn::Store(v, d, bytes + at);
  }
}

// Shuffles of eight bytes that move those of a set to the front.
struct Compaction {
  alignas(64) Zel8u shuffle[256][8];
};

// The set of bits 0..7 in order.
constexpr Compaction makeCompaction() {
  Compaction table{};
  for (size_t set = 0; set < 256; ++set) {
    size_t n = 0;
    for (size_t i = 0; i < 8; ++i) {
      if (set >> i & 1) table.shuffle[set][n++] = static_cast<Zel8u>(i);
    }
  }
  return table;
}

// Bytes 0..3 are what is coded of the samples of a column, 4..7 their signs; each sign goes behind its sample.
constexpr Compaction makeColumnCompaction() {
  Compaction table{};
  for (size_t set = 0; set < 256; ++set) {
    size_t n = 0;
    for (size_t i = 0; i < 4; ++i) {
      if (set >> i & 1) table.shuffle[set][n++] = static_cast<Zel8u>(i);
      if (set >> (4 + i) & 1) table.shuffle[set][n++] = static_cast<Zel8u>(4 + i);
    }
  }
  return table;
}

inline constexpr Compaction kCompaction = makeCompaction();
inline constexpr Compaction kColumnCompaction = makeColumnCompaction();

// Writes those of eight bytes that are in the set; up to eight bytes of `to` are overwritten.
HWY_INLINE Zel8u* putSet(const Compaction& table, const Zel8u* bytes, Zel64u set, Zel8u* to) {
  constexpr hn::CappedTag<Zel8u, 8> d;
  hn::StoreU(hn::TableLookupBytes(hn::LoadU(d, bytes), hn::LoadU(d, table.shuffle[set])), d, to);
  return to + std::popcount(set);
}

// Writes the decisions of the samples in `coded`.
HWY_INLINE Zel8u* putCoded(const Zel8u* bytes, Zel64u coded, Zel8u* to) {
  for (int i = 0; i < 8; ++i) to = putSet(kCompaction, bytes + 8 * i, coded >> 8 * i & 0xFF, to);
  return to;
}

// Writes the decisions of the samples in `coded` with the signs of those in `fresh`, which have become significant.
// In the columns of `runs` (by their bits of row 0) a run ends: the first sample of `fresh` is told by its place.
inline Zel8u* putCodedWithSigns(const Zel8u* bytes, const Zel8u* signs, Zel64u coded, Zel64u fresh, Zel64u runs,
                                Zel8u* to) {
  constexpr hn::CappedTag<Zel32u, 4> d32;
  alignas(16) Zel32u columns[32];
  for (size_t i = 0; i < 64; i += 16) {
    const auto a = hn::Load(d32, reinterpret_cast<const Zel32u*>(bytes + i));
    const auto b = hn::Load(d32, reinterpret_cast<const Zel32u*>(signs + i));
    hn::Store(hn::InterleaveLower(d32, a, b), d32, columns + i / 2);
    hn::Store(hn::InterleaveUpper(d32, a, b), d32, columns + i / 2 + 4);
  }
  const auto* pairs = reinterpret_cast<const Zel8u*>(columns);
  constexpr Zel64u kEven = 0x0F0F0F0F0F0F0F0Fu;
  if (!runs) [[likely]] {
    const Zel64u even = (coded & kEven) | (fresh & kEven) << 4, odd = (coded >> 4 & kEven) | (fresh & ~kEven);
    for (int i = 0; i < 8; ++i) {
      to = putSet(kColumnCompaction, pairs + 16 * i, even >> 8 * i & 0xFF, to);
      to = putSet(kColumnCompaction, pairs + 16 * i + 8, odd >> 8 * i & 0xFF, to);
    }
    return to;
  }
  for (int x = 0; x < 16; ++x) {
    Zel64u codedHere = coded >> 4 * x & 15;
    const Zel64u freshHere = fresh >> 4 * x & 15;
    if (runs >> 4 * x & 1) {
      const auto row = static_cast<Zel32u>(std::countr_zero(freshHere));
      to[0] = symbolOf(kRunContext, 1);
      to[1] = symbolOf(kUniformContext, row >> 1);
      to[2] = symbolOf(kUniformContext, row & 1);
      to += 3;
      codedHere &= 14u << row;
    }
    to = putSet(kColumnCompaction, pairs + 8 * x, codedHere | freshHere << 4, to);
  }
  return to;
}

} // namespace zelj
