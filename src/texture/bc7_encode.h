// What the parts of the BC7 encoder have in common: pixels, end points and ramps of one block.
#pragma once

#include "simd/simd.h"
#include "texture/bc7_format.h"

namespace zelj::bc7 {

// E0 and E1 of a subset, each R, G, B, A.
using EndPoints = std::array<std::array<Zel8u, 4>, 2>;

// The 16 pixels of a block, channel by channel.
using Channels = std::array<std::array<Zel8u, 16>, 4>;

// A first guess at the end points of every partition, and its squared error but for what is the same for all of them.
// Where there is one partition, there is no error.
struct Estimates {
  std::array<std::array<EndPoints, 3>, 64> endPoints;
  std::array<Zel32s, 64> error;
};
void estimate(int mode, const Channels& pixels, Estimates& estimates);

// The pixels of a subset, side by side, with 16 lanes to be read.
struct Subset {
  int count;
  const Zel16u* channel[4];
};

// The bits of the indices of colours and of alpha; alpha that shares the index of the colours has 0.
struct IndexBits {
  int colours, alpha;
};

// Squared distances of the pixels of a subset from the entries of a channel's ramp.
struct Squares {
  alignas(64) Zel16u of[16][16]; // entry, pixel
};
void setSquares(Squares& squares, const Zel16u* pixels, int precision, int e0, int e1, int indexBits);

// For each pixel, the distance that the scan of a ramp of some channels finds, and the entry.
struct Scan {
  alignas(64) Zel32s distance[16];
  alignas(64) Zel32s index[16];
};
extern const Squares kNoSquares;
void scanRamp(Scan& scan, const Squares* const (&channels)[4], int indexBits);

// Improves the end points of a subset, which are held at the precision of the mode, where their error is known to be
// `error`.
EndPoints refine(const Mode& mode, const Subset& subset, IndexBits bits, EndPoints endPoints, Zel32s error);

// Entry of a ramp between two 8-bit values, by its weight. Lanes are of at least 16 bits.
template <class V>
HWY_INLINE V interpolated(V e0, V e1, Zel8u weight) {
  const hn::DFromV<V> d;
  using T = hn::TFromD<hn::DFromV<V>>;
  const V from64 = hn::Add(hn::ShiftLeft<6>(e0), hn::Set(d, T{32}));
  return hn::ShiftRight<6>(hn::Add(from64, hn::Mul(hn::Sub(e1, e0), hn::Set(d, static_cast<T>(weight)))));
}

// The scan of a ramp goes from the first entry up, and ends before the first rise of the distance. It is done backwards
// here: from the scan that begins at the next entry (which found `found`) to the one that begins one entry earlier.
template <class V>
HWY_INLINE V scanFromEarlier(V distance, V nextDistance, V found) {
#if HWY_TARGET <= HWY_AVX3
  return hn::IfThenElse(hn::Gt(nextDistance, distance), distance, found);
#else // unsigned lanes have a minimum, and no comparison but equality
  return hn::IfThenElse(hn::Eq(hn::Min(nextDistance, distance), nextDistance), found, distance);
#endif
}

constexpr const Zel8u* weightsOfBits(int bits) {
  return bits == 2 ? bptc::kWeights2.data() : bits == 3 ? bptc::kWeights3.data() : bptc::kWeights4.data();
}

} // namespace zelj::bc7
