// A first guess at end points: for each subset of each partition, the axis along which its colours vary most. Vectors
// hold one partition in each lane, so that 64 of them are a few vectors, and what pixels have in common is done once.
#include "simd/bytes.h"
#include "texture/bc7_encode.h"
#include "texture/bc7_ramp.h"

namespace zelj::bc7 {
namespace {

// The subset of a pixel in each of 64 partitions, pixel by pixel.
using SubsetsOfPixels = std::array<std::array<Zel8u, 64>, 16>;
constexpr SubsetsOfPixels byPixel(const bptc::Partitions& partitions) {
  SubsetsOfPixels subsets{};
  for (size_t p = 0; p < 16; ++p) {
    for (size_t i = 0; i < 64; ++i) subsets[p][i] = partitions[i][p];
  }
  return subsets;
}
constexpr SubsetsOfPixels kSubsetsOfPixels[3] = {{}, byPixel(bptc::kTwoSubsets), byPixel(bptc::kThreeSubsets)};

// Number of pixels and sums of R, G, B, RR, RG, RB, GG, GB, BB over a subset: at most 16 * 255 * 255.
constexpr int kMoments = 10;

// Symmetric matrices: xx, xy, xz, yy, yz, zz.
template <class V>
using Symmetric = std::array<V, 6>;

template <class V>
HWY_INLINE V trace(const Symmetric<V>& m) {
  return hn::Add(hn::Add(m[0], m[3]), m[5]);
}

template <class V>
HWY_INLINE Symmetric<V> squared(const Symmetric<V>& m) {
  const auto dot = [&m](size_t a0, size_t b0, size_t a1, size_t b1, size_t a2, size_t b2) {
    return hn::Add(hn::Add(hn::Mul(m[a0], m[b0]), hn::Mul(m[a1], m[b1])), hn::Mul(m[a2], m[b2]));
  };
  return {dot(0, 0, 1, 1, 2, 2), dot(0, 1, 1, 3, 2, 4), dot(0, 2, 1, 4, 2, 5),
          dot(1, 1, 3, 3, 4, 4), dot(1, 2, 3, 4, 4, 5), dot(2, 2, 4, 4, 5, 5)};
}

// The unit eigenvector of the largest eigenvalue, or 0 of a zero matrix. Squares of a matrix lose all others. A lane is
// left as it is once it holds one eigenvector to single precision, so that its result does not depend on other lanes.
template <class DF, class V = hn::VFromD<DF>>
HWY_INLINE std::array<V, 3> principalAxis(DF d, Symmetric<V> m) {
  const V tiny = hn::Set(d, 1e-30f), enough = hn::Set(d, 1 - 0x1p-21f);
  for (int i = 0; i < 24; ++i) {
    const V sum = trace(m);
    const V scale = hn::Div(hn::Set(d, 1.0f), hn::Max(sum, tiny));
    Symmetric<V> unit;
    for (size_t k = 0; k < 6; ++k) unit[k] = hn::Mul(m[k], scale);
    const Symmetric<V> square = squared(unit);
    const auto done = hn::Or(hn::Ge(trace(square), enough), hn::Eq(sum, hn::Zero(d)));
    if (hn::AllTrue(d, done)) break;
    for (size_t k = 0; k < 6; ++k) m[k] = hn::IfThenElse(done, m[k], square[k]);
  }
  // All columns are multiples of the vector: the one with the largest element on the diagonal.
  const auto second = hn::Gt(m[3], m[0]);
  std::array<V, 3> axis{hn::IfThenElse(second, m[1], m[0]), hn::IfThenElse(second, m[3], m[1]),
                        hn::IfThenElse(second, m[4], m[2])};
  const auto third = hn::Gt(m[5], hn::Max(m[0], m[3]));
  for (size_t k = 0; k < 3; ++k) axis[k] = hn::IfThenElse(third, m[k == 0 ? 2 : k == 1 ? 4 : 5], axis[k]);
  const V length =
      hn::Sqrt(hn::Add(hn::Add(hn::Mul(axis[0], axis[0]), hn::Mul(axis[1], axis[1])), hn::Mul(axis[2], axis[2])));
  const V scale = hn::Div(hn::Set(d, 1.0f), hn::Max(length, tiny));
  for (V& component : axis) component = hn::Mul(component, scale);
  return axis;
}

template <int kMode>
struct Estimator {
  static constexpr Mode kInfo = kModes[kMode];
  static constexpr int kSubsets = kInfo.subsets;
  static constexpr bool kAlpha = kInfo.endPointBits[3] > 0;
  static constexpr hn::CappedTag<Zel32s, static_cast<size_t>(kInfo.partitions())> d{};
  static constexpr hn::Rebind<Zel32f, decltype(d)> df{};
  static constexpr hn::Repartition<Zel16s, decltype(d)> d16{};
  using V = hn::VFromD<decltype(d)>;
  using VF = hn::VFromD<decltype(df)>;

  const Channels& pixels;
  V subsetOf[16];         // of the pixels, in the lanes' partitions
  V ends[kSubsets][2][2]; // of each subset, E0 and E1, as pairs R, G and B, A

  HWY_INLINE auto inSubset(size_t p, int s) const { return hn::Eq(subsetOf[p], hn::Set(d, s)); }
  HWY_INLINE V pixel(size_t c, size_t p) const { return hn::Set(d, pixels[c][p]); }
  // R and G, or B and A.
  HWY_INLINE V pixelPair(size_t p, int k) const {
    const int second = k == 0 ? pixels[1][p] : kAlpha ? pixels[3][p] : 0;
    return hn::Set(d, pixels[k == 0 ? 0 : 2][p] | second << 16);
  }

  HWY_INLINE void fit(int s, const std::array<V, kMoments>& sums) {
    // n * S(ab) - S(a) * S(b) is at most 16 * 16 * 255 * 255 < 2^24, exact in single precision.
    Symmetric<VF> covariance;
    for (size_t a = 0, k = 0; a < 3; ++a) {
      for (size_t b = a; b < 3; ++b, ++k) {
        covariance[k] = hn::ConvertTo(df, hn::Sub(hn::Mul(sums[0], sums[4 + k]), hn::Mul(sums[1 + a], sums[1 + b])));
      }
    }
    const std::array<VF, 3> axis = principalAxis(df, covariance);
    const VF perPixel = hn::Div(hn::Set(df, 1.0f), hn::ConvertTo(df, sums[0]));
    VF mean[3];
    for (size_t c = 0; c < 3; ++c) mean[c] = hn::Mul(hn::ConvertTo(df, sums[1 + c]), perPixel);

    VF low = hn::Zero(df), high = hn::Zero(df); // the mean's place: others lie on both sides
    VF withAlpha = hn::Zero(df);                // the covariance of alpha with the place along the axis
    V lowAlpha = hn::Set(d, 255), highAlpha = hn::Zero(d);
    for (size_t p = 0; p < 16; ++p) {
      const auto in = inSubset(p, s);
      VF along = hn::Zero(df);
      for (size_t c = 0; c < 3; ++c) {
        const VF centred = hn::Sub(hn::Set(df, static_cast<Zel32f>(pixels[c][p])), mean[c]);
        along = hn::Add(along, hn::Mul(centred, axis[c]));
      }
      along = hn::IfThenElseZero(hn::RebindMask(df, in), along);
      low = hn::Min(low, along);
      high = hn::Max(high, along);
      if constexpr (kAlpha) {
        lowAlpha = hn::Min(lowAlpha, hn::IfThenElse(in, pixel(3, p), hn::Set(d, 255)));
        highAlpha = hn::Max(highAlpha, hn::IfThenElseZero(in, pixel(3, p)));
        const Zel32s alpha = pixels[3][p] - pixels[3][0]; // an offset changes nothing
        withAlpha = hn::Add(withAlpha, hn::Mul(along, hn::Set(df, static_cast<Zel32f>(alpha))));
      }
    }
    if constexpr (kAlpha) { // which shares the index in some modes: let it rise along the axis
      const auto falls = hn::Lt(withAlpha, hn::Zero(df));
      const VF first = hn::IfThenElse(falls, high, low);
      high = hn::IfThenElse(falls, low, high);
      low = first;
    }
    for (int e = 0; e < 2; ++e) {
      V value[3];
      for (size_t c = 0; c < 3; ++c) {
        const VF at = hn::Add(mean[c], hn::Mul(e ? high : low, axis[c]));
        value[c] = hn::ConvertTo(d, hn::Min(hn::Max(at, hn::Zero(df)), hn::Set(df, 255.0f)));
      }
      const V alpha = kAlpha ? e ? highAlpha : lowAlpha : hn::Zero(d);
      ends[s][e][0] = hn::Or(value[0], hn::ShiftLeft<16>(value[1]));
      ends[s][e][1] = hn::Or(value[2], hn::ShiftLeft<16>(alpha));
    }
    if constexpr (kMode == 2) takePairs(s, hn::Eq(sums[0], hn::Set(d, 2)));
  }

  // Two pixels are the end points themselves, in their order. (Three subsets of 64 partitions alone have so few.)
  HWY_INLINE void takePairs(int s, hn::MFromD<decltype(d)> isPair) {
    for (size_t i = 0; i < 16; ++i) {
      for (int e = 0; e < 2; ++e) { // the last one that is met remains
        const size_t p = e ? i : 15 - i;
        const auto mine = hn::And(isPair, inSubset(p, s));
        for (int k = 0; k < 2; ++k) ends[s][e][k] = hn::IfThenElse(mine, pixelPair(p, k), ends[s][e][k]);
      }
    }
  }

  // Squared distances of all pixels from the ramps of their subsets.
  HWY_INLINE V error() const {
    constexpr int entries = 1 << kInfo.indexBits;
    hn::VFromD<decltype(d16)> ramps[kSubsets][entries][2];
    for (int s = 0; s < kSubsets; ++s) {
      for (int j = 0; j < entries; ++j) {
        for (int k = 0; k < 2; ++k) {
          ramps[s][j][k] = interpolated(hn::BitCast(d16, ends[s][0][k]), hn::BitCast(d16, ends[s][1][k]),
                                        weightsOfBits(kInfo.indexBits)[j]);
        }
      }
    }
    V sum = hn::Zero(d);
    for (size_t p = 0; p < 16; ++p) {
      const auto second = hn::RebindMask(d, inSubset(p, 1)), third = hn::RebindMask(d, inSubset(p, 2));
      V found = hn::Zero(d), next = hn::Zero(d);
      for (int j = entries - 1; j >= 0; --j) {
        V distance = hn::Zero(d);
        for (int k = 0; k < 2; ++k) {
          V entry = hn::BitCast(d, ramps[0][j][k]);
          if constexpr (kSubsets > 1) entry = hn::IfThenElse(second, hn::BitCast(d, ramps[1][j][k]), entry);
          if constexpr (kSubsets > 2) entry = hn::IfThenElse(third, hn::BitCast(d, ramps[2][j][k]), entry);
          const auto difference = hn::Sub(hn::BitCast(d16, pixelPair(p, k)), hn::BitCast(d16, entry));
          V none = hn::Zero(d);
          distance = hn::ReorderWidenMulAccumulate(d, difference, difference, distance, none);
        }
        found = j == entries - 1 ? distance : scanFromEarlier(distance, next, found);
        next = distance;
      }
      sum = hn::Add(sum, found);
    }
    return sum;
  }

  HWY_INLINE void store(size_t first, Estimates& estimates) const {
    constexpr size_t n = hn::MaxLanes(d);
    for (size_t s = 0; s < kSubsets; ++s) {
      for (size_t e = 0; e < 2; ++e) {
        Zel32s pairs[2][n];
        for (int k = 0; k < 2; ++k) hn::StoreU(ends[s][e][k], d, pairs[k]);
        for (size_t i = 0; i < n; ++i) {
          estimates.endPoints[first + i][s][e] = {
              static_cast<Zel8u>(pairs[0][i]), static_cast<Zel8u>(pairs[0][i] >> 16), static_cast<Zel8u>(pairs[1][i]),
              static_cast<Zel8u>(pairs[1][i] >> 16)};
        }
      }
    }
    if constexpr (kSubsets > 1) hn::StoreU(error(), d, estimates.error.data() + first);
  }

  // `values` are what a pixel adds to the sums, `totals` the sums over all pixels.
  HWY_INLINE void run(size_t first, const Zel32s (&values)[16][kMoments], const Zel32s (&totals)[kMoments],
                      Estimates& estimates) {
    const hn::Rebind<Zel8u, decltype(d)> d8;
    for (size_t p = 0; p < 16; ++p) {
      subsetOf[p] = hn::PromoteTo(d, hn::LoadU(d8, kSubsetsOfPixels[kSubsets - 1][p].data() + first));
    }
    std::array<V, kMoments> rest;
    for (size_t k = 0; k < kMoments; ++k) rest[k] = hn::Set(d, totals[k]);
    for (int s = kSubsets - 1; s >= 0; --s) {
      std::array<V, kMoments> sums = rest; // what no other subset has is the first one's
      if (s > 0) {
        for (V& sum : sums) sum = hn::Zero(d);
        for (size_t p = 0; p < 16; ++p) {
          const auto in = inSubset(p, s);
          for (size_t k = 0; k < kMoments; ++k)
            sums[k] = hn::Add(sums[k], hn::IfThenElseZero(in, hn::Set(d, values[p][k])));
        }
        for (size_t k = 0; k < kMoments; ++k) rest[k] = hn::Sub(rest[k], sums[k]);
      }
      fit(s, sums);
    }
    store(first, estimates);
  }
};

template <int kMode>
void estimateMode(const Channels& pixels, Estimates& estimates) {
  Zel32s values[16][kMoments], totals[kMoments] = {};
  for (size_t p = 0; p < 16; ++p) {
    const Zel32s r = pixels[0][p], g = pixels[1][p], b = pixels[2][p];
    const Zel32s of[kMoments] = {1, r, g, b, r * r, r * g, r * b, g * g, g * b, b * b};
    for (int k = 0; k < kMoments; ++k) {
      values[p][k] = of[k];
      totals[k] += of[k];
    }
  }
  Estimator<kMode> estimator{pixels, {}, {}};
  constexpr auto partitions = static_cast<size_t>(kModes[kMode].partitions());
  for (size_t i = 0; i < partitions; i += hn::MaxLanes(estimator.d)) estimator.run(i, values, totals, estimates);
}

} // namespace

void estimate(int mode, const Channels& pixels, Estimates& estimates) {
  constexpr void (*const kEstimate[8])(const Channels&, Estimates&) = {
      estimateMode<0>, estimateMode<1>, estimateMode<2>, estimateMode<3>,
      estimateMode<4>, estimateMode<5>, estimateMode<6>, estimateMode<7>};
  kEstimate[mode](pixels, estimates);
}

} // namespace zelj::bc7
