// The inverse forms of the JFIF matrix: Y, Cb, Cr to R, G, B on vectors of bytes. As in the forward direction they
// differ by one here and there, and each is exact.
#pragma once

#include "jpeg/colour/layouts.h"

namespace zelj {

// What R or B subtracts from Y, a function of one chroma sample c, less 128: two rounding fixed-point products,
// (((c * weight + 64) >> 7) + round + 64) >> 7, give it for all 256 values of c (found by search, and with all of them
// tested).
struct Slope {
  int weight, round;
};

// R and B subtract a slope. G subtracts (gCb (Cb - 128) + gCr (Cr - 128) + 256 * 64 + gRound) >> 15, in 16 bits as
// (H + ((L + gRound) >> 8) + 64) >> 7 with H and L the sums of products with the high and low bytes of the weights.
struct InverseForm {
  Slope r, b;
  int gCb, gCr, gRound;
};

// R = Y + ((22970 Cr - 2932015) >> 14), G = Y + ((-5638 Cb - 11700 Cr + 2227566) >> 14),
// B = Y + ((29032 Cb - 3707961) >> 14).
inline constexpr InverseForm kInterleavingInverse{{-22970, 0}, {-29032, 0}, 2 * 5638, 2 * 11700, -222};
// R = Y + ((22970 Cr - 2932015) >> 14), G = Y - ((5638 Cb + 11700 Cr - 2211182) >> 14),
// B = Y + ((29032 Cb - 3708561) >> 14).
inline constexpr InverseForm kPlanarInverse{{-22970, 0}, {-29033, 4}, 2 * 5638, 2 * 11700, -220};

// The slope of 256 c, in 16-bit lanes.
template <Slope kSlope, class V16>
HWY_INLINE V16 slope(V16 chroma256) {
  const hn::DFromV<V16> d;
  auto t = hn::MulFixedPoint15(chroma256, hn::Set(d, static_cast<Zel16s>(kSlope.weight)));
  if constexpr (kSlope.round != 0) t = hn::Add(t, hn::Set(d, static_cast<Zel16s>(kSlope.round)));
  return hn::MulFixedPoint15(t, hn::Set(d, 256));
}

template <class V16>
HWY_INLINE Rgb<V16> less(V16 luma, Rgb<V16> terms) {
  return {hn::Sub(luma, terms.r), hn::Sub(luma, terms.g), hn::Sub(luma, terms.b)};
}

template <InverseForm kForm, class V>
HWY_INLINE auto inverse(V y, V cb, V cr) {
  const hn::DFromV<V> d;
  const hn::RebindToSigned<decltype(d)> d8s;
  const hn::Repartition<Zel16s, decltype(d)> d16;
  const V zero = hn::Zero(d), centre = hn::Set(d, 0x80);
  const V cbSigned = hn::Xor(cb, centre), crSigned = hn::Xor(cr, centre);
  const auto half = [&]<int kHalf>(std::integral_constant<int, kHalf>) {
    const auto luma = hn::BitCast(d16, pairsOf<kHalf>(y, zero));
    const auto chroma = hn::BitCast(d8s, pairsOf<kHalf>(cbSigned, crSigned));
    const auto high = mulAddPairs(setPairs<(kForm.gCb >> 8), (kForm.gCr >> 8)>(d), chroma);
    const auto low = mulAddPairs(setPairs<(kForm.gCb & 0xFF), (kForm.gCr & 0xFF)>(d), chroma);
    const auto sum = hn::Add(high, hn::ShiftRight<8>(hn::Add(low, hn::Set(d16, kForm.gRound))));
    const auto times256 = [=](V c) { return hn::BitCast(d16, pairsOf<kHalf>(zero, c)); };
    return less(luma, Rgb<hn::VFromD<decltype(d16)>>{slope<kForm.r>(times256(crSigned)),
                                                     hn::MulFixedPoint15(sum, hn::Set(d16, 256)),
                                                     slope<kForm.b>(times256(cbSigned))});
  };
  return joinHalves(half(std::integral_constant<int, 0>()), half(std::integral_constant<int, 1>()));
}

// The lane inverse, all products cut to integers on their own. R = (16 Y + floor(11485 Cr / 512) - 2863) >> 4 and
// B = (16 Y + floor(14516 Cb / 512) - 3621) >> 4 are of one product and hence slopes, R's of 256 c + 3.
// G = Y - ((floor(2819 Cb / 512) + floor(5850 Cr / 512) - 2160) >> 4).
inline constexpr Slope kLaneR{-22970, 0}, kLaneB{-29031, 0};
inline constexpr Zel16u kLaneRFraction = 3;

// What the channels of the lane inverse subtract from Y, of chroma times 256.
template <class V16>
HWY_INLINE auto laneTerms(V16 cb256, V16 cr256) {
  const hn::DFromV<V16> d;
  const hn::RebindToSigned<decltype(d)> d16s;
  const V16 parts =
      hn::Add(hn::MulHigh(hn::ShiftRight<1>(cb256), hn::Set(d, 2819)), hn::MulHigh(cr256, hn::Set(d, 5850 / 2)));
  const auto centred = [=](V16 c, Zel16u fraction) {
    return hn::BitCast(d16s, hn::Xor(c, hn::Set(d, static_cast<Zel16u>(0x8000 + fraction))));
  };
  return Rgb<hn::VFromD<decltype(d16s)>>{slope<kLaneR>(centred(cr256, kLaneRFraction)),
                                         hn::ShiftRight<4>(hn::Sub(hn::BitCast(d16s, parts), hn::Set(d16s, 2160))),
                                         slope<kLaneB>(centred(cb256, 0))};
}

template <class V>
HWY_INLINE auto laneInverse(V y, V cb, V cr) {
  const hn::Repartition<Zel16u, hn::DFromV<V>> d16;
  const V zero = hn::Zero(hn::DFromV<V>());
  const auto half = [=]<int kHalf>(std::integral_constant<int, kHalf>) {
    const auto luma = hn::BitCast(hn::RebindToSigned<decltype(d16)>(), pairsOf<kHalf>(y, zero));
    const auto times256 = [=](V c) { return hn::BitCast(d16, pairsOf<kHalf>(zero, c)); };
    return less(luma, laneTerms(times256(cb), times256(cr)));
  };
  return joinHalves(half(std::integral_constant<int, 0>()), half(std::integral_constant<int, 1>()));
}

// A row's pixels, with terms of eight pairs to a block.
template <class V, class V16>
HWY_INLINE Rgb<Halves<V16>> lessTwice(V y, Rgb<V16> terms) {
  const hn::DFromV<V16> d16;
  const V zero = hn::Zero(hn::DFromV<V>());
  const Halves<Rgb<V16>> each = twice(terms);
  return joinHalves(less(hn::BitCast(d16, pairsOf<0>(y, zero)), each.lower),
                    less(hn::BitCast(d16, pairsOf<1>(y, zero)), each.upper));
}

// The table form of a block, in 32 bits: the last pixels of a row have it.
inline auto tableInverse(const Zel8u* const ycbcr[]) {
  const hn::FixedTag<Zel32s, 4> d;
  const hn::Rebind<Zel8u, decltype(d)> d8;
  const hn::FixedTag<Zel16s, 8> d16;
  const auto channel = [=](int cbWeight, int crWeight) -> Halves<hn::VFromD<decltype(d16)>> {
    alignas(16) Zel16s result[16];
    for (int i = 0; i < 16; i += 4) {
      const auto load = [=](int plane) { return hn::PromoteTo(d, hn::LoadU(d8, ycbcr[plane] + i)); };
      const auto product = [=](int plane, int weight) {
        return hn::Mul(hn::Sub(load(plane), hn::Set(d, 128)), hn::Set(d, weight));
      };
      const auto sum = hn::Add(hn::Add(product(1, cbWeight), product(2, crWeight)), hn::Set(d, 32768));
      hn::StoreU(hn::DemoteTo(hn::FixedTag<Zel16s, 4>(), hn::Add(load(0), hn::ShiftRight<16>(sum))),
                 hn::FixedTag<Zel16s, 4>(), result + i);
    }
    return {hn::Load(d16, result), hn::Load(d16, result + 8)};
  };
  return Rgb<Halves<hn::VFromD<decltype(d16)>>>{channel(0, 91881), channel(-22554, -46802), channel(116130, 0)};
}

// How planes are read: in order, or in that of spread<T>.
inline constexpr auto kInOrder = [](auto d, const Zel8u* p) { return hn::LoadU(d, p); };
template <class T>
inline constexpr auto kSpread = [](auto d, const Zel8u* p) { return spread<T>(hn::LoadU(d, p)); };

// A row of planes Y, Cb, Cr (and more) whose groups of four take a form and whose rest takes the table form;
// store(d, rgb, source, destination) keeps the pixels, which are in the order of load(d, p).
template <InverseForm kForm, class S, class D, class Load, class Store>
HWY_INLINE void inverseRow(int width, S source, D destination, Load load, Store store) {
  convertRow<4>(
      width, source, destination,
      [=](auto d, auto src, auto dst) {
        const auto rgb = inverse<kForm>(load(d, src.plane[0]), load(d, src.plane[1]), load(d, src.plane[2]));
        store(d, rgb, src, dst);
      },
      [=](auto d, auto src, auto dst) { store(d, tableInverse(src.plane), src, dst); });
}

} // namespace zelj
