// CMYK to YCCK: the YCbCr of the complements of C, M and Y, and K as it is.
#include "frame/checks.h"
#include "frame/implementations.h"
#include "jpeg/colour/forward.h"

using namespace zelj;

ZelStatus ownCMYKToYCCK_JPEG_8u_C4P4R(const Zel8u* pSrc, int srcStep, Zel8u* const pDst[4], int dstStep,
                                      ZeliSize roiSize) {
  if (ZelStatus bad = checkPointersStepsSize(present(pSrc, planes<4>(pDst)), srcStep, dstStep, roiSize)) return bad;
  forRows(roiSize, [=](int y) {
    convertRow(roiSize.width, pixelRow<4>(pSrc, srcStep, y), planeRow<4>(pDst, dstStep, y),
               [](auto d, auto src, auto dst) {
                 using V = hn::VFromD<decltype(d)>;
                 const hn::Repartition<Zel16s, decltype(d)> d16;
                 const hn::RebindToUnsigned<decltype(d16)> du16;
                 const auto lower = pairsOfFourBytes<Order::rgb, Beside::fourth>(d, src.plane[0]);
                 const auto upper = pairsOfFourBytes<Order::rgb, Beside::fourth>(d, src.plane[0] + 2 * hn::MaxLanes(d));
                 // Pairs (R, G) and (B, 1) from (C, M) and (Y, K).
                 const auto complement = [=](Pairs<V> cmyk) -> Pairs<V> {
                   const V blue = hn::AndNot(cmyk.second, setPairs<255, 0>(d));
                   return withOne(Pairs<V>{hn::Not(cmyk.first), blue});
                 };
                 storeYcbcr(gather<Zel32u>(matrix<k14Bit>(complement(lower), complement(upper))), dst.plane);
                 const auto k = [=](V yk) { return hn::BitCast(d16, hn::ShiftRight<8>(hn::BitCast(du16, yk))); };
                 hn::StoreU(gather<Zel32u>(narrowUnsigned(k(lower.second), k(upper.second))), d, dst.plane[3]);
               });
  });
  return zelStatusOk;
}

ZelStatus ownCMYKToYCCK_JPEG_8u_P4R(const Zel8u* const pSrc[4], int srcStep, Zel8u* const pDst[4], int dstStep,
                                    ZeliSize roiSize) {
  if (ZelStatus bad = checkPointersStepsSize(present(planes<4>(pSrc), planes<4>(pDst)), srcStep, dstStep, roiSize)) {
    return bad;
  }
  forRows(roiSize, [=](int y) {
    const auto complement = [](auto d, const Zel8u* p) { return hn::Not(hn::LoadU(d, p)); };
    convertRow<4>(
        roiSize.width, planeRow<4>(pSrc, srcStep, y), planeRow<4>(pDst, dstStep, y),
        [=](auto d, auto src, auto dst) {
          storeYcbcr(
              lumaDifference(complement(d, src.plane[0]), complement(d, src.plane[1]), complement(d, src.plane[2])),
              dst.plane);
          hn::StoreU(hn::LoadU(d, src.plane[3]), d, dst.plane[3]);
        },
        [=](auto d, auto src, auto dst) {
          StagedBlock<3, 1> rgb;
          for (int i = 0; i < 3; ++i) hn::StoreU(complement(d, src.plane[i]), d, rgb.bytes[i]);
          storeYcbcr(tableForm(rgb.bytes[0], rgb.bytes[1], rgb.bytes[2]), dst.plane);
          hn::StoreU(hn::LoadU(d, src.plane[3]), d, dst.plane[3]);
        });
  });
  return zelStatusOk;
}
