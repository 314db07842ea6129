// Pixels to the level-shifted YCbCr blocks of one minimum coded unit.
#include "frame/checks.h"
#include "frame/implementations.h"
#include "jpeg/colour/forward.h"
#include "jpeg/mcu.h"

namespace zelj {
namespace {

// With u = R - G and v = B - G, and sums of them over the n pixels that share a chroma sample, where the chroma weights
// of R, G and B add to 0: Cb = (v - cb u / 32768 + round) / 2n and Cr = (u - cr v / 32768 + round) / 2n, both rounded
// down. Products are rounded down too, which changes nothing.
template <int kCb, int kCr, bool kRound>
struct DifferenceChroma {
  template <class V>
  static HWY_INLINE UnitPair carriers(const Pairs<V>& pixels) {
    const auto difference = [](V pairs) { return mulAddPairs(pairs, setPairs<1, -1>(hn::DFromV<V>())); };
    return {difference(pixels.first), difference(pixels.second)};
  }

  template <int kCount>
  static HWY_INLINE UnitPair chroma(UnitPair sums) {
    constexpr int kShift = kCount == 1 ? 1 : kCount == 2 ? 2 : 3;
    const auto sample = [](UnitVector main, UnitVector other, Zel16s weight) {
      const auto product = hn::MulHigh(hn::Add(other, other), hn::Set(UnitLanes(), weight));
      auto sum = hn::Add(main, product);
      if constexpr (kRound) sum = hn::Add(sum, hn::Set(UnitLanes(), kCount));
      return hn::ShiftRight<kShift>(sum);
    };
    return {sample(sums.second, sums.first, -kCb), sample(sums.first, sums.second, -kCr)};
  }
};

// Y = (4899 R + 9617 G + 1868 B - 2088960) >> 14, Cb = (S(-2764 R - 5428 G + 8192 B) + 8192 n) >> 14 n and
// Cr = (S(8192 R - 6860 G - 1332 B) + 8192 n) >> 14 n.
struct RoundingForm : DifferenceChroma<4 * 2764, 4 * 1332, true> {
  template <class V>
  static HWY_INLINE UnitVector luma(const Pairs<V>& p) {
    constexpr int kR = 4899, kG = 9617, kB = 1868;
    constexpr int kHighG = highPart(kG) / 2, kLowG = lowPart(kG) / 2; // G goes half with R, half with B
    const auto high = sumOfPairs<highPart(kR), kHighG, highPart(kB), highPart(kG) - kHighG>(p.first, p.second);
    const auto low = sumOfPairs<lowPart(kR), kLowG, lowPart(kB), lowPart(kG) - kLowG>(p.first, p.second);
    const auto sum = hn::Add(high, hn::ShiftRight<8>(low)); // 255 * 64 at most
    return hn::Sub(hn::MulFixedPoint15(sum, hn::Set(UnitLanes(), 512)), hn::Set(UnitLanes(), 128));
  }
};

// CMYK without subsampling: 8133 in the place of 8192. The products with u and v, and the 59 that is missing, are these
// rounding ones for all differences (found by search, and tested with all of them).
struct CmykForm : RoundingForm {
  template <int>
  static HWY_INLINE UnitPair chroma(UnitPair p) {
    const auto sample = [](UnitVector main, UnitVector other, Zel16s weight, Zel16s offset, Zel16s round) {
      const auto scaled = hn::Add(hn::ShiftLeft<4>(other), hn::Set(UnitLanes(), offset));
      const auto product = hn::MulFixedPoint15(scaled, hn::Set(UnitLanes(), weight));
      return hn::ShiftRight<1>(hn::Add(hn::Add(main, product), hn::Set(UnitLanes(), round)));
    };
    return {sample(p.second, p.first, -691, 24, 1), sample(p.first, p.second, -333, -49, 0)};
  }
};

// Y = ((19595 R + 38470 G + 7471 B) >> 16) - 128, Cb = S(-11059 R - 21709 G + 32768 B) >> 16 n and
// Cr = S(32768 R - 27439 G - 5329 B) >> 16 n.
struct TruncatingForm : DifferenceChroma<11059, 5329, false> {
  template <class V>
  static HWY_INLINE UnitVector luma(const Pairs<V>& p) {
    return hn::Sub(planarLuma<0>(p.first, p.second), hn::Set(UnitLanes(), 128));
  }
};

bool aligned(const void* plane) {
  return reinterpret_cast<uintptr_t>(plane) % 16 == 0;
}

template <Shape kShape, class Layout>
ZelStatus bgrToBlocks(const void* pSrc, int srcStep, Zel16s* const pDst[3]) {
  if (ZelStatus bad = checkPointersStepPointers(present(pSrc, pDst), srcStep, present(planes<3>(pDst)))) return bad;
  constexpr bool kTruncates = Layout::kBytes == 3 && kShape.down == 2;
  if (kTruncates && !aligned(pDst[0])) {
    pixelsToBlocks<kShape, Layout, TruncatingForm>(pSrc, srcStep, pDst);
  } else {
    pixelsToBlocks<kShape, Layout, RoundingForm>(pSrc, srcStep, pDst);
  }
  return zelStatusOk;
}

template <Shape kShape>
ZelStatus cmykToBlocks(const Zel8u* pSrc, int srcStep, Zel16s* const pDst[4]) {
  if (ZelStatus bad = checkPointersStepPointers(present(pSrc, pDst), srcStep, present(planes<4>(pDst)))) return bad;
  constexpr bool kFull = kShape.across == 1;
  using Rounding = std::conditional_t<kFull, CmykForm, RoundingForm>;
  if (aligned(pDst[0]) && aligned(pDst[3]) && (!kFull || (aligned(pDst[1]) && aligned(pDst[2])))) {
    pixelsToBlocks<kShape, CmykBytes, Rounding>(pSrc, srcStep, pDst);
  } else {
    pixelsToBlocks<kShape, CmykBytes, TruncatingForm>(pSrc, srcStep, pDst);
  }
  return zelStatusOk;
}

} // namespace
} // namespace zelj

using namespace zelj;

ZelStatus ownRGBToYCbCr444LS_MCU_8u16s_C3P3R(const Zel8u* pSrc, int srcStep, Zel16s* const pDst[3]) {
  return bgrToBlocks<k444, ThreeBytes<Order::rgb>>(pSrc, srcStep, pDst);
}

ZelStatus ownRGBToYCbCr422LS_MCU_8u16s_C3P3R(const Zel8u* pSrc, int srcStep, Zel16s* const pDst[3]) {
  return bgrToBlocks<k422, ThreeBytes<Order::rgb>>(pSrc, srcStep, pDst);
}

ZelStatus ownRGBToYCbCr411LS_MCU_8u16s_C3P3R(const Zel8u* pSrc, int srcStep, Zel16s* const pDst[3]) {
  return bgrToBlocks<k411, ThreeBytes<Order::rgb>>(pSrc, srcStep, pDst);
}

ZelStatus ownBGRToYCbCr444LS_MCU_8u16s_C3P3R(const Zel8u* pSrc, int srcStep, Zel16s* const pDst[3]) {
  return bgrToBlocks<k444, ThreeBytes<Order::bgr>>(pSrc, srcStep, pDst);
}

ZelStatus ownBGRToYCbCr422LS_MCU_8u16s_C3P3R(const Zel8u* pSrc, int srcStep, Zel16s* const pDst[3]) {
  return bgrToBlocks<k422, ThreeBytes<Order::bgr>>(pSrc, srcStep, pDst);
}

ZelStatus ownBGRToYCbCr411LS_MCU_8u16s_C3P3R(const Zel8u* pSrc, int srcStep, Zel16s* const pDst[3]) {
  return bgrToBlocks<k411, ThreeBytes<Order::bgr>>(pSrc, srcStep, pDst);
}

ZelStatus ownBGR555ToYCbCr444LS_MCU_16u16s_C3P3R(const Zel16u* pSrc, int srcStep, Zel16s* const pDst[3]) {
  return bgrToBlocks<k444, PackedBgr<5>>(pSrc, srcStep, pDst);
}

ZelStatus ownBGR555ToYCbCr422LS_MCU_16u16s_C3P3R(const Zel16u* pSrc, int srcStep, Zel16s* const pDst[3]) {
  return bgrToBlocks<k422, PackedBgr<5>>(pSrc, srcStep, pDst);
}

ZelStatus ownBGR555ToYCbCr411LS_MCU_16u16s_C3P3R(const Zel16u* pSrc, int srcStep, Zel16s* const pDst[3]) {
  return bgrToBlocks<k411, PackedBgr<5>>(pSrc, srcStep, pDst);
}

ZelStatus ownBGR565ToYCbCr444LS_MCU_16u16s_C3P3R(const Zel16u* pSrc, int srcStep, Zel16s* const pDst[3]) {
  return bgrToBlocks<k444, PackedBgr<6>>(pSrc, srcStep, pDst);
}

ZelStatus ownBGR565ToYCbCr422LS_MCU_16u16s_C3P3R(const Zel16u* pSrc, int srcStep, Zel16s* const pDst[3]) {
  return bgrToBlocks<k422, PackedBgr<6>>(pSrc, srcStep, pDst);
}

ZelStatus ownBGR565ToYCbCr411LS_MCU_16u16s_C3P3R(const Zel16u* pSrc, int srcStep, Zel16s* const pDst[3]) {
  return bgrToBlocks<k411, PackedBgr<6>>(pSrc, srcStep, pDst);
}

ZelStatus ownCMYKToYCCK444LS_MCU_8u16s_C4P4R(const Zel8u* pSrc, int srcStep, Zel16s* const pDst[4]) {
  return cmykToBlocks<k444>(pSrc, srcStep, pDst);
}

ZelStatus ownCMYKToYCCK422LS_MCU_8u16s_C4P4R(const Zel8u* pSrc, int srcStep, Zel16s* const pDst[4]) {
  return cmykToBlocks<k422>(pSrc, srcStep, pDst);
}

ZelStatus ownCMYKToYCCK411LS_MCU_8u16s_C4P4R(const Zel8u* pSrc, int srcStep, Zel16s* const pDst[4]) {
  return cmykToBlocks<k411>(pSrc, srcStep, pDst);
}
