// One minimum coded unit of samples that are YCbCr already: level shift, and chroma averaged or repeated.
#include "frame/checks.h"
#include "frame/implementations.h"
#include "jpeg/mcu.h"

namespace zelj {
namespace {

HWY_INLINE UnitVector shifted(UnitVector v) {
  return hn::SaturatedAdd(v, hn::Set(UnitLanes(), 128));
}

// The first and the second byte of each pair, in 16 bits.
template <class V>
HWY_INLINE UnitVector firstOf(V pairs) {
  return hn::And(hn::BitCast(UnitLanes(), pairs), hn::Set(UnitLanes(), 0xFF));
}
template <class V>
HWY_INLINE UnitVector secondOf(V pairs) {
  return hn::BitCast(UnitLanes(), hn::ShiftRight<8>(hn::BitCast(hn::RebindToUnsigned<UnitLanes>(), pairs)));
}

// Means of n samples, rounded down, less 128.
struct MeanForm {
  template <class V>
  static HWY_INLINE UnitVector luma(Pairs<V> p) {
    return hn::Sub(firstOf(p.first), hn::Set(UnitLanes(), 128));
  }
  template <class V>
  static HWY_INLINE UnitPair carriers(Pairs<V> p) {
    return {secondOf(p.first), firstOf(p.second)};
  }
  template <int kCount>
  static HWY_INLINE UnitPair chroma(UnitPair sums) {
    constexpr int kShift = kCount == 1 ? 0 : kCount == 2 ? 1 : 2;
    const auto mean = [](UnitVector sum) {
      return hn::ShiftRight<kShift>(hn::Sub(sum, hn::Set(UnitLanes(), 128 * kCount)));
    };
    return {mean(sums.first), mean(sums.second)};
  }
};

// Samples as they are, plus 128.
struct RepeatForm {
  static HWY_INLINE Rgb<UnitVector> terms(UnitPair c) {
    return {hn::Zero(UnitLanes()), shifted(c.first), shifted(c.second)};
  }
  static HWY_INLINE Rgb<UnitVector> pixels(UnitVector y, Rgb<UnitVector> chroma) {
    return {shifted(y), chroma.g, chroma.b};
  }
};

// Pairs of pixels as bytes Y0, Cb, Y1, Cr.
struct PairedBytes {
  static constexpr int kBytes = 2, kPlanes = 3;

  template <class D>
  static HWY_INLINE auto load(D d, const Zel8u* p, Zel64s step) {
    return loadBlocks(d, p, step);
  }
  template <bool kTwoRows, class D>
  static HWY_INLINE void store(D d, Rgb<Halves<UnitVector>> p, UnitPlace to) {
    const auto y = narrowUnsigned(p.r);
    const auto chroma = narrowUnsigned(hn::OddEven(p.b.lower, p.g.lower), hn::OddEven(p.b.upper, p.g.upper));
    storeBlocks(d, hn::InterleaveLower(d, y, chroma), to.lower, to.step);
    storeBlocks(d, hn::InterleaveUpper(d, y, chroma), to.upper, to.step);
  }
};

// A pair of pixels has one sample of Cb and one of Cr: the other pixel carries nothing.
struct SplitForm {
  template <class V>
  static HWY_INLINE UnitVector luma(V pixels) {
    return hn::Sub(firstOf(pixels), hn::Set(UnitLanes(), 128));
  }
  template <class V>
  static HWY_INLINE UnitPair carriers(V pixels) {
    const UnitVector chroma = secondOf(pixels), none = hn::Zero(UnitLanes());
    return {hn::OddEven(none, chroma), hn::OddEven(chroma, none)};
  }
  template <int>
  static HWY_INLINE UnitPair chroma(UnitPair sums) {
    const UnitVector shift = hn::Set(UnitLanes(), 128);
    return {hn::Sub(sums.first, shift), hn::Sub(sums.second, shift)};
  }
};

template <Shape kShape, class Layout, class Form>
ZelStatus toBlocks(const Zel8u* pSrc, int srcStep, Zel16s* const pDst[3]) {
  if (ZelStatus bad = checkPointersStepPointers(present(pSrc, pDst), srcStep, present(planes<3>(pDst)))) return bad;
  pixelsToBlocks<kShape, Layout, Form>(pSrc, srcStep, pDst);
  return zelStatusOk;
}

template <Shape kShape, class Layout>
ZelStatus fromBlocks(const Zel16s* const pSrc[3], Zel8u* pDst, int dstStep) {
  if (ZelStatus bad = checkPointersStep(present(planes<3>(pSrc), pDst), dstStep)) return bad;
  blocksToPixels<kShape, Layout, RepeatForm>(pSrc, pDst, dstStep);
  return zelStatusOk;
}

using Bytes = ThreeBytes<Order::rgb>;

} // namespace
} // namespace zelj

using namespace zelj;

ZelStatus ownSampleDown444LS_MCU_8u16s_C3P3R(const Zel8u* pSrc, int srcStep, Zel16s* const pDst[3]) {
  return toBlocks<k444, Bytes, MeanForm>(pSrc, srcStep, pDst);
}

ZelStatus ownSampleDown422LS_MCU_8u16s_C3P3R(const Zel8u* pSrc, int srcStep, Zel16s* const pDst[3]) {
  return toBlocks<k422, Bytes, MeanForm>(pSrc, srcStep, pDst);
}

ZelStatus ownSampleDown411LS_MCU_8u16s_C3P3R(const Zel8u* pSrc, int srcStep, Zel16s* const pDst[3]) {
  return toBlocks<k411, Bytes, MeanForm>(pSrc, srcStep, pDst);
}

ZelStatus ownSampleUp444LS_MCU_16s8u_P3C3R(const Zel16s* const pSrc[3], Zel8u* pDst, int dstStep) {
  return fromBlocks<k444, Bytes>(pSrc, pDst, dstStep);
}

ZelStatus ownSampleUp422LS_MCU_16s8u_P3C3R(const Zel16s* const pSrc[3], Zel8u* pDst, int dstStep) {
  return fromBlocks<k422, Bytes>(pSrc, pDst, dstStep);
}

ZelStatus ownSampleUp411LS_MCU_16s8u_P3C3R(const Zel16s* const pSrc[3], Zel8u* pDst, int dstStep) {
  return fromBlocks<k411, Bytes>(pSrc, pDst, dstStep);
}

ZelStatus ownSplit422LS_MCU_8u16s_C2P3R(const Zel8u* pSrc, int srcStep, Zel16s* const pDst[3]) {
  return toBlocks<k422, PairedBytes, SplitForm>(pSrc, srcStep, pDst);
}

ZelStatus ownJoin422LS_MCU_16s8u_P3C2R(const Zel16s* const pSrc[3], Zel8u* pDst, int dstStep) {
  return fromBlocks<k422, PairedBytes>(pSrc, pDst, dstStep);
}
