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
    inverseRow<kInterleavingInverse>(
        roiSize.width, planeRow<3>(pSrc, srcStep, y), pixelRow<3>(pDst, dstStep, y), kInOrder,
        [](auto d, auto p, auto, auto dst) { storeInterleaved3(d, inOrderOf<kOrder>(p), dst.plane[0]); });
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
          storeInterleaved4(d, inOrderOf<kOrder>(p), hn::Set(d, alpha), dst.plane[0]);
        });
  }
  return zelStatusOk;
}

template <Order kOrder, int kGreenBits>
ZelStatus planesToPacked(const Zel8u* const pSrc[3], int srcStep, Zel16u* pDst, int dstStep, ZeliSize roiSize) {
  if (ZelStatus bad = checkPointersStepsSize(present(planes<3>(pSrc), pDst), srcStep, dstStep, roiSize)) return bad;
  for (int y = 0; y < roiSize.height; ++y) {
    inverseRow<kPlanarInverse>(roiSize.width, planeRow<3>(pSrc, srcStep, y), pixelRow<2>(pDst, dstStep, y),
                               kSpread<Zel64u>, [](auto d, auto p, auto, auto dst) {
                                 pack<kOrder, kGreenBits>(d, limited(p), [=](auto v, int i) {
                                   hn::StoreU(v, d, dst.plane[0] + static_cast<size_t>(i) * hn::MaxLanes(d));
                                 });
                               });
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
