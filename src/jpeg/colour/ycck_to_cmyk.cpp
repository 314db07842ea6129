// YCCK to CMYK: the complements of the R, G and B of Y, Cb and Cr, and K as it is.
#include "frame/checks.h"
#include "frame/implementations.h"
#include "jpeg/colour/inverse.h"

using namespace zelj;

ZelStatus ownYCCKToCMYK_JPEG_8u_P4C4R(const Zel8u* const pSrc[4], int srcStep, Zel8u* pDst, int dstStep,
                                      ZeliSize roiSize) {
  if (ZelStatus bad = checkPointersStepsSize(present(planes<4>(pSrc), pDst), srcStep, dstStep, roiSize)) return bad;
  forRows(roiSize, [=](int y) {
    inverseRow<kPlanarInverse>(roiSize.width, planeRow<4>(pSrc, srcStep, y), pixelRow<4>(pDst, dstStep, y),
                               kSpread<Zel32u>, [](auto d, auto p, auto src, auto dst) {
                                 storeInterleaved4(d, complement(limited(p)), kSpread<Zel32u>(d, src.plane[3]),
                                                   dst.plane[0]);
                               });
  });
  return zelStatusOk;
}

ZelStatus ownYCCKToCMYK_JPEG_8u_P4R(const Zel8u* const pSrc[4], int srcStep, Zel8u* const pDst[4], int dstStep,
                                    ZeliSize roiSize) {
  if (ZelStatus bad = checkPointersStepsSize(present(planes<4>(pSrc), planes<4>(pDst)), srcStep, dstStep, roiSize)) {
    return bad;
  }
  forRows(roiSize, [=](int y) {
    inverseRow<kPlanarInverse>(roiSize.width, planeRow<4>(pSrc, srcStep, y), planeRow<4>(pDst, dstStep, y), kInOrder,
                               [](auto d, auto p, auto src, auto dst) {
                                 const auto cmy = complement(limited(p));
                                 hn::StoreU(cmy.r, d, dst.plane[0]);
                                 hn::StoreU(cmy.g, d, dst.plane[1]);
                                 hn::StoreU(cmy.b, d, dst.plane[2]);
                                 hn::StoreU(hn::LoadU(d, src.plane[3]), d, dst.plane[3]);
                               });
  });
  return zelStatusOk;
}
