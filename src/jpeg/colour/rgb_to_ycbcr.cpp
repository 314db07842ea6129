// RGB to YCbCr: interleaved, planar and packed pixels.
#include "frame/checks.h"
#include "frame/implementations.h"
#include "jpeg/colour/forward.h"

namespace zelj {
namespace {

// Three bytes a pixel: groups of eight take the 15-bit form, the rest of a row the 14-bit form.
template <Order kOrder>
ZelStatus threeBytesToPlanes(const Zel8u* pSrc, int srcStep, Zel8u* const pDst[3], int dstStep, ZeliSize roiSize) {
  if (ZelStatus bad = checkPointersStepsSize(present(pSrc, planes<3>(pDst)), srcStep, dstStep, roiSize)) return bad;
  forRows(roiSize, [=](int y) {
    const auto half = [](auto d, auto src, int i) { return pairsOfThreeBytes<kOrder>(d, src.plane[0] + 24 * i); };
    convertRow<8>(
        roiSize.width, pixelRow<3>(pSrc, srcStep, y), planeRow<3>(pDst, dstStep, y),
        [=](auto d, auto src, auto dst) { storeYcbcr(matrix<k15Bit>(half(d, src, 0), half(d, src, 1)), dst.plane); },
        [=](auto d, auto src, auto dst) { storeYcbcr(matrix<k14Bit>(half(d, src, 0), half(d, src, 1)), dst.plane); });
  });
  return zelStatusOk;
}

// Four bytes a pixel: groups of eight take the lane form, the rest of a row the 14-bit integer form.
template <Order kOrder>
ZelStatus fourBytesToPlanes(const Zel8u* pSrc, int srcStep, Zel8u* const pDst[3], int dstStep, ZeliSize roiSize) {
  if (ZelStatus bad = checkPointersSize(present(pSrc, planes<3>(pDst)), roiSize)) return bad;
  for (int y = 0; y < roiSize.height; ++y) {
    const auto half = [](auto d, auto src, size_t i) {
      return pairsOfFourBytes<kOrder>(d, src.plane[0] + 2 * i * hn::MaxLanes(d));
    };
    convertRow<8>(
        roiSize.width, pixelRow<4>(pSrc, srcStep, y), planeRow<3>(pDst, dstStep, y),
        [=](auto d, auto src, auto dst) {
          storeYcbcr(gather<Zel32u>(laneForm(half(d, src, 0), half(d, src, 1))), dst.plane);
        },
        [=](auto d, auto src, auto dst) {
          storeYcbcr(gather<Zel32u>(matrix<k14BitInteger>(withOne(half(d, src, 0)), withOne(half(d, src, 1)))),
                     dst.plane);
        });
  }
  return zelStatusOk;
}

template <Order kOrder, int kGreenBits>
ZelStatus packedToPlanes(const Zel16u* pSrc, int srcStep, Zel8u* const pDst[3], int dstStep, ZeliSize roiSize) {
  if (ZelStatus bad = checkPointersStepsSize(present(pSrc, planes<3>(pDst)), srcStep, dstStep, roiSize)) return bad;
  for (int y = 0; y < roiSize.height; ++y) {
    convertRow(roiSize.width, pixelRow<2>(pSrc, srcStep, y), planeRow<3>(pDst, dstStep, y),
               [](auto d, auto src, auto dst) {
                 // Pairs (R, G) and (B, 1), in an order for gather<Zel64u>.
                 const auto half = [=](size_t i) {
                   const auto pixels = hn::LoadU(d, src.plane[0] + i * hn::MaxLanes(d));
                   return withOne(unpackPairs<kOrder, kGreenBits>(d, pixels));
                 };
                 storeYcbcr(gather<Zel64u>(matrix<k14Bit>(half(0), half(1))), dst.plane);
               });
  }
  return zelStatusOk;
}

} // namespace
} // namespace zelj

using namespace zelj;

ZelStatus ownRGBToYCbCr_JPEG_8u_C3P3R(const Zel8u* pSrc, int srcStep, Zel8u* const pDst[3], int dstStep,
                                      ZeliSize roiSize) {
  return threeBytesToPlanes<Order::rgb>(pSrc, srcStep, pDst, dstStep, roiSize);
}

ZelStatus ownBGRToYCbCr_JPEG_8u_C3P3R(const Zel8u* pSrc, int srcStep, Zel8u* const pDst[3], int dstStep,
                                      ZeliSize roiSize) {
  return threeBytesToPlanes<Order::bgr>(pSrc, srcStep, pDst, dstStep, roiSize);
}

ZelStatus ownRGBToYCbCr_JPEG_8u_C4P3R(const Zel8u* pSrc, int srcStep, Zel8u* const pDst[3], int dstStep,
                                      ZeliSize roiSize) {
  return fourBytesToPlanes<Order::rgb>(pSrc, srcStep, pDst, dstStep, roiSize);
}

ZelStatus ownBGRToYCbCr_JPEG_8u_C4P3R(const Zel8u* pSrc, int srcStep, Zel8u* const pDst[3], int dstStep,
                                      ZeliSize roiSize) {
  return fourBytesToPlanes<Order::bgr>(pSrc, srcStep, pDst, dstStep, roiSize);
}

ZelStatus ownRGBToYCbCr_JPEG_8u_P3R(const Zel8u* const pSrc[3], int srcStep, Zel8u* const pDst[3], int dstStep,
                                    ZeliSize roiSize) {
  if (ZelStatus bad = checkPointersStepsSize(present(planes<3>(pSrc), planes<3>(pDst)), srcStep, dstStep, roiSize)) {
    return bad;
  }
  forRows(roiSize, [=](int y) {
    convertRow<4>(
        roiSize.width, planeRow<3>(pSrc, srcStep, y), planeRow<3>(pDst, dstStep, y),
        [](auto d, auto src, auto dst) {
          storeYcbcr(lumaDifference(hn::LoadU(d, src.plane[0]), hn::LoadU(d, src.plane[1]), hn::LoadU(d, src.plane[2])),
                     dst.plane);
        },
        [](auto, auto src, auto dst) { storeYcbcr(tableForm(src.plane[0], src.plane[1], src.plane[2]), dst.plane); });
  });
  return zelStatusOk;
}

ZelStatus ownRGB555ToYCbCr_JPEG_16u8u_C3P3R(const Zel16u* pSrc, int srcStep, Zel8u* const pDst[3], int dstStep,
                                            ZeliSize roiSize) {
  return packedToPlanes<Order::rgb, 5>(pSrc, srcStep, pDst, dstStep, roiSize);
}

ZelStatus ownBGR555ToYCbCr_JPEG_16u8u_C3P3R(const Zel16u* pSrc, int srcStep, Zel8u* const pDst[3], int dstStep,
                                            ZeliSize roiSize) {
  return packedToPlanes<Order::bgr, 5>(pSrc, srcStep, pDst, dstStep, roiSize);
}

ZelStatus ownRGB565ToYCbCr_JPEG_16u8u_C3P3R(const Zel16u* pSrc, int srcStep, Zel8u* const pDst[3], int dstStep,
                                            ZeliSize roiSize) {
  return packedToPlanes<Order::rgb, 6>(pSrc, srcStep, pDst, dstStep, roiSize);
}

ZelStatus ownBGR565ToYCbCr_JPEG_16u8u_C3P3R(const Zel16u* pSrc, int srcStep, Zel8u* const pDst[3], int dstStep,
                                            ZeliSize roiSize) {
  return packedToPlanes<Order::bgr, 6>(pSrc, srcStep, pDst, dstStep, roiSize);
}
