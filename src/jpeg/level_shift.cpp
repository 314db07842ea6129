// Level shift of whole regions, between samples 0..255 and samples centred on zero.
#include "frame/checks.h"
#include "frame/implementations.h"
#include "frame/rows.h"
#include "simd/simd.h"

namespace zelj {
namespace {

void subtract128(const Zel8u* src, Zel16s* dst, int width) {
  forVectors<Zel16s>(width, [=](auto d, int x) {
    const hn::Rebind<Zel8u, decltype(d)> d8;
    hn::StoreU(hn::Sub(hn::PromoteTo(d, hn::LoadU(d8, src + x)), hn::Set(d, 128)), d, dst + x);
  });
}

void add128(const Zel16s* src, Zel8u* dst, int width) {
  forVectors<Zel16s>(width, [=](auto d, int x) {
    const hn::Rebind<Zel8u, decltype(d)> d8;
    hn::StoreU(hn::DemoteTo(d8, hn::SaturatedAdd(hn::LoadU(d, src + x), hn::Set(d, 128))), d8, dst + x);
  });
}

} // namespace
} // namespace zelj

using namespace zelj;

ZelStatus ownSub128_JPEG_8u16s_C1R(const Zel8u* pSrc, int srcStep, Zel16s* pDst, int dstStep, ZeliSize roiSize) {
  if (ZelStatus bad = checkOperandByOperand(pSrc, srcStep, pDst, dstStep, roiSize)) return bad;
  forRows(roiSize, [=](int y) { subtract128(row(pSrc, srcStep, y), row(pDst, dstStep, y), roiSize.width); });
  return zelStatusOk;
}

ZelStatus ownAdd128_JPEG_16s8u_C1R(const Zel16s* pSrc, int srcStep, Zel8u* pDst, int dstStep, ZeliSize roiSize) {
  if (ZelStatus bad = checkOperandByOperand(pSrc, srcStep, pDst, dstStep, roiSize)) return bad;
  forRows(roiSize, [=](int y) { add128(row(pSrc, srcStep, y), row(pDst, dstStep, y), roiSize.width); });
  return zelStatusOk;
}
