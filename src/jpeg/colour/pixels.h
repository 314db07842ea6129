// How the colour conversions walk a row: kernels convert one byte vector's worth of pixels, 16 or a multiple, and this
// brings them to every width.
#pragma once

#include <cstring>

#include "frame/rows.h"
#include "simd/blocks.h"

namespace zelj {

// Where the pixels of an operand lie: kPlanes planes of kBytes bytes a pixel, of which the last kHalved have a sample
// for two pixels of a row.
template <class Byte, int kPlanes, int kBytes, int kHalved = 0>
struct Pixels {
  Byte* plane[kPlanes];

  // Where pixel x of a plane begins, in bytes.
  static constexpr Zel64s offset(int i, int x) { return Zel64s{i < kPlanes - kHalved ? x : x / 2} * kBytes; }

  Pixels at(int x) const {
    Pixels moved = *this;
    for (int i = 0; i < kPlanes; ++i) moved.plane[i] += offset(i, x);
    return moved;
  }
};

template <int kPlanes, int kBytes, int kHalved = 0>
using Source = Pixels<const Zel8u, kPlanes, kBytes, kHalved>;
template <int kPlanes, int kBytes, int kHalved = 0>
using Destination = Pixels<Zel8u, kPlanes, kBytes, kHalved>;

// Row y of an operand: of pixels in one place, and of planes.
template <int kBytes, class T>
auto pixelRow(T* base, int step, int y) {
  using Byte = std::conditional_t<std::is_const_v<T>, const Zel8u, Zel8u>;
  return Pixels<Byte, 1, kBytes>{{reinterpret_cast<Byte*>(row(base, step, y))}};
}
template <int kPlanes, class T>
Pixels<T, kPlanes, 1> planeRow(T* const* base, int step, int y) {
  Pixels<T, kPlanes, 1> pixels;
  for (int i = 0; i < kPlanes; ++i) pixels.plane[i] = row(base[i], step, y);
  return pixels;
}

// Memory for the pixels of one block.
template <int kPlanes, int kBytes, int kHalved = 0>
struct StagedBlock {
  Zel8u bytes[kPlanes][16 * kBytes] = {};

  template <class Byte>
  Pixels<Byte, kPlanes, kBytes, kHalved> pixels() {
    Pixels<Byte, kPlanes, kBytes, kHalved> pixels;
    for (int i = 0; i < kPlanes; ++i) pixels.plane[i] = bytes[i];
    return pixels;
  }
};

template <int kPlanes, int kBytes, int kHalved>
void copyPixels(Source<kPlanes, kBytes, kHalved> from, Destination<kPlanes, kBytes, kHalved> to, int first, int end) {
  for (int i = 0; i < kPlanes; ++i) {
    const Zel64s begin = from.offset(i, first);
    std::memcpy(to.plane[i] + begin, from.plane[i] + begin, static_cast<size_t>(from.offset(i, end) - begin));
  }
}

// Calls kernel(d, source, destination) over the first `count` pixels, at least 16, with the largest vectors that fit.
template <size_t kLanes, class S, class D, class Kernel>
HWY_INLINE void convertVectors(int count, S source, D destination, Kernel kernel) {
  constexpr hn::FixedTag<Zel8u, kLanes> d;
  constexpr int n = static_cast<int>(kLanes);
  if (kLanes == 16 || count >= n) {
    int x = 0;
    for (; x <= count - n; x += n) kernel(d, source.at(x), destination.at(x));
    if (x < count) kernel(d, source.at(count - n), destination.at(count - n));
  } else if constexpr (kLanes > 16) {
    convertVectors<kLanes / 2>(count, source, destination, kernel);
  }
}

// Converts a row whose first pixels, as many groups of kGroup as there are, take the form of `groups` and the others
// that of `rest`. Pixels may be computed twice, first in the other form: operands do not overlap.
template <int kGroup, int kSourcePlanes, int kSourceBytes, int kSourceHalved, int kPlanes, int kBytes, int kHalved,
          class Groups, class Rest>
HWY_INLINE void convertRow(int width, Source<kSourcePlanes, kSourceBytes, kSourceHalved> source,
                           Destination<kPlanes, kBytes, kHalved> destination, Groups groups, Rest rest) {
  constexpr Block8u block;
  const int grouped = width - width % kGroup;
  if (width >= 16) {
    if (grouped < width) rest(block, source.at(width - 16), destination.at(width - 16));
    convertVectors<hn::MaxLanes(hn::ScalableTag<Zel8u>())>(grouped, source, destination, groups);
    return;
  }
  StagedBlock<kSourcePlanes, kSourceBytes, kSourceHalved> stagedIn;
  StagedBlock<kPlanes, kBytes, kHalved> stagedOut;
  const auto in = stagedIn.template pixels<const Zel8u>();
  const auto out = stagedOut.template pixels<Zel8u>();
  copyPixels(source, stagedIn.template pixels<Zel8u>(), 0, width);
  groups(block, in, out);
  copyPixels(stagedOut.template pixels<const Zel8u>(), destination, 0, grouped);
  if (grouped < width) {
    rest(block, in, out);
    copyPixels(stagedOut.template pixels<const Zel8u>(), destination, grouped, width);
  }
}

// Converts a row whose pixels all take one form.
template <class S, class D, class Kernel>
HWY_INLINE void convertRow(int width, S source, D destination, Kernel kernel) {
  convertRow<1>(width, source, destination, kernel, kernel);
}

} // namespace zelj
