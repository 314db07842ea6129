// RGB to luminance alone.
#include "frame/checks.h"
#include "frame/implementations.h"
#include "jpeg/colour/forward.h"

namespace zelj {
namespace {

template <Order kOrder>
ZelStatus threeBytesToLuma(const Zel8u* pSrc, int srcStep, Zel8u* pDst, int dstStep, ZeliSize roiSize) {
  if (ZelStatus bad = checkPointersStepsSize(present(pSrc, pDst), srcStep, dstStep, roiSize)) return bad;
  forRows(roiSize, [=](int y) {
    convertRow(roiSize.width, pixelRow<3>(pSrc, srcStep, y), pixelRow<1>(pDst, dstStep, y),
               [](auto d, auto src, auto dst) {
                 const Zel8u* p = src.plane[0];
                 hn::StoreU(matrixLuma<k15Bit>(withOne(pairsOfThreeBytes<kOrder>(d, p)),
                                               withOne(pairsOfThreeBytes<kOrder>(d, p + 24))),
                            d, dst.plane[0]);
               });
  });
  return zelStatusOk;
}

// 0.299 R + 0.587 G + 0.114 B in single precision, product by product, to the nearest integer.
template <class D8>
HWY_INLINE void floatLuma(D8, const Zel8u* const rgb[3], Zel8u* dst) {
  constexpr size_t n = HWY_MIN(hn::MaxLanes(D8()), hn::MaxLanes(hn::ScalableTag<Zel32f>()));
  const hn::FixedTag<Zel32f, n> d;
  const hn::FixedTag<Zel32s, n> d32;
  const hn::FixedTag<Zel8u, n> d8;
  for (size_t i = 0; i < hn::MaxLanes(D8()); i += n) {
    const auto product = [=](int channel, Zel32f weight) {
      return hn::Mul(hn::ConvertTo(d, hn::PromoteTo(d32, hn::LoadU(d8, rgb[channel] + i))), hn::Set(d, weight));
    };
    const auto sum = hn::Add(hn::Add(product(0, 0.299f), product(1, 0.587f)), product(2, 0.114f));
    hn::StoreU(hn::DemoteTo(d8, hn::NearestInt(sum)), d8, dst + i);
  }
}

} // namespace
} // namespace zelj

using namespace zelj;

ZelStatus ownRGBToY_JPEG_8u_C3C1R(const Zel8u* pSrc, int srcStep, Zel8u* pDst, int dstStep, ZeliSize roiSize) {
  return threeBytesToLuma<Order::rgb>(pSrc, srcStep, pDst, dstStep, roiSize);
}

ZelStatus ownBGRToY_JPEG_8u_C3C1R(const Zel8u* pSrc, int srcStep, Zel8u* pDst, int dstStep, ZeliSize roiSize) {
  return threeBytesToLuma<Order::bgr>(pSrc, srcStep, pDst, dstStep, roiSize);
}

ZelStatus ownRGBToY_JPEG_8u_P3C1R(const Zel8u* const pSrc[3], int srcStep, Zel8u* pDst, int dstStep, ZeliSize roiSize) {
  if (ZelStatus bad = checkPointersStepsSize(present(planes<3>(pSrc), pDst), srcStep, dstStep, roiSize)) return bad;
  forRows(roiSize, [=](int y) {
    convertRow<4>(
        roiSize.width, planeRow<3>(pSrc, srcStep, y), pixelRow<1>(pDst, dstStep, y),
        [](auto d, auto src, auto dst) { floatLuma(d, src.plane, dst.plane[0]); },
        [](auto d, auto src, auto dst) {
          hn::StoreU(tableForm(src.plane[0], src.plane[1], src.plane[2]).y, d, dst.plane[0]);
        });
  });
  return zelStatusOk;
}
