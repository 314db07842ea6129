// Halving of planes and rows: the mean of two samples of a row, or of two by two samples. Planes round halves up (and
// quarters too); rows alternate their bias from pixel to pixel, so that rounding does not shift the mean.
#include "frame/checks.h"
#include "frame/implementations.h"
#include "frame/rows.h"
#include "simd/bytes.h"
#include "simd/simd.h"

namespace zelj {
namespace {

// The rounding terms of even and of odd pixels.
struct Bias {
  int even, odd;
};

// One row of `width` pixels from the rows a and b (kRows = 2), or from a alone (kRows = 1).
template <int kRows, Bias kBias>
void halve(const Zel8u* a, const Zel8u* b, Zel8u* dst, int width) {
  forVectors<Zel16u>(width, [=](auto d, int x) {
    const hn::Repartition<Zel8u, decltype(d)> d8;
    const hn::Rebind<Zel16s, decltype(d)> d16s;
    // The last vector of a row may begin at an odd pixel.
    const auto first = hn::Set(d, (x & 1) ? kBias.odd : kBias.even),
               second = hn::Set(d, (x & 1) ? kBias.even : kBias.odd);
    auto sum = hn::Add(weightedPairs<1, 1>(hn::LoadU(d8, a + 2 * Zel64s{x})), hn::OddEven(second, first));
    if constexpr (kRows == 2) sum = hn::Add(sum, weightedPairs<1, 1>(hn::LoadU(d8, b + 2 * Zel64s{x})));
    const hn::Rebind<Zel8u, decltype(d)> dBytes;
    hn::StoreU(hn::DemoteTo(dBytes, hn::BitCast(d16s, hn::ShiftRight<kRows>(sum))), dBytes, dst + x);
  });
}

} // namespace
} // namespace zelj

using namespace zelj;

ZelStatus ownSampleDownH2V1_JPEG_8u_C1R(const Zel8u* pSrc, int srcStep, ZeliSize srcRoiSize, Zel8u* pDst, int dstStep,
                                        ZeliSize dstRoiSize) {
  if (ZelStatus bad = checkOperandByOperand(pSrc, srcStep, srcRoiSize, pDst, dstStep, dstRoiSize)) return bad;
  forRows(dstRoiSize, [=](int y) {
    halve<1, Bias{1, 1}>(row(pSrc, srcStep, y), nullptr, row(pDst, dstStep, y), dstRoiSize.width);
  });
  return zelStatusOk;
}

ZelStatus ownSampleDownH2V2_JPEG_8u_C1R(const Zel8u* pSrc, int srcStep, ZeliSize srcRoiSize, Zel8u* pDst, int dstStep,
                                        ZeliSize dstRoiSize) {
  if (ZelStatus bad = checkOperandByOperand(pSrc, srcStep, srcRoiSize, pDst, dstStep, dstRoiSize)) return bad;
  forRows(dstRoiSize, [=](int y) {
    const Zel8u* upper = row(row(pSrc, srcStep, y), srcStep, y);
    halve<2, Bias{3, 3}>(upper, upper + srcStep, row(pDst, dstStep, y), dstRoiSize.width);
  });
  return zelStatusOk;
}

ZelStatus ownSampleDownRowH2V1_Box_JPEG_8u_C1(const Zel8u* pSrc, int srcWidth, Zel8u* pDst) {
  if (ZelStatus bad = checkPointersLength(present(pSrc, pDst), srcWidth)) return bad;
  halve<1, Bias{0, 1}>(pSrc, nullptr, pDst, srcWidth / 2);
  return zelStatusOk;
}

ZelStatus ownSampleDownRowH2V2_Box_JPEG_8u_C1(const Zel8u* pSrc1, const Zel8u* pSrc2, int srcWidth, Zel8u* pDst) {
  if (ZelStatus bad = checkPointersLength(present(pSrc1, pSrc2, pDst), srcWidth)) return bad;
  halve<2, Bias{1, 2}>(pSrc1, pSrc2, pDst, srcWidth / 2);
  return zelStatusOk;
}
