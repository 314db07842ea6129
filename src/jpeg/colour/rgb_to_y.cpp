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
                 hn::StoreU(matrixLuma<k15Bit>(pairsOfThreeBytes<kOrder>(d, p), pairsOfThreeBytes<kOrder>(d, p + 24)),
                            d, dst.plane[0]);
               });
  });
  return zelStatusOk;
}

// 0.299 R + 0.587 G + 0.114 B in single precision, product by product, to the nearest integer.
template <class D>
HWY_INLINE hn::VFromD<D> floatLuma(D, const Zel8u* const rgb[3]) {
  const hn::Repartition<Zel32f, D> d;
  const hn::RebindToSigned<decltype(d)> d32;
  const hn::Repartition<Zel16s, D> d16;
  const auto quarter = [=](size_t i) {
    const auto product = [=](int channel, Zel32f weight) {
      const auto bytes = hn::LoadU(hn::Rebind<Zel8u, decltype(d)>(), rgb[channel] + i * hn::MaxLanes(d));
      return hn::Mul(hn::ConvertTo(d, hn::PromoteTo(d32, bytes)), hn::Set(d, weight));
    };
    return hn::NearestInt(hn::Add(hn::Add(product(0, 0.299f), product(1, 0.587f)), product(2, 0.114f)));
  };
  return gather<Zel32u>(narrowUnsigned(hn::ReorderDemote2To(d16, quarter(0), quarter(1)),
                                       hn::ReorderDemote2To(d16, quarter(2), quarter(3))));
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
        [](auto d, auto src, auto dst) { hn::StoreU(floatLuma(d, src.plane), d, dst.plane[0]); },
        [](auto d, auto src, auto dst) {
          hn::StoreU(tableForm(src.plane[0], src.plane[1], src.plane[2]).y, d, dst.plane[0]);
        });
  });
  return zelStatusOk;
}
