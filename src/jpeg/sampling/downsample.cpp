// Halving of planes and rows: the mean of two samples of a row, or of two by two samples. Planes round up; rows
// alternate their bias from pixel to pixel, so that rounding hardly shifts the mean.
#include "frame/checks.h"
#include "frame/implementations.h"
#include "frame/rows.h"
#include "simd/blocks.h"
#include "simd/simd.h"

namespace zelj {
namespace {

// The rounding terms of even and of odd pixels.
struct Bias {
  int even, odd;
};

// The means of the pixels from x on, in 16-bit lanes, from the rows a and b (kRows = 2) or from a alone (kRows = 1).
template <int kRows, Bias kBias, class D>
HWY_INLINE auto means(D d, const Zel8u* a, const Zel8u* b, Zel64s x) {
  const hn::Repartition<Zel8u, D> d8;
  // The last vector of a row may begin at an odd pixel.
  const auto first = hn::Set(d, x % 2 ? kBias.odd : kBias.even), second = hn::Set(d, x % 2 ? kBias.even : kBias.odd);
  auto sum = hn::Add(weightedPairs<1, 1>(hn::LoadU(d8, a + 2 * x)), hn::OddEven(second, first));
  if constexpr (kRows == 2) sum = hn::Add(sum, weightedPairs<1, 1>(hn::LoadU(d8, b + 2 * x)));
  return hn::ShiftRight<kRows>(sum);
}

template <int kRows, Bias kBias>
void halve(const Zel8u* a, const Zel8u* b, Zel8u* dst, int width) {
  forVectors<Zel8u>(width, [=](auto d, int x) {
    constexpr auto n = static_cast<int>(hn::MaxLanes(d));
    if constexpr (n >= 16) {
      const hn::RepartitionToWide<decltype(d)> d16;
      const auto lower = means<kRows, kBias>(d16, a, b, x), upper = means<kRows, kBias>(d16, a, b, Zel64s{x} + n / 2);
      hn::StoreU(packBytes(lower, upper), d, dst + x);
    } else {
      const hn::Rebind<Zel16s, decltype(d)> d16s;
      const hn::Rebind<Zel16u, decltype(d)> d16;
      hn::StoreU(hn::DemoteTo(d, hn::BitCast(d16s, means<kRows, kBias>(d16, a, b, x))), d, dst + x);
    }
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
