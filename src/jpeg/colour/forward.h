// The forward forms of the JFIF matrix: R, G, B to Y, Cb, Cr on vectors of bytes. The forms differ in scale,
// coefficients and rounding, so that their results differ by one here and there: each is exact.
#pragma once

#include "jpeg/colour/layouts.h"

namespace zelj {

// One output: r R + g G + b B + round, to be shifted down.
struct Weights {
  int r, g, b, round;
};

// In chroma 128 is left out of the rounding terms: it is added where a result is narrowed, which also clamps it.
struct MatrixForm {
  int shift;
  Weights y, cb, cr;
};
inline constexpr MatrixForm k15Bit{15,
                                   {9798, 19235, 3736, 16266},
                                   {-5529, -10855, 16384, 4210688 - (128 << 15)},
                                   {16384, -13720, -2664, 4210704 - (128 << 15)}};
inline constexpr MatrixForm k14Bit{14,
                                   {4899, 9617, 1868, 8192},
                                   {-2764, -5428, 8192, 2105344 - (128 << 14)},
                                   {8192, -6860, -1332, 2105344 - (128 << 14)}};
inline constexpr MatrixForm k14BitInteger{14,
                                          {4899, 9617, 1868, 8192},
                                          {-2765, -5427, 8192, 2101248 - (128 << 14)},
                                          {8192, -6860, -1332, 2101248 - (128 << 14)}};

// The high and low part of c = 256 high + low, both signed bytes.
constexpr int highPart(int c) {
  return (c + 128) >> 8;
}
constexpr int lowPart(int c) {
  return c - 256 * highPart(c);
}

// Whether sums of bytes times low parts stay within 16 bits, so that mulAddPairs does not saturate.
constexpr bool lowPartsFit(Weights w) {
  int least = 0, most = 0;
  for (const int extreme : {255 * lowPart(w.r), 255 * lowPart(w.g), 255 * lowPart(w.b), lowPart(w.round)}) {
    (extreme < 0 ? least : most) += extreme;
  }
  return least >= -32768 && most <= 32767;
}

// kA0 * a[2i] + kA1 * a[2i+1] and the same of b, in 16 bits, without the products that are nothing.
template <int kA0, int kA1, int kB0, int kB1, class V>
HWY_INLINE auto sumOfPairs(V a, V b) {
  const hn::RebindToSigned<hn::DFromV<V>> d;
  if constexpr (kA0 == 0 && kA1 == 0) {
    return mulAddPairs(b, setPairs<kB0, kB1>(d));
  } else if constexpr (kB0 == 0 && kB1 == 0) {
    return mulAddPairs(a, setPairs<kA0, kA1>(d));
  } else {
    return hn::Add(mulAddPairs(a, setPairs<kA0, kA1>(d)), mulAddPairs(b, setPairs<kB0, kB1>(d)));
  }
}

// (r R + g G + b B + round) >> 8 of pairs (R, G) and (B, 1), exactly and in 16 bits: with each weight split into
// 256 high + low, floor((256 H + L) / 256) = H + floor(L / 256). H takes 16 bits at most, as the high parts of a form
// are 128 in sum.
template <Weights kWeights, class V>
HWY_INLINE auto weightedSum(Pairs<V> rgb1) {
  constexpr Weights w = kWeights;
  static_assert(lowPartsFit(w));
  const auto high = sumOfPairs<highPart(w.r), highPart(w.g), highPart(w.b), highPart(w.round)>(rgb1.first, rgb1.second);
  const auto low = sumOfPairs<lowPart(w.r), lowPart(w.g), lowPart(w.b), lowPart(w.round)>(rgb1.first, rgb1.second);
  return hn::Add(high, hn::ShiftRight<8>(low));
}

// Luma of both halves of a vector's pixels. The sum may reach 32768: it is unsigned.
template <MatrixForm kForm, class V>
HWY_INLINE V matrixLuma(Pairs<V> lower, Pairs<V> upper) {
  const auto half = [](Pairs<V> rgb1) {
    const hn::Repartition<Zel16s, hn::DFromV<V>> d16;
    const hn::RebindToUnsigned<decltype(d16)> du16;
    return hn::BitCast(d16, hn::ShiftRight<kForm.shift - 8>(hn::BitCast(du16, weightedSum<kForm.y>(rgb1))));
  };
  return narrowUnsigned(half(lower), half(upper));
}

// Signed chroma of both halves, limited to bytes around 128.
template <class V16>
HWY_INLINE auto chromaBytes(V16 lower, V16 upper) {
  const hn::Repartition<Zel8u, hn::DFromV<V16>> d;
  return hn::Xor(hn::BitCast(d, narrowSigned(lower, upper)), hn::Set(d, 0x80));
}

template <MatrixForm kForm, Weights kWeights, class V>
HWY_INLINE V matrixChroma(Pairs<V> lower, Pairs<V> upper) {
  return chromaBytes(hn::ShiftRight<kForm.shift - 8>(weightedSum<kWeights>(lower)),
                     hn::ShiftRight<kForm.shift - 8>(weightedSum<kWeights>(upper)));
}

template <class V>
struct Ycbcr {
  V y, cb, cr;
};

// Both halves of a vector's pixels by a matrix form.
template <MatrixForm kForm, class V>
HWY_INLINE Ycbcr<V> matrix(Pairs<V> lower, Pairs<V> upper) {
  return {matrixLuma<kForm>(lower, upper), matrixChroma<kForm, kForm.cb>(lower, upper),
          matrixChroma<kForm, kForm.cr>(lower, upper)};
}

// Y = (19595 R + 38470 G + 7471 B + kRound) >> 16 of pairs (R, G) and (B, G). The high parts reach 255 * 256 together
// and each product pair has 15 bits only, so that G goes half with R, half with B.
template <int kRound, class V>
HWY_INLINE auto planarLuma(V rg, V bg) {
  const hn::Repartition<Zel16s, hn::DFromV<V>> d16;
  const hn::RebindToUnsigned<decltype(d16)> du16;
  constexpr int kR = 19595, kG = 38470, kB = 7471;
  constexpr int kGWithR = 128 - highPart(kR), kGWithB = 128 - highPart(kB);
  static_assert(kGWithR + kGWithB == highPart(kG));
  const auto high = sumOfPairs<highPart(kR), kGWithR, highPart(kB), kGWithB>(rg, bg);
  const auto low = sumOfPairs<lowPart(kR), lowPart(kG) / 2, lowPart(kB), lowPart(kG) - lowPart(kG) / 2>(rg, bg);
  const auto sum = hn::Add(hn::Add(high, hn::Set(d16, kRound >> 8)), hn::ShiftRight<8>(low));
  return hn::BitCast(d16, hn::ShiftRight<8>(hn::BitCast(du16, sum)));
}

// Cb = (18491 (B - Y) + 4210688) >> 15 and Cr = (23373 (R - Y) + 4210688) >> 15 from the rounded Y. Less 128, each is
// one rounding fixed-point product.
template <class V>
HWY_INLINE Ycbcr<V> lumaDifference(V r, V g, V b) {
  const hn::DFromV<V> d;
  const hn::Repartition<Zel16s, decltype(d)> d16;
  const auto yLower = planarLuma<32768>(pairsOf<0>(r, g), pairsOf<0>(b, g));
  const auto yUpper = planarLuma<32768>(pairsOf<1>(r, g), pairsOf<1>(b, g));
  const auto chroma = [&](V channel, Zel16s weight) {
    const auto half = [&](V widened, auto y) {
      return hn::MulFixedPoint15(hn::Sub(hn::BitCast(d16, widened), y), hn::Set(d16, weight));
    };
    return chromaBytes(half(pairsOf<0>(channel, hn::Zero(d)), yLower), half(pairsOf<1>(channel, hn::Zero(d)), yUpper));
  };
  return {narrowUnsigned(yLower, yUpper), chroma(b, 18491), chroma(r, 23373)};
}

// Three channels in 16-bit lanes, all times one factor.
template <class V16>
struct Lanes {
  V16 r, g, b;
};

// The channels of pairs (R, G) and (B, 0), times kScale.
template <int kScale, class V>
HWY_INLINE auto scaledChannels(Pairs<V> rgb0) {
  static_assert(kScale == 64 || kScale == 128);
  constexpr int kShift = kScale == 64 ? 6 : 7;
  const hn::Repartition<Zel16u, hn::DFromV<V>> d16;
  const auto rg = hn::BitCast(d16, rgb0.first);
  return Lanes<hn::VFromD<decltype(d16)>>{hn::ShiftRight<8 - kShift>(hn::ShiftLeft<8>(rg)),
                                          hn::ShiftLeft<kShift>(hn::ShiftRight<8>(rg)),
                                          hn::ShiftLeft<kShift>(hn::BitCast(d16, rgb0.second))};
}

// The lane form, of channels times kScale: each product is cut to an integer on its own. Y sums products with 6 bits
// behind the point.
template <int kScale, class V16>
HWY_INLINE auto laneLuma(Lanes<V16> p) {
  const hn::DFromV<V16> d;
  const auto part = [=](V16 channel, int weight) {
    return hn::MulHigh(channel, hn::Set(d, static_cast<Zel16u>(weight * 256 / kScale)));
  };
  const auto sum = hn::Add(hn::Add(part(p.r, 4899), part(p.g, 9617)), hn::Add(part(p.b, 1868), hn::Set(d, 32)));
  return hn::BitCast(hn::RebindToSigned<decltype(d)>(), hn::ShiftRight<6>(sum));
}

// Cb and Cr sum products with 5 bits behind the point. The channels, here times 128, may be means with a fraction:
// the high half of a product with w is floor(w c / 512).
template <class V16>
struct LaneChroma {
  V16 cb, cr;
};
template <class V16>
HWY_INLINE auto laneChroma(Lanes<V16> p) {
  const hn::DFromV<V16> d;
  const hn::RebindToSigned<decltype(d)> d16s;
  const auto part = [=](V16 channel, Zel16u weight) { return hn::MulHigh(channel, hn::Set(d, weight)); };
  const auto chroma = [=](V16 channel, V16 first, V16 second) {
    const V16 scaled = hn::Add(hn::ShiftRight<3>(channel), hn::Set(d, 4112));
    return hn::BitCast(d16s, hn::ShiftRight<5>(hn::Sub(hn::Sub(scaled, first), second)));
  };
  return LaneChroma<hn::VFromD<decltype(d16s)>>{chroma(p.b, part(p.r, 2765), part(p.g, 5427)),
                                                chroma(p.r, part(p.g, 6860), part(p.b, 1332))};
}

template <class V>
HWY_INLINE Ycbcr<V> laneForm(Pairs<V> lower, Pairs<V> upper) {
  const auto a = scaledChannels<128>(lower), b = scaledChannels<128>(upper);
  const auto c = laneChroma(a), e = laneChroma(b);
  return {narrowUnsigned(laneLuma<128>(a), laneLuma<128>(b)), narrowUnsigned(c.cb, e.cb), narrowUnsigned(c.cr, e.cr)};
}

// The table form of a block of channels, in 32 bits: few pixels have it, the last ones of planar rows.
inline Ycbcr<hn::VFromD<Block8u>> tableForm(const Zel8u* r, const Zel8u* g, const Zel8u* b) {
  const Block8u block;
  const hn::FixedTag<Zel32s, 4> d;
  const hn::Rebind<Zel8u, decltype(d)> d8;
  const auto sums = [=](Weights w) {
    alignas(16) Zel8u result[16];
    for (int i = 0; i < 16; i += 4) {
      const auto product = [=](const Zel8u* channel, int weight) {
        return hn::Mul(hn::PromoteTo(d, hn::LoadU(d8, channel + i)), hn::Set(d, weight));
      };
      const auto sum =
          hn::Add(hn::Add(product(r, w.r), product(g, w.g)), hn::Add(product(b, w.b), hn::Set(d, w.round)));
      hn::StoreU(hn::DemoteTo(d8, hn::ShiftRight<16>(sum)), d8, result + i);
    }
    return hn::Load(block, result);
  };
  return {sums({19595, 38470, 7471, 32768}), sums({-11059, -21709, 32768, 8421375}),
          sums({32768, -27439, -5329, 8421375})};
}

template <class T, class V>
HWY_INLINE Ycbcr<V> gather(Ycbcr<V> p) {
  return {gather<T>(p.y), gather<T>(p.cb), gather<T>(p.cr)};
}

template <class V>
HWY_INLINE void storeYcbcr(Ycbcr<V> p, Zel8u* const dst[]) {
  const hn::DFromV<V> d;
  hn::StoreU(p.y, d, dst[0]);
  hn::StoreU(p.cb, d, dst[1]);
  hn::StoreU(p.cr, d, dst[2]);
}

} // namespace zelj
