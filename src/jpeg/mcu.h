// One minimum coded unit between a pixel buffer and the level-shifted blocks of its planes. The unit is worked off in
// rows of eight: each 128-bit block of a vector holds eight pixels, or eight samples in 16 bits, of a row of its own.
//
// Where the bytes of pixels lie is told by a layout, and what is done with them by a form:
//   Layout::kBytes                       bytes of a pixel
//   Layout::load(d, p, step)             eight pixels of rows that lie `step` bytes apart
//   Form::luma(pixels)                   their samples of the first plane
//   Form::carriers(pixels)               two values of each pixel, to be summed over the pixels that share chroma
//   Form::chroma<n>(sums)                Cb and Cr of n pixels
// and on the way back:
//   Form::terms(chroma)                  what chroma adds to the channels: Rgb, or two of them as Parts
//   Form::pixels(y, terms)               the channels, not yet limited to bytes
//   Layout::store<kTwoRows>(d, pixels[, k], place)
#pragma once

#include "frame/rows.h"
#include "jpeg/colour/layouts.h"

namespace zelj {

// The pixels that share a chroma sample. A unit has as many blocks of the first plane.
struct Shape {
  int across, down;
};
inline constexpr Shape k444{1, 1}, k422{2, 1}, k411{2, 2};

using UnitBytes = hn::ScalableTag<Zel8u>;
using UnitLanes = hn::Repartition<Zel16s, UnitBytes>;
using UnitVector = hn::Vec<UnitLanes>;
inline constexpr int kUnitRows = static_cast<int>(kBlocks<UnitBytes>); // rows in a vector: 1, 2 or 4

// A vector of samples of the first plane holds rows that share no chroma: row down * y + i of the unit and every
// down-th from there on, of the left (side 0) or the right half.
template <Shape kShape>
constexpr int lumaOffset(int y, int i, int side) {
  const int line = kShape.down * y;
  return 64 * (kShape.across * (line / 8) + side) + 8 * (line % 8 + i);
}
template <Shape kShape>
HWY_INLINE UnitVector loadLuma(const Zel16s* plane, int y, int i, int side) {
  const Zel16s* p = plane + lumaOffset<kShape>(y, i, side);
  return kShape.down == 1 ? hn::LoadU(UnitLanes(), p) : loadBlocks(UnitLanes(), p, 16 * kShape.down);
}
template <Shape kShape>
HWY_INLINE void storeLuma(UnitVector v, Zel16s* plane, int y, int i, int side) {
  Zel16s* p = plane + lumaOffset<kShape>(y, i, side);
  if constexpr (kShape.down == 1) {
    hn::StoreU(v, UnitLanes(), p);
  } else {
    storeBlocks(UnitLanes(), v, p, 16 * kShape.down);
  }
}

struct UnitPair {
  UnitVector first, second;
};

// Terms in two parts, to be added one after the other.
struct Parts {
  Rgb<UnitVector> first, second;
};
HWY_INLINE Halves<Parts> twice(Parts p) {
  const auto first = twice(p.first), second = twice(p.second);
  return {{first.lower, second.lower}, {first.upper, second.upper}};
}

template <Shape kShape, class Layout, class Form>
void pixelsToBlocks(const void* pSrc, int srcStep, Zel16s* const dst[]) {
  const auto* src = static_cast<const Zel8u*>(pSrc);
  for (int y = 0; y < 8; y += kUnitRows) {
    // The carriers of half a chroma row's pixels, rows summed.
    const auto half = [&](int side) {
      UnitPair sum{hn::Zero(UnitLanes()), hn::Zero(UnitLanes())};
      for (int i = 0; i < kShape.down; ++i) {
        const Zel8u* first = row(src, srcStep, kShape.down * y + i) + 8 * Layout::kBytes * side;
        const auto pixels = Layout::load(UnitBytes(), first, Zel64s{srcStep} * kShape.down);
        storeLuma<kShape>(Form::luma(pixels), dst[0], y, i, side);
        if constexpr (requires { pixels.k; }) {
          storeLuma<kShape>(hn::Sub(pixels.k, hn::Set(UnitLanes(), 128)), dst[3], y, i, side);
        }
        const UnitPair c = Form::carriers(pixels);
        sum = {hn::Add(sum.first, c.first), hn::Add(sum.second, c.second)};
      }
      return sum;
    };
    UnitPair sums = half(0);
    if constexpr (kShape.across == 2) {
      const UnitPair right = half(1);
      sums = {pairSums(sums.first, right.first), pairSums(sums.second, right.second)};
    }
    const UnitPair chroma = Form::template chroma<kShape.across * kShape.down>(sums);
    hn::StoreU(chroma.first, UnitLanes(), dst[1] + 8 * y);
    hn::StoreU(chroma.second, UnitLanes(), dst[2] + 8 * y);
  }
}

// Where the lower and the upper eight pixels of the first block of a byte vector go; block b lies b steps further.
struct UnitPlace {
  Zel8u* lower;
  Zel8u* upper;
  Zel64s step;
};

template <Shape kShape, class Layout, class Form>
void blocksToPixels(const Zel16s* const src[], void* pDst, int dstStep) {
  auto* dst = static_cast<Zel8u*>(pDst);
  // A byte vector holds whole rows of 16 pixels, or rows of eight from two vectors of samples.
  constexpr bool kTwoRows = kShape.across == 1;
  constexpr int kChromaRows = kTwoRows ? 2 * kUnitRows : kUnitRows;
  for (int y = 0; y < 8; y += kChromaRows) {
    const auto terms = [&](int from) {
      return Form::terms({hn::LoadU(UnitLanes(), src[1] + 8 * from), hn::LoadU(UnitLanes(), src[2] + 8 * from)});
    };
    // Of the lower and the upper eight pixels.
    const auto each = [&] {
      if constexpr (kTwoRows) {
        return Halves<decltype(terms(y))>{terms(y), terms(y + kUnitRows)};
      } else {
        return twice(terms(y));
      }
    }();
    for (int i = 0; i < kShape.down; ++i) {
      const auto load = [&](const Zel16s* plane) -> Halves<UnitVector> {
        return {loadLuma<kShape>(plane, y, i, 0),
                kTwoRows ? loadLuma<kShape>(plane, y + kUnitRows, i, 0) : loadLuma<kShape>(plane, y, i, 1)};
      };
      Zel8u* first = row(dst, dstStep, kShape.down * y + i);
      const UnitPlace place{first, kTwoRows ? row(first, dstStep, kUnitRows) : first + 8 * Layout::kBytes,
                            Zel64s{dstStep} * kShape.down};
      const auto luma = load(src[0]);
      const auto pixels = joinHalves(Form::pixels(luma.lower, each.lower), Form::pixels(luma.upper, each.upper));
      if constexpr (Layout::kPlanes == 4) {
        Layout::template store<kTwoRows>(UnitBytes(), pixels, load(src[3]), place);
      } else {
        Layout::template store<kTwoRows>(UnitBytes(), pixels, place);
      }
    }
  }
}

// Pixels of three interleaved bytes.
template <Order kOrder>
struct ThreeBytes {
  static constexpr int kBytes = 3, kPlanes = 3;

  // Pairs (R, G) and (B, G).
  template <class D>
  static HWY_INLINE auto load(D d, const Zel8u* p, Zel64s step) {
    return pairsOfEight<kOrder, 3, Beside::green>(d, [=](int i) { return loadBlocks(d, p + i, step); });
  }

  template <bool kTwoRows, class D, class V16>
  static HWY_INLINE void store(D d, Rgb<Halves<V16>> p, UnitPlace to) {
    const auto pixels = interleave3(d, inOrderOf<kOrder>(p));
    storeBlocks(d, pixels.first, to.lower, to.step);
    if constexpr (kTwoRows) {
      storeLowerHalves(pixels.second, to.lower + 16, to.step);
      storeUpperHalves(pixels.second, to.upper, to.step);
    } else {
      storeBlocks(d, pixels.second, to.lower + 16, to.step);
    }
    storeBlocks(d, pixels.third, to.upper + 8, to.step);
  }
};

// Pixels of 16 bits with B in the low bits and kGreenBits bits of G.
template <int kGreenBits>
struct PackedBgr {
  static constexpr int kBytes = 2, kPlanes = 3;

  // Pairs (R, G) and (B, G).
  template <class D>
  static HWY_INLINE auto load(D d, const Zel8u* p, Zel64s step) {
    auto pairs = unpackPairs<Order::bgr, kGreenBits>(d, loadBlocks(d, p, step));
    pairs.second = hn::Or(pairs.second, hn::And(pairs.first, setPairs<0, 255>(d)));
    return pairs;
  }

  template <bool kTwoRows, class D, class V16>
  static HWY_INLINE void store(D d, Rgb<Halves<V16>> p, UnitPlace to) {
    pack<Order::bgr, kGreenBits>(d, limited(p),
                                 [=](auto v, int i) { storeBlocks(d, v, i == 0 ? to.lower : to.upper, to.step); });
  }
};

// Pixels of C, M, Y, K bytes, seen as R = 255 - C, G = 255 - M, B = 255 - Y and K.
struct CmykBytes {
  static constexpr int kBytes = 4, kPlanes = 4;

  template <class V>
  struct Loaded : Pairs<V> { // (R, G) and (B, G)
    UnitVector k;
  };
  template <class D, class V = hn::VFromD<D>>
  static HWY_INLINE Loaded<V> load(D d, const Zel8u* p, Zel64s step) {
    const hn::Repartition<Zel32s, D> d32;
    const V cmy = hn::BitCast(d, hn::Set(d32, 0xFFFFFF));
    const V first = hn::Xor(loadBlocks(d, p, step), cmy), second = hn::Xor(loadBlocks(d, p + 16, step), cmy);
    const auto k = [=](V v) {
      return hn::BitCast(d32, hn::ShiftRight<24>(hn::BitCast(hn::RebindToUnsigned<decltype(d32)>(), v)));
    };
    return {pairsOfEight<Order::rgb, 4, Beside::green>(d, [=](int i) { return i == 0 ? first : second; }),
            hn::ReorderDemote2To(UnitLanes(), k(first), k(second))};
  }

  template <bool kTwoRows, class D, class V16>
  static HWY_INLINE void store(D d, Rgb<Halves<V16>> p, Halves<V16> k, UnitPlace to) {
    const auto limit = [](V16 v) { return hn::SaturatedAdd(v, hn::Set(UnitLanes(), 128)); };
    interleave4(d, complement(limited(p)), narrowUnsigned(limit(k.lower), limit(k.upper)),
                [=](auto v, int i) { storeBlocks(d, v, (i < 2 ? to.lower : to.upper) + i % 2 * 16, to.step); });
  }
};

} // namespace zelj
