// The level-shifted YCbCr blocks of one minimum coded unit to pixels.
#include "frame/checks.h"
#include "frame/implementations.h"
#include "jpeg/mcu.h"

namespace zelj {
namespace {

// What chroma adds, 128 of the level shift included: R gets r Cr, G gets g Cr + gCb Cb, B gets b Cb, weights of
// kShift bits behind the point. Rounding is to nearest (halves of G up, or down by the round of G), or downwards.
struct UnitInverse {
  int r, gCb, gCr, b, shift, roundG;
};
// R = Y + ((22970 Cr + 2105344) >> 14), G = Y + ((-5638 Cb - 11700 Cr + 2105344) >> 14),
// B = Y + ((29032 Cb + 2105344) >> 14).
inline constexpr UnitInverse kNearest{22970, -5638, -11700, 29032, 14, 8192};
// The same with G = Y - ((5638 Cb + 11700 Cr - 2088960) >> 14).
inline constexpr UnitInverse kNearestGDown{22970, -5638, -11700, 29032, 14, 8191};
// R = Y + ((91881 Cr) >> 16) + 128, G = Y + ((-22554 Cb - 46802 Cr) >> 16) + 128, B = Y + ((116130 Cb) >> 16) + 128.
inline constexpr UnitInverse kTruncating{91881, -22554, -46802, 116130, 16, 0};

// Sums are exact for samples of all 16 bits. A term is c, or -c, and a part that fits 16 bits; what their sum has
// beyond 16 bits comes (kWide) in a second term of the same sign. Saturation then stops a sum only where the result is
// limited, too.
template <UnitInverse kForm, bool kWide>
struct ColourForm {
  static constexpr int kOne = 1 << kForm.shift;

  // w c, the rest of a weight between -1 and 1.
  template <int kWeight>
  static HWY_INLINE UnitVector product(UnitVector c) {
    const auto times = [=](int weight) { return hn::Set(UnitLanes(), static_cast<Zel16s>(weight)); };
    if constexpr (kForm.shift == 14) {
      return hn::MulFixedPoint15(c, times(2 * kWeight));
    } else if constexpr (kWeight < kOne / 2) {
      return hn::MulHigh(c, times(kWeight));
    } else {
      return hn::Add(c, hn::MulHigh(c, times(kWeight - kOne)));
    }
  }

  // g Cr + gCb Cb + Cr, in 32 bits, and 128.
  static HWY_INLINE UnitVector greenPart(UnitPair c) {
    const hn::RepartitionToWide<UnitLanes> d32;
    const auto weights = hn::BitCast(UnitLanes(), hn::Set(d32, (kForm.gCr + kOne) * 65536 + (kForm.gCb & 0xFFFF)));
    const auto half = [=](UnitVector pairs) {
      return hn::ShiftRight<kForm.shift>(
          hn::Add(sumsOfProducts(pairs, weights), hn::Set(d32, 128 * kOne + kForm.roundG)));
    };
    return hn::ReorderDemote2To(UnitLanes(), half(hn::InterleaveLower(UnitLanes(), c.first, c.second)),
                                half(hn::InterleaveUpper(UnitLanes(), c.first, c.second)));
  }

  static HWY_INLINE auto terms(UnitPair c) {
    const UnitVector cb = c.first, cr = c.second, shift = hn::Set(UnitLanes(), 128);
    const UnitVector r = hn::Add(product<kForm.r - kOne>(cr), shift), g = greenPart(c);
    const UnitVector b = hn::Add(product<kForm.b - kOne>(cb), shift);
    const Rgb<UnitVector> sum{hn::SaturatedAdd(cr, r), hn::SaturatedSub(g, cr), hn::SaturatedAdd(cb, b)};
    if constexpr (kWide) {
      const Rgb<UnitVector> beyond{hn::Sub(hn::Add(cr, r), sum.r), hn::Sub(hn::Sub(g, cr), sum.g),
                                   hn::Sub(hn::Add(cb, b), sum.b)};
      return Parts{sum, beyond};
    } else {
      return sum;
    }
  }

  static HWY_INLINE Rgb<UnitVector> sums(Rgb<UnitVector> p, Rgb<UnitVector> terms) {
    return {hn::SaturatedAdd(p.r, terms.r), hn::SaturatedAdd(p.g, terms.g), hn::SaturatedAdd(p.b, terms.b)};
  }
  static HWY_INLINE Rgb<UnitVector> pixels(UnitVector y, Rgb<UnitVector> terms) { return sums({y, y, y}, terms); }
  static HWY_INLINE Rgb<UnitVector> pixels(UnitVector y, Parts terms) {
    return sums(pixels(y, terms.first), terms.second);
  }
};

template <int kPlanes>
bool allAligned(const Zel16s* const planes[]) {
  for (int i = 0; i < kPlanes; ++i) {
    if (reinterpret_cast<uintptr_t>(planes[i]) % 16 != 0) return false;
  }
  return true;
}

// Whether terms of a unit's chroma may leave 16 bits: from 16384 in magnitude on; up to there they are below
// 1.8 * 16384 + 128.
HWY_INLINE bool isWide(const Zel16s* const planes[]) {
  UnitVector outside = hn::Zero(UnitLanes());
  for (int i = 0; i < 64; i += 8 * kUnitRows) {
    for (int plane = 1; plane <= 2; ++plane) {
      outside = hn::Or(outside, hn::Add(hn::LoadU(UnitLanes(), planes[plane] + i), hn::Set(UnitLanes(), 16384)));
    }
  }
  return !hn::AllFalse(UnitLanes(), hn::Lt(outside, hn::Zero(UnitLanes())));
}

template <Shape kShape, class Layout, UnitInverse kForm>
HWY_INLINE void convert(const Zel16s* const pSrc[], void* pDst, int dstStep) {
  if (isWide(pSrc)) {
    blocksToPixels<kShape, Layout, ColourForm<kForm, true>>(pSrc, pDst, dstStep);
  } else {
    blocksToPixels<kShape, Layout, ColourForm<kForm, false>>(pSrc, pDst, dstStep);
  }
}

template <Shape kShape, class Layout>
ZelStatus blocksTo(const Zel16s* const pSrc[], void* pDst, int dstStep) {
  if (ZelStatus bad = checkPointersStep(present(planes<Layout::kPlanes>(pSrc), pDst), dstStep)) return bad;
  constexpr UnitInverse kForm = Layout::kBytes == 3 && kShape.across == 1 ? kNearest : kNearestGDown;
  if (Layout::kBytes == 2 || allAligned<Layout::kPlanes>(pSrc)) {
    convert<kShape, Layout, kForm>(pSrc, pDst, dstStep);
  } else {
    convert<kShape, Layout, kTruncating>(pSrc, pDst, dstStep);
  }
  return zelStatusOk;
}

} // namespace
} // namespace zelj

using namespace zelj;

ZelStatus ownYCbCr444ToRGBLS_MCU_16s8u_P3C3R(const Zel16s* const pSrc[3], Zel8u* pDst, int dstStep) {
  return blocksTo<k444, ThreeBytes<Order::rgb>>(pSrc, pDst, dstStep);
}

ZelStatus ownYCbCr422ToRGBLS_MCU_16s8u_P3C3R(const Zel16s* const pSrc[3], Zel8u* pDst, int dstStep) {
  return blocksTo<k422, ThreeBytes<Order::rgb>>(pSrc, pDst, dstStep);
}

ZelStatus ownYCbCr411ToRGBLS_MCU_16s8u_P3C3R(const Zel16s* const pSrc[3], Zel8u* pDst, int dstStep) {
  return blocksTo<k411, ThreeBytes<Order::rgb>>(pSrc, pDst, dstStep);
}

ZelStatus ownYCbCr444ToBGRLS_MCU_16s8u_P3C3R(const Zel16s* const pSrc[3], Zel8u* pDst, int dstStep) {
  return blocksTo<k444, ThreeBytes<Order::bgr>>(pSrc, pDst, dstStep);
}

ZelStatus ownYCbCr422ToBGRLS_MCU_16s8u_P3C3R(const Zel16s* const pSrc[3], Zel8u* pDst, int dstStep) {
  return blocksTo<k422, ThreeBytes<Order::bgr>>(pSrc, pDst, dstStep);
}

ZelStatus ownYCbCr411ToBGRLS_MCU_16s8u_P3C3R(const Zel16s* const pSrc[3], Zel8u* pDst, int dstStep) {
  return blocksTo<k411, ThreeBytes<Order::bgr>>(pSrc, pDst, dstStep);
}

ZelStatus ownYCbCr444ToBGR555LS_MCU_16s16u_P3C3R(const Zel16s* const pSrc[3], Zel16u* pDst, int dstStep) {
  return blocksTo<k444, PackedBgr<5>>(pSrc, pDst, dstStep);
}

ZelStatus ownYCbCr422ToBGR555LS_MCU_16s16u_P3C3R(const Zel16s* const pSrc[3], Zel16u* pDst, int dstStep) {
  return blocksTo<k422, PackedBgr<5>>(pSrc, pDst, dstStep);
}

ZelStatus ownYCbCr411ToBGR555LS_MCU_16s16u_P3C3R(const Zel16s* const pSrc[3], Zel16u* pDst, int dstStep) {
  return blocksTo<k411, PackedBgr<5>>(pSrc, pDst, dstStep);
}

ZelStatus ownYCbCr444ToBGR565LS_MCU_16s16u_P3C3R(const Zel16s* const pSrc[3], Zel16u* pDst, int dstStep) {
  return blocksTo<k444, PackedBgr<6>>(pSrc, pDst, dstStep);
}

ZelStatus ownYCbCr422ToBGR565LS_MCU_16s16u_P3C3R(const Zel16s* const pSrc[3], Zel16u* pDst, int dstStep) {
  return blocksTo<k422, PackedBgr<6>>(pSrc, pDst, dstStep);
}

ZelStatus ownYCbCr411ToBGR565LS_MCU_16s16u_P3C3R(const Zel16s* const pSrc[3], Zel16u* pDst, int dstStep) {
  return blocksTo<k411, PackedBgr<6>>(pSrc, pDst, dstStep);
}

ZelStatus ownYCCK444ToCMYKLS_MCU_16s8u_P4C4R(const Zel16s* const pSrc[4], Zel8u* pDst, int dstStep) {
  return blocksTo<k444, CmykBytes>(pSrc, pDst, dstStep);
}

ZelStatus ownYCCK422ToCMYKLS_MCU_16s8u_P4C4R(const Zel16s* const pSrc[4], Zel8u* pDst, int dstStep) {
  return blocksTo<k422, CmykBytes>(pSrc, pDst, dstStep);
}

ZelStatus ownYCCK411ToCMYKLS_MCU_16s8u_P4C4R(const Zel16s* const pSrc[4], Zel8u* pDst, int dstStep) {
  return blocksTo<k411, CmykBytes>(pSrc, pDst, dstStep);
}
