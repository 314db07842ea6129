// YCbCr planes to RGB: interleaved, planar and packed pixels.
#include "frame/checks.h"
#include "frame/implementations.h"
#include "jpeg/colour/inverse.h"

namespace zelj {
namespace {

template <Order kOrder>
ZelStatus planesToThreeBytes(const Zel8u* const pSrc[3], int srcStep, Zel8u* pDst, int dstStep, ZeliSize roiSize) {
  if (ZelStatus bad = checkPointersStepsSize(present(planes<3>(pSrc), pDst), srcStep, dstStep, roiSize)) return bad;
  forRows(roiSize, [=](int y) {
    inverseRow<kInterleavingInverse>(roiSize.width, planeRow<3>(pSrc, srcStep, y), pixelRow<3>(pDst, dstStep, y),
                                     kInOrder, [](auto d, auto p, auto, auto dst) {
                                       constexpr bool rgb = kOrder == Order::rgb;
                                       storeInterleaved3(d, rgb ? p.r : p.b, p.g, rgb ? p.b : p.r, dst.plane[0]);
                                     });
  });
  return zelStatusOk;
}

template <Order kOrder>
ZelStatus planesToFourBytes(const Zel8u* const pSrc[3], int srcStep, Zel8u* pDst, int dstStep, ZeliSize roiSize,
                            Zel8u alpha) {
  if (ZelStatus bad = checkPointersSize(present(planes<3>(pSrc), pDst), roiSize)) return bad;
  for (int y = 0; y < roiSize.height; ++y) {
    convertRow(
        roiSize.width, planeRow<3>(pSrc, srcStep, y), pixelRow<4>(pDst, dstStep, y), [=](auto d, auto src, auto dst) {
          constexpr auto load = kSpread<Zel32u>;
          const auto p = limited(laneInverse(load(d, src.plane[0]), load(d, src.plane[1]), load(d, src.plane[2])));
          constexpr bool rgb = kOrder == Order::rgb;
          storeInterleaved4(d, rgb ? p.r : p.b, p.g, rgb ? p.b : p.r, hn::Set(d, alpha), dst.plane[0]);
        });
  }
  return zelStatusOk;
}

// Pixels in the order of spread<Zel64u> in 16 bits each: a low field of 5 bits, green in kGreenBits and a high field
// of 5.
template <Order kOrder, int kGreenBits, class D, class V = hn::VFromD<D>>
HWY_INLINE void storePacked(D d, Rgb<V> p, Zel8u* dst) {
  const hn::Repartition<Zel16u, D> d16;
  const auto bits = [=](V v, Zel8u mask) { return hn::And(v, hn::Set(d, mask)); };
  const V lowChannel = kOrder == Order::rgb ? p.r : p.b, highChannel = kOrder == Order::rgb ? p.b : p.r;
  const V low = bits(hn::BitCast(d, hn::ShiftRight<3>(hn::BitCast(d16, lowChannel))), 0x1F);
  const V green = bits(p.g, kGreenBits == 6 ? 0xFC : 0xF8);
  const V high = bits(hn::BitCast(d, hn::ShiftRight<6 - kGreenBits>(hn::BitCast(d16, highChannel))),
                      kGreenBits == 6 ? 0xF8 : 0x7C);
  const auto store = [=](V lowAndHigh, V greenAnd0, Zel8u* to) {
    const auto middle = hn::ShiftLeft<kGreenBits - 3>(hn::BitCast(d16, greenAnd0));
    hn::StoreU(hn::BitCast(d, hn::Or(hn::BitCast(d16, lowAndHigh), middle)), d, to);
  };
  store(pairsOf<0>(low, high), pairsOf<0>(green, hn::Zero(d)), dst);
  store(pairsOf<1>(low, high), pairsOf<1>(green, hn::Zero(d)), dst + hn::MaxLanes(d));
}

template <Order kOrder, int kGreenBits>
ZelStatus planesToPacked(const Zel8u* const pSrc[3], int srcStep, Zel16u* pDst, int dstStep, ZeliSize roiSize) {
  if (ZelStatus bad = checkPointersStepsSize(present(planes<3>(pSrc), pDst), srcStep, dstStep, roiSize)) return bad;
  for (int y = 0; y < roiSize.height; ++y) {
    inverseRow<kPlanarInverse>(
        roiSize.width, planeRow<3>(pSrc, srcStep, y), pixelRow<2>(pDst, dstStep, y), kSpread<Zel64u>,
        [](auto d, auto p, auto, auto dst) { storePacked<kOrder, kGreenBits>(d, limited(p), dst.plane[0]); });
  }
  return zelStatusOk;
}

} // namespace
} // namespace zelj

using namespace zelj;

ZelStatus ownYCbCrToRGB_JPEG_8u_P3C3R(const Zel8u* const pSrc[3], int srcStep, Zel8u* pDst, int dstStep,
                                      ZeliSize roiSize) {
  return planesToThreeBytes<Order::rgb>(pSrc, srcStep, pDst, dstStep, roiSize);
}

ZelStatus ownYCbCrToBGR_JPEG_8u_P3C3R(const Zel8u* const pSrc[3], int srcStep, Zel8u* pDst, int dstStep,
                                      ZeliSize roiSize) {
  return planesToThreeBytes<Order::bgr>(pSrc, srcStep, pDst, dstStep, roiSize);
}

ZelStatus ownYCbCrToRGB_JPEG_8u_P3R(const Zel8u* const pSrc[3], int srcStep, Zel8u* const pDst[3], int dstStep,
                                    ZeliSize roiSize) {
  if (ZelStatus bad = checkPointersStepsSize(present(planes<3>(pSrc), planes<3>(pDst)), srcStep, dstStep, roiSize)) {
    return bad;
  }
  forRows(roiSize, [=](int y) {
    inverseRow<kPlanarInverse>(roiSize.width, planeRow<3>(pSrc, srcStep, y), planeRow<3>(pDst, dstStep, y), kInOrder,
                               [](auto d, auto p, auto, auto dst) {
                                 hn::StoreU(narrowUnsigned(p.r), d, dst.plane[0]);
                                 hn::StoreU(narrowUnsigned(p.g), d, dst.plane[1]);
                                 hn::StoreU(narrowUnsigned(p.b), d, dst.plane[2]);
                               });
  });
  return zelStatusOk;
}

ZelStatus ownYCbCrToRGB_JPEG_8u_P3C4R(const Zel8u* const pSrc[3], int srcStep, Zel8u* pDst, int dstStep,
                                      ZeliSize roiSize, Zel8u alpha) {
  return planesToFourBytes<Order::rgb>(pSrc, srcStep, pDst, dstStep, roiSize, alpha);
}

ZelStatus ownYCbCrToBGR_JPEG_8u_P3C4R(const Zel8u* const pSrc[3], int srcStep, Zel8u* pDst, int dstStep,
                                      ZeliSize roiSize, Zel8u alpha) {
  return planesToFourBytes<Order::bgr>(pSrc, srcStep, pDst, dstStep, roiSize, alpha);
}

ZelStatus ownYCbCrToRGB555_JPEG_8u16u_P3C3R(const Zel8u* const pSrc[3], int srcStep, Zel16u* pDst, int dstStep,
                                            ZeliSize roiSize) {
  return planesToPacked<Order::rgb, 5>(pSrc, srcStep, pDst, dstStep, roiSize);
}

ZelStatus ownYCbCrToBGR555_JPEG_8u16u_P3C3R(const Zel8u* const pSrc[3], int srcStep, Zel16u* pDst, int dstStep,
                                            ZeliSize roiSize) {
  return planesToPacked<Order::bgr, 5>(pSrc, srcStep, pDst, dstStep, roiSize);
}

ZelStatus ownYCbCrToRGB565_JPEG_8u16u_P3C3R(const Zel8u* const pSrc[3], int srcStep, Zel16u* pDst, int dstStep,
                                            ZeliSize roiSize) {
  return planesToPacked<Order::rgb, 6>(pSrc, srcStep, pDst, dstStep, roiSize);
}

ZelStatus ownYCbCrToBGR565_JPEG_8u16u_P3C3R(const Zel8u* const pSrc[3], int srcStep, Zel16u* pDst, int dstStep,
                                            ZeliSize roiSize) {
  return planesToPacked<Order::bgr, 6>(pSrc, srcStep, pDst, dstStep, roiSize);
}
